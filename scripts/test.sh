#!/usr/bin/env bash
# Builds everything and runs all tests. With --all also: the format, the pages and the reference, the binary
# interface, clang's warnings and lint, and the whole suite under the address, undefined-behaviour, leak and thread
# sanitizers, half a minute of every fuzzer, the coverage that all this reaches, what a frame costs as shipped, and
# two minutes of soaking.
set -eu
cd "$(dirname "$0")/.."

all=
case "${1:-}" in
  "") ;;
  --all) all=yes ;;
  *) echo "usage: scripts/test.sh [--all]" >&2; exit 2 ;;
esac

jobs=$(nproc)

build() { # build PRESET [OPTION...]
  scripts/build.sh "$1" -DVELMAR_WERROR=ON -DVELMAR_BUILD_{TOOL,VIEW,PYTHON,TESTS}=ON "${@:2}"
}

run() { # run PRESET
  echo "== tests: $1"
  ctest --preset "$1" -j "$jobs"
}

if [ -n "$all" ]; then
  scripts/prepare.sh all
  echo "== format"
  git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format-14 --dry-run -Werror
  echo "== pages"
  scripts/docs.sh
  echo "== binary interface"
  scripts/abi.sh
  build fuzz -DVELMAR_BUILD_BENCH=ON
  cmake --preset fuzz -B build/lint -DCMAKE_UNITY_BUILD=OFF -DVELMAR_BUILD_{TOOL,VIEW,PYTHON,TESTS,BENCH}=ON >/dev/null
  echo "== lint: $(git ls-files '*.cpp' | wc -l) files"
  git ls-files '*.cpp' | xargs -P "$jobs" -n 4 clang-tidy-14 -p build/lint --quiet 2>/dev/null
  echo "== fuzzers: half a minute each"
  scripts/fuzz.sh 30
  echo "== coverage"
  scripts/coverage.sh
  build asan
  run asan
  build tsan
  run tsan
  build release -DVELMAR_BUILD_{BENCH=ON,PYTHON=OFF} # whose tests run twice already
  run release
  echo "== soak: two minutes"
  scripts/soak.sh 2
else
  scripts/prepare.sh test
fi
build dev
run dev
