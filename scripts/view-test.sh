#!/usr/bin/env bash
# Looks at the page of velmar view in a real browser, in a private network. With --screenshots it makes those of the
# documentation instead. Usage: scripts/view-test.sh [--screenshots] [TEST...]; the tests are those of tests/view
set -eu
cd "$(dirname "$0")/.."

tests=()
for argument in "$@"; do
  case "$argument" in
    --screenshots) tests+=(screenshots.mjs) ;;
    -*) echo "usage: scripts/view-test.sh [--screenshots] [TEST...]" >&2; exit 2 ;;
    *) tests+=("$argument.test.mjs") ;;
  esac
done
[ ${#tests[@]} -gt 0 ] || tests=(walk.test.mjs history.test.mjs faults.test.mjs recording.test.mjs hostile.test.mjs)

scripts/prepare.sh view-test
scripts/build.sh release -DVELMAR_BUILD_TOOL=ON -DVELMAR_BUILD_VIEW=ON -- velmar
work=$(scripts/node-modules.sh release)

export VELMAR=$PWD/build/release/tools/velmar/velmar
export VELMAR_DOCS=$PWD/docs
cd "$work/tests/view"
# One after the other: each has the server's port, and the processors, for itself.
status=0
for test in "${tests[@]}"; do
  "$OLDPWD/scripts/private-network.sh" node --test "$test" || status=$?
done
if [ "${tests[*]}" = screenshots.mjs ] && [ "$status" = 0 ]; then
  pngquant --force --ext .png "$VELMAR_DOCS"/view-live.png "$VELMAR_DOCS"/view-recording.png
fi
exit "$status"
