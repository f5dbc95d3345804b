#!/usr/bin/env bash
# Counts the instructions for which a frame is decoded and released. Fails above the bound.
# Usage: check-cost.sh PROGRAM BOUND
set -eu

if ! command -v valgrind >/dev/null; then
  echo "check-cost: valgrind is missing, skipped" >&2
  exit 77
fi

count() { # instructions for so many frames
  valgrind --tool=callgrind --callgrind-out-file=/dev/null "$1" "$2" 2>&1 | sed -n 's/.*Collected : *//p'
}

frames=1000
cost=$((($(count "$1" $((2 * frames))) - $(count "$1" "$frames")) / frames))
echo "$cost instructions for each frame; at most $2 are allowed"
[ "$cost" -le "$2" ]
