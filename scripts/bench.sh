#!/usr/bin/env bash
# Measures the library beside what no implementation can avoid, in one run and in turn, and prints one table of
# medians. Usage: scripts/bench.sh [--json FILE] [--quick]; the file gets the value of every repetition.
# With --view it measures velmar view instead, with a browser: scripts/bench.sh --view [--seconds N] [--each N]
# [--only delay|processor|page|long] [--json FILE]; --seconds is how long a stage is shown at 1 kHz, 600 if not said,
# --each how long everything else.
# With --python it measures the Python package: scripts/bench.sh --python [--only reading|stage|load] [--seconds N]
# [--blocks N] [--frames N] [--json FILE]; --seconds is how long a stage is read at 1 kHz, 600 if not said.
# The parts run on the last processor. In the stream, the sender and the answering thread are pinned to the first
# one; whoever receives is on the last, because a client is started from a thread that is pinned there and its
# receive threads inherit that.
set -eu

if [ "${1:-}" = --view ]; then
  shift
  root=$(cd "$(dirname "$0")/.." && pwd)
  "$root/scripts/prepare.sh" view-test
  "$root/scripts/build.sh" release -DVELMAR_BUILD_TOOL=ON -DVELMAR_BUILD_VIEW=ON -- velmar
  work=$("$root/scripts/node-modules.sh" release)
  export VELMAR=$root/build/release/tools/velmar/velmar
  exec "$root/scripts/private-network.sh" node "$work/bench/view/main.mjs" "$@"
fi

if [ "${1:-}" = --python ]; then
  shift
  root=$(cd "$(dirname "$0")/.." && pwd)
  "$root/scripts/prepare.sh" bench-python
  "$root/scripts/build.sh" release -DVELMAR_BUILD_{TOOL,PYTHON}=ON -- velmar velmar_take
  build=$root/build/release
  cc -std=c11 -O2 -shared -fPIC -I"$root/include" "$root/bench/python/loop.c" -o "$build/python/loop.so" \
    -L"$build/TarvoSDKClient" -lvelmar_sdk
  export VELMAR=$build/tools/velmar/velmar PYTHONPATH=$build/python PYTHONDONTWRITEBYTECODE=1
  exec "$root/scripts/private-network.sh" /usr/bin/python3 "$root/bench/python/main.py" \
    --loop "$build/python/loop.so" "$@"
fi

json=()
effort=(--benchmark_repetitions=9 --benchmark_min_time=0.05)
quick=()
while [ $# -gt 0 ]; do
  case "$1" in
    --json) [ $# -gt 1 ] || { echo "bench.sh: --json takes a file" >&2; exit 2; }
      json=(--json "$(realpath -m "$2")"); shift 2 ;;
    --quick) quick=(--quick); effort=(--benchmark_repetitions=3 --benchmark_min_time=0.02); shift ;;
    *) echo "usage: scripts/bench.sh [--json FILE] [--quick]" >&2; exit 2 ;;
  esac
done
cd "$(dirname "$0")/.."

scripts/prepare.sh all
scripts/build.sh release -DVELMAR_BUILD_TOOL=ON -DVELMAR_BUILD_BENCH=ON -- bench_parts end_to_end bench_table

work=build/release/bench
last=$(taskset -cp $$ | grep -oE '[0-9]+$')
scripts/private-network.sh taskset -c "$last" "$work/bench_parts" "${effort[@]}" \
  --benchmark_enable_random_interleaving=true --benchmark_out_format=json \
  --benchmark_out="$work/parts.json" >"$work/parts.log" 2>&1 || { code=$?; cat "$work/parts.log" >&2; exit "$code"; }
scripts/private-network.sh "$work/end_to_end" "${quick[@]}" --json "$work/whole.json"
"$work/bench_table" "$work/parts.json" "$work/whole.json" "${json[@]}"
