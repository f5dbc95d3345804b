#!/usr/bin/env bash
# Compares what leaves the shared library with symbols.txt, and what it needs with what it may need.
# Usage: check-library.sh LIBRARY
set -eu
here=$(cd "$(dirname "$0")" && pwd)
failed=0

if ! nm -D --defined-only "$1" | awk '{print $3}' | LC_ALL=C sort | diff -u "$here/symbols.txt" -; then
  echo "The exported symbols are not those of symbols.txt."
  failed=1
fi

dynamic=$(readelf -d "$1")
if ! grep -q 'SONAME.*\[libvelmar_sdk\.so\.2\]' <<<"$dynamic"; then
  echo "The soname is not libvelmar_sdk.so.2."
  failed=1
fi
foreign=$(sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' <<<"$dynamic" |
  grep -vE '^(libstdc\+\+\.so\.6|libm\.so\.6|libgcc_s\.so\.1|libc\.so\.6)$' || true)
if [ -n "$foreign" ]; then
  echo "The library needs more than the C++ runtime and libc: $foreign"
  failed=1
fi
exit "$failed"
