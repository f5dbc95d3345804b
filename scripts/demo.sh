#!/usr/bin/env bash
# Builds the library and the tool, and shows ten seconds of a simulated capture arriving in a client.
# Options are the simulator's: scripts/demo.sh --motion FILE plays a recording.
set -eu
caller=$PWD
root=$(cd "$(dirname "$0")/.." && pwd)

if [ "${1:-}" = --inside ]; then
  velmar=$2
  shift 2
  log=$(mktemp)
  "$velmar" simulate "$@" >"$log" 2>&1 &
  server=$!
  trap 'kill -INT "$server" 2>/dev/null || true; wait "$server" || true; rm -f "$log"' EXIT
  # The server is up when it has said so.
  for _ in $(seq 100); do
    if [ -s "$log" ] || ! kill -0 "$server" 2>/dev/null; then break; fi
    sleep 0.1
  done
  if ! kill -0 "$server" 2>/dev/null; then
    cat "$log" >&2
    exit 1
  fi
  status=0
  "$velmar" watch 127.0.0.1 --seconds 10 || status=$?
  kill -INT "$server"
  wait "$server" || status=$?
  echo "--- the server's side"
  cat "$log"
  trap - EXIT
  rm -f "$log"
  exit "$status"
fi

"$root/scripts/prepare.sh" build
cd "$root"
cmake --preset release -DVELMAR_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release -- --quiet
cd "$caller"
exec "$root/scripts/private-network.sh" "$root/scripts/demo.sh" --inside "$root/build/release/tools/velmar/velmar" "$@"
