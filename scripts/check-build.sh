#!/usr/bin/env bash
# Builds the library as a machine with nothing but a compiler does, without Ninja and without the packages of the tool
# and of the tests, shared and static, installs it, and takes it into a project of C and C++ programs, which run: the
# installed one by find_package and pkg-config, and the sources by FetchContent.
set -eu
cd "$(dirname "$0")/.."
work=$PWD/build/check-build
log=$work/log
root=$PWD

scripts/prepare.sh consumer
rm -rf "$work"
mkdir -p "$work"
jobs=$(nproc)
without=(-DCMAKE_DISABLE_FIND_PACKAGE_{CLI11,fmt,assimp,nlohmann_json,PCAP,GTest}=ON)

fail() { echo "check-build: $*" >&2; exit 1; }

quietly() { # quietly COMMAND...: what it says is shown when it fails
  "$@" >"$log" 2>&1 || { code=$?; cat "$log" >&2; fail "code $code: $*"; }
}

says() { grep -qF -- "$1" "$log" || { cat "$log" >&2; fail "cmake does not say: $1"; }; }

plain() { quietly cmake -G "Unix Makefiles" "$@"; }

consume() { # consume BUILD OPTION...: a strict project, whose files are compiled together
  plain -S tests/consumer -B "$1" -DCMAKE_{C,CXX}_FLAGS="-Wall -Wextra -Wpedantic -Werror" -DCMAKE_UNITY_BUILD=ON "${@:2}"
  quietly cmake --build "$1" -j "$jobs"
  quietly ctest --test-dir "$1" --output-on-failure
}

echo "-- a part that is asked for and cannot be built"
if cmake -G "Unix Makefiles" -B "$work/asked" "${without[@]}" -DVELMAR_BUILD_TOOL=ON >"$log" 2>&1; then
  fail "VELMAR_BUILD_TOOL=ON is taken without its packages"
fi
says "VELMAR_BUILD_TOOL=ON needs what is missing here"

for shared in "" OFF; do
  kind=${shared:+static}
  kind=${kind:-shared}
  type=(${shared:+-DBUILD_SHARED_LIBS=$shared})

  echo "-- the library alone, $kind"
  build=$work/$kind
  prefix=$work/$kind-installed
  plain -B "$build" "${without[@]}" "${type[@]}"
  says "The tool will not be built, these packages are missing (Debian's names): libcli11-dev, libfmt-dev, libassimp-dev,"
  says "The tests will not be built, these packages are missing (Debian's names): libgtest-dev, libgmock-dev"
  grep -qx 'CMAKE_BUILD_TYPE:STRING=Release' "$build/CMakeCache.txt" || fail "without a build type it is not Release"
  quietly cmake --build "$build" -j "$jobs"
  quietly cmake --install "$build" --prefix "$prefix"

  echo "-- installed, by find_package and pkg-config, $kind"
  consume "$work/$kind-found" -DCMAKE_PREFIX_PATH="$prefix"
  lib=$(dirname "$(find "$prefix" -name 'libvelmar_sdk.*' -print -quit)")
  read -ra flags <<<"$(PKG_CONFIG_PATH=$lib/pkgconfig pkg-config --cflags --libs ${shared:+--static} velmar_sdk)"
  quietly cc -std=c11 tests/interface/c11_program.c -o "$work/$kind-c" "${flags[@]}"
  quietly env LD_LIBRARY_PATH="$lib" "$work/$kind-c"

  echo "-- the sources, by FetchContent, $kind"
  consume "$work/$kind-fetched" -DVELMAR_SOURCE="$root" "${type[@]}"
  quietly cmake --install "$work/$kind-fetched" --prefix "$work/nothing"
  [ ! -e "$work/nothing" ] || fail "the library installs itself from another project"
done
