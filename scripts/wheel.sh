#!/usr/bin/env bash
# Builds the Python package's wheel into build/wheel, with the libraries in it. With --check, these have to need
# nothing but the C library, and to show nothing but what the package calls.
# Usage: scripts/wheel.sh [--check]
set -eu
cd "$(dirname "$0")/.."

check=
case "${1:-}" in
  "") ;;
  --check) check=yes ;;
  *) echo "usage: scripts/wheel.sh [--check]" >&2; exit 2 ;;
esac

scripts/prepare.sh wheel
build=build/wheel
stage=$build/stage
scripts/build.sh release -B "$build" -DVELMAR_SELF_CONTAINED=ON -DVELMAR_BUILD_{TOOL,PYTHON}=ON \
  -DVELMAR_BUILD_{VIEW,TESTS}=OFF -- velmar_take
echo "== making the wheel"
rm -rf "$stage" "$build"/*.whl
mkdir -p "$stage/velmar" "$stage/licenses"
cp -L "$build"/python/velmar/{*.py,py.typed,*.so*} "$stage/velmar"
strip --strip-unneeded "$stage"/velmar/*.so*
cp "$build/python/pyproject.toml" python/setup.py docs/python.md "$stage"
cp packaging/copyright "$stage/licenses/copyright.velmar"
for package in libfmt-dev libpcap0.8-dev nlohmann-json3-dev libstdc++6; do # of which something is in the libraries
  cp -L "/usr/share/doc/$package/copyright" "$stage/licenses/copyright.$package"
done
# The same files make the same wheel.
SOURCE_DATE_EPOCH=$(date -d "$(sed -n 's/^ -- .*>  //p' packaging/changelog | head -n 1)" +%s)
export SOURCE_DATE_EPOCH
/usr/bin/python3 -m build --wheel --no-isolation --outdir "$build" "$stage" >"$build/wheel.log" 2>&1 ||
  { cat "$build/wheel.log" >&2; exit 1; }

if [ -n "$check" ]; then
  echo "== checking it"
  content=$build/content
  rm -rf "$content"
  /usr/bin/python3 -m zipfile -e "$build"/*.whl "$content"
  failed=0
  wrong() { echo "$*" >&2; failed=1; }
  newest=2.35 # of the C library, as docs/install.md has it
  for library in "$content"/velmar/*.so*; do
    name=${library##*/}
    foreign=$(readelf -d "$library" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' |
      grep -vxE 'libc\.so\.6|libm\.so\.6|ld-linux-x86-64\.so\.2|libvelmar_sdk\.so\.2' || true)
    [ -z "$foreign" ] || wrong "$name needs what a machine may lack: $foreign"
    version=$({ echo "$newest"; readelf -V "$library" | grep -oP 'GLIBC_\K[0-9.]+'; } | sort -V | tail -n 1)
    [ "$version" = "$newest" ] || wrong "$name needs version $version of the C library"
  done
  shown() { nm -D --defined-only "$content/velmar/$1" | awk '{print $3}' | LC_ALL=C sort; }
  shown libvelmar_sdk.so.2 | diff -u tests/interface/symbols.txt - || wrong "libvelmar_sdk.so.2 shows something else"
  foreign=$(shown libvelmar_take.so | grep -v '^VelmarTake_' || true)
  [ -z "$foreign" ] || wrong "libvelmar_take.so shows what is its own: $foreign"
  readelf -d "$content/velmar/libvelmar_take.so" | grep -q 'RUNPATH.*\[$ORIGIN\]' ||
    wrong "libvelmar_take.so does not look for the other beside it"
  [ "$failed" = 0 ] || exit 1
fi
ls "$build"/*.whl
