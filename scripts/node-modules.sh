#!/usr/bin/env bash
# Puts the programs that drive a browser, with the packages that they use, into a preset's build tree, and prints the
# folder. Usage: scripts/node-modules.sh PRESET
set -eu
cd "$(dirname "$0")/.."

work=$PWD/build/$1/view-test
mkdir -p "$work"
if ! cmp -s tests/view/package-lock.json "$work/package-lock.json"; then
  cp tests/view/package*.json "$work"
  (cd "$work" && npm ci --ignore-scripts --no-audit --no-fund >"$work/npm.log" 2>&1) ||
    { rm "$work/package-lock.json"; cat "$work/npm.log" >&2; exit 1; }
fi
for folder in tests bench; do
  rm -rf "${work:?}/$folder"
  mkdir -p "$work/$folder/view"
  cp -r "$folder"/view/*.mjs "$work/$folder/view"
done
cp -r tests/view/support "$work/tests/view"
echo "$work"
