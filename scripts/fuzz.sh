#!/usr/bin/env bash
# Fuzzes every target for so many seconds (30 when none are given) under the address and undefined-behaviour
# sanitizers, and prints executions, coverage of the target's own files and findings.
# Usage: scripts/fuzz.sh [SECONDS]
# What a fuzzer finds is kept in tests/fuzz/corpus/TARGET, which later runs start from.
set -eu
cd "$(dirname "$0")/.."

seconds=${1:-30}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/fuzz.sh [SECONDS]: takes a whole number from 1, not '$seconds'" >&2
  exit 2
fi
scripts/prepare.sh all
targets=(frame description media dispatch force_plate stream page_link recording)
scripts/build.sh fuzz -DVELMAR_WERROR=ON -DVELMAR_BUILD_TOOL=ON -DVELMAR_BUILD_VIEW=ON -DVELMAR_BUILD_TESTS=ON -- make_seeds "${targets[@]/#/fuzz_}"

# Little is kept of what was released, or a heap of quarter gigabytes goes through the caches.
export ASAN_OPTIONS=quarantine_size_mb=1:thread_local_quarantine_size_kb=64
export seconds work=build/fuzz/corpus
# Recordings and exports are written into memory.
TMPDIR=$(mktemp -d -p /dev/shm)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
LLVM_PROFILE_FILE=/dev/null build/fuzz/tests/make_seeds "$work/seeds"

fuzz() { # fuzz TARGET: one line of the table, and 1 when something was found
  local target=$1 log=$work/$1.log found=tests/fuzz/corpus/$1 result=none
  declare -A files=([frame]="model/AppDataModelFrame.cpp model/FrameDecoder.cpp model/FrameExtent.cpp" [description]=model/AppDataModelDescription.cpp
    [media]=model/AppDataModelMedia.cpp [dispatch]="transport/CommandServerInbound.cpp transport/MessageJoin.cpp transport/CommandServerReplies.cpp model/FrameStore.cpp"
    [force_plate]=client/ForcePlateModel.cpp [stream]="transport/FrameFeed.cpp transport/FeedFrame.cpp transport/FeedList.cpp client/FeedTable.cpp"
    [page_link]="view/PageLink.cpp view/StateBoard.cpp view/Access.cpp"
    [recording]="take export")
  local root=TarvoSDKClient
  [[ $target != @(page_link|recording) ]] || root=tools/velmar
  local sources
  read -ra sources <<<"${files[$target]}"
  mkdir -p "$work/$target" "$work/seeds/$target" "$found"
  # The longest body is a message; the media image is longer than most.
  LLVM_PROFILE_FILE=$work/$target.profraw "build/fuzz/tests/fuzz_$target" -max_total_time="$seconds" \
    -max_len=32768 -rss_limit_mb=4096 -timeout=20 -print_final_stats=1 -artifact_prefix="$found/" \
    "$work/$target" "$work/seeds/$target" "$found" >"$log" 2>&1 || result="see $log"
  rmdir --ignore-fail-on-non-empty "$found" tests/fuzz/corpus 2>/dev/null || true
  stat() { sed -n "s/^stat::$1: *//p" "$log"; }
  local lines=?
  if llvm-profdata-14 merge "$work/$target.profraw" -o "$work/$target.profdata" 2>>"$log"; then
    lines=$(llvm-cov-14 export -summary-only "build/fuzz/tests/fuzz_$target" \
      -instr-profile="$work/$target.profdata" "${sources[@]/#/$root/}" |
      sed -E 's/.*"totals".*"lines":\{"count":([0-9]+),"covered":([0-9]+).*/\2 of \1/')
  fi
  printf '%-12s %14s %11s   %-84s %s\n' "$target" "$(stat number_of_executed_units)" \
    "$(stat average_exec_per_sec)" "$lines of ${sources[*]##*/}" "$result"
  [ "$result" = none ]
}
export -f fuzz

printf '%-12s %14s %11s   %-84s %s\n' target executions per-second 'lines covered' findings
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I{} bash -c 'fuzz {}'
