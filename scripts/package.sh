#!/usr/bin/env bash
# Builds the Debian packages into build/package. With --check, lintian has to accept them.
# Usage: scripts/package.sh [--check]
set -eu
cd "$(dirname "$0")/.."

check=
case "${1:-}" in
  "") ;;
  --check) check=yes ;;
  *) echo "usage: scripts/package.sh [--check]" >&2; exit 2 ;;
esac

scripts/prepare.sh package
build=build/package
scripts/build.sh release -B "$build" -DCMAKE_INSTALL_PREFIX=/usr -DVELMAR_BUILD_{TOOL,VIEW,PYTHON}=ON \
  -DVELMAR_BUILD_TESTS=OFF
echo "== making the packages"
rm -f "$build"/*.deb
umask 022
(cd "$build" && cpack >cpack.log 2>&1) || { cat "$build/cpack.log" >&2; exit 1; }
if [ -n "$check" ]; then
  echo "== checking them with lintian"
  lintian --allow-root --fail-on error,warning "$build"/*.deb
fi
ls "$build"/*.deb
