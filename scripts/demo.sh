#!/usr/bin/env bash
# Builds the library and the tool, and shows ten seconds of a simulated capture arriving in a client, in a private
# network; where that is refused, on this machine's loopback interface, where nothing leaves the machine either.
# Options are the simulator's: scripts/demo.sh --motion FILE plays a recording.
set -eu
caller=$PWD
root=$(cd "$(dirname "$0")/.." && pwd)

"$root/scripts/prepare.sh" build
cd "$root"
scripts/build.sh release -DVELMAR_BUILD_TOOL=ON -DVELMAR_BUILD_TESTS=OFF
velmar=$root/build/release/tools/velmar/velmar
cd "$caller" # file names among the options are meant from there

private=("$root/scripts/private-network.sh")
if ! "${private[@]}" true 2>/dev/null; then
  echo "== no private network is to be had here: streaming on the loopback interface"
  private=()
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
status=0
"${private[@]}" "$root/scripts/with-server.sh" "$velmar" "$log" "$@" -- \
  "$velmar" watch 127.0.0.1 --seconds 10 || status=$?
[ "$status" != 0 ] && exit "$status"
echo "--- the server's side"
cat "$log"
