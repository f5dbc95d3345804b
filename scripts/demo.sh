#!/usr/bin/env bash
# Builds the library and the tool, and shows ten seconds of a simulated capture arriving in a client, in a private
# network; where that is refused, on this machine's loopback interface, where nothing leaves the machine either.
# With --view first, it streams on the loopback interface until Ctrl-C and prints the address at which a browser shows
# the stream. Other options are the simulator's: scripts/demo.sh --motion FILE plays a recording.
set -eu
caller=$PWD
root=$(cd "$(dirname "$0")/.." && pwd)

list=build
view=OFF
if [ "${1:-}" = --view ]; then
  list=view
  view=ON
  shift
fi
"$root/scripts/prepare.sh" "$list"
cd "$root"
scripts/build.sh release -DVELMAR_BUILD_TOOL=ON "-DVELMAR_BUILD_VIEW=$view" -DVELMAR_BUILD_TESTS=OFF
velmar=$root/build/release/tools/velmar/velmar
cd "$caller" # file names among the options are meant from there
log=$(mktemp)
trap 'rm -f "$log"' EXIT

if [ "$view" = ON ]; then
  trap : INT # which the terminal sends to all: the view ends, then the server
  "$root/scripts/with-server.sh" "$velmar" "$log" "$@" -- "$velmar" view 127.0.0.1
  exit
fi

private=("$root/scripts/private-network.sh")
if ! "${private[@]}" true 2>/dev/null; then
  echo "== no private network is to be had here: streaming on the loopback interface"
  private=()
fi
status=0
"${private[@]}" "$root/scripts/with-server.sh" "$velmar" "$log" "$@" -- \
  "$velmar" watch 127.0.0.1 --seconds 10 || status=$?
[ "$status" != 0 ] && exit "$status"
echo "--- the server's side"
cat "$log"
