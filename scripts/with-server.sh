#!/usr/bin/env bash
# Runs a command beside a simulated server, which is up before the command starts and ends after it. What the server
# says goes into LOG. Ends with the command's code, or with that of a server that fails.
# Usage: scripts/with-server.sh VELMAR LOG [OPTION...] -- COMMAND...; the options are those of velmar simulate
set -eu
velmar=$1
log=$2
shift 2
options=()
while [ "$1" != -- ]; do
  options+=("$1")
  shift
done
shift

"$velmar" simulate "${options[@]}" >"$log" 2>&1 &
server=$!
trap 'kill -INT "$server" 2>/dev/null || true; wait "$server" || true' EXIT
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
"$@" || status=$?
trap - EXIT
kill -INT "$server" 2>/dev/null || true
wait "$server" || status=$?
exit "$status"
