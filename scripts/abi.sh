#!/usr/bin/env bash
# Compares the library's binary interface with the stored one. Additions pass; what would break a program that is
# already linked fails. Records that are reached only through a void pointer are not seen here; their layout is
# asserted where the library is compiled. With --update, stores the present interface.
# Usage: scripts/abi.sh [--update]
set -eu
cd "$(dirname "$0")/.."

update=
case "${1:-}" in
  "") ;;
  --update) update=yes ;;
  *) echo "usage: scripts/abi.sh [--update]" >&2; exit 2 ;;
esac

scripts/prepare.sh all
build=build/abi
# The types are in the debug information, which the release preset leaves out.
scripts/build.sh release -B "$build" -DCMAKE_CXX_FLAGS=-g -DVELMAR_BUILD_TOOL=OFF -DVELMAR_BUILD_TESTS=OFF
baseline=tests/interface/velmar_sdk.abi
# Places in files would change with every edit, names of parameters with the compiler.
abidw --suppressions tests/interface/stored.abignore --exported-interfaces-only --no-corpus-path \
  --no-comp-dir-path --no-show-locs --no-elf-needed --no-parameter-names --no-write-default-sizes \
  --type-id-style hash \
  --out-file "$build/velmar_sdk.abi" "$build/TarvoSDKClient/libvelmar_sdk.so"
# Nor does it matter where the sources lie.
sed -i "s| path='$PWD/| path='|" "$build/velmar_sdk.abi"
if [ -n "$update" ]; then
  cp "$build/velmar_sdk.abi" "$baseline"
else
  abidiff --suppressions tests/interface/compared.abignore --no-added-syms "$baseline" "$build/velmar_sdk.abi"
fi
