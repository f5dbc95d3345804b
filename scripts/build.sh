#!/usr/bin/env bash
# Configures and builds, and says what it is at: on a terminal as it goes, in a log a line for each quarter.
# Usage: scripts/build.sh PRESET [OPTION...] [-- TARGET...]; the options are those of cmake, -B DIRECTORY among them, and
# -DVELMAR_BUILD_VIEW=OFF, which builds without npm and its registry
set -eu -o pipefail
cd "$(dirname "$0")/.."

preset=$1
shift
directory=build/$preset
options=()
while [ $# -gt 0 ] && [ "$1" != -- ]; do
  [ "$1" != -B ] || directory=$2
  options+=("$1")
  shift
done
[ $# = 0 ] || shift # what is left are the targets
targets=(${1:+--target "$@"})

quarters() { # of ninja's lines only some are passed on; whatever else comes, whole
  local line quarter=0
  while IFS= read -r line; do
    if ! [[ $line =~ ^@\ *([0-9]+)% ]]; then
      echo "$line"
    elif ((BASH_REMATCH[1] / 25 > quarter)); then
      quarter=$((BASH_REMATCH[1] / 25))
      echo "   $((25 * quarter)) % after $SECONDS s"
    fi
  done
}

echo "== configuring: $directory"
cmake --preset "$preset" "${options[@]}" >/dev/null
echo "== building: $directory"
if [ -t 1 ]; then
  cmake --build "$directory" "${targets[@]}"
else
  NINJA_STATUS='@%p ' cmake --build "$directory" "${targets[@]}" | quarters
fi
