#!/usr/bin/env bash
# Fuzzes every target for so many seconds (30 when none are given) under the address and undefined-behaviour
# sanitizers, and prints executions, coverage points and findings. Usage: scripts/fuzz.sh [SECONDS]
# What a fuzzer finds is kept in tests/fuzz/corpus/TARGET, which later runs start from.
set -eu
cd "$(dirname "$0")/.."

seconds=${1:-30}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/fuzz.sh [SECONDS]: takes a whole number from 1, not '$seconds'" >&2
  exit 2
fi
scripts/prepare.sh all
cmake --preset fuzz -DVELMAR_WERROR=ON >/dev/null
targets=(frame description media dispatch force_plate)
cmake --build --preset fuzz --target make_seeds "${targets[@]/#/fuzz_}" -- --quiet

work=build/fuzz/corpus
build/fuzz/tests/make_seeds "$work/seeds"
failed=0
printf '%-12s %14s %10s %10s %s\n' target executions per-second coverage findings
for target in "${targets[@]}"; do
  mkdir -p "$work/$target" "tests/fuzz/corpus/$target"
  log=$work/$target.log
  result=none
  # The longest body is a message; the media image is longer than most.
  "build/fuzz/tests/fuzz_$target" -max_total_time="$seconds" -max_len=32768 -rss_limit_mb=4096 -timeout=20 \
    -print_final_stats=1 -artifact_prefix="tests/fuzz/corpus/$target/" \
    "$work/$target" "$work/seeds/$target" "tests/fuzz/corpus/$target" >"$log" 2>&1 || result="see $log"
  rmdir --ignore-fail-on-non-empty "tests/fuzz/corpus/$target" tests/fuzz/corpus 2>/dev/null || true
  [ "$result" = none ] || failed=1
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
  coverage=$(grep -oE 'cov: [0-9]+' "$log" | tail -n 1 | cut -d' ' -f2)
  printf '%-12s %14s %10s %10s %s\n' "$target" "${executions:-?}" "${rate:-?}" "${coverage:-?}" "$result"
done
exit "$failed"
