#!/usr/bin/env bash
# Unpacks the packages into an empty tree, sees that the tool came with its manual and its completion, builds the
# examples against the tree with CMake, with pkg-config and, those in C, with a plain C compiler, and runs every one
# of them against a simulated server. The Python package runs its first program from the tree, and from its wheel in
# an environment that has nothing else of this.
set -eu
cd "$(dirname "$0")/.."
work=$PWD/build/check-install
root=$work/root

if [ "${1:-}" = --inside ]; then
  failed=0
  for program in "$work"/*/{print_frames{,_c},poll_queue,force_plates,worker_thread,{watch_silence,event_loop}_c,descriptions,skeleton}; do
    [ -x "$program" ] || continue
    wanted='^frame [0-9]+'
    case ${program##*/} in
      descriptions) wanted='^skeleton [0-9]+ Figure1: [1-9][0-9]* bones$' ;;
      # It keeps its length, so its place on its parent is that of the description.
      skeleton) wanted='^  LeftLeg +translation  [- ]0\.0000  [- ]0\.0000  -0\.4500 ' ;;
    esac
    # They end in both ways, as far as they know both: some after so many frames, some on Ctrl-C.
    ending=(timeout 30 "$program" 127.0.0.1 20)
    case $program in
      */watch_silence_c | */event_loop_c) ;;
      */pkg-config/*) ending=(timeout --preserve-status --signal INT 3 "$program" 127.0.0.1) ;;
    esac
    code=0
    "${ending[@]}" </dev/null >"$program.out" 2>&1 || code=$?
    lines=$(grep -cE "$wanted" "$program.out" || true)
    echo "${program#"$work"/}: code $code, $lines lines as expected"
    [ "$code" = 0 ] && [ "$lines" -gt 0 ] || { head -n 5 "$program.out"; failed=1; }
  done
  exit "$failed"
fi

if [ "${1:-}" = --example-server ]; then
  "$2/server" &
  trap 'kill %1' EXIT
  sleep 0.5
  for program in print_frames descriptions; do timeout 10 "$2/$program" 127.0.0.1 20 >"$2/$program.out"; done
  grep -c '^frame [0-9]*' "$2/print_frames.out" | grep -qx 20
  grep -qx 'marker set Circle: tip' "$2/descriptions.out"
  code=0
  timeout 10 "$2/skeleton" 127.0.0.1 2>"$2/skeleton.out" || code=$?
  [ "$code" = 1 ]
  grep -q '^the server does not say what it is: the names and parents of its bones ' "$2/skeleton.out"
  echo "a server of the examples serves them"
  exit 0
fi

if [ "${1:-}" = --python ]; then # --python PACKAGE COMMAND...: by this interpreter, which has to find it there
  package=$2
  python=("${@:3}")
  wrong() { cat "$1" >&2; echo "$2" >&2; exit 1; }
  output=$work/first_program.out
  timeout --kill-after 10 --signal INT 3 "${python[@]}" "$work/first_program.py" >"$output" 2>&1 || true
  frames=$(grep -cE '^[0-9]+ \[.*\] \[.*\]$' "$output" || true)
  grep -qE "\('Hips', .*'LeftFoot'" "$output" && [ "$frames" -ge 100 ] ||
    wrong "$output" "the first program does not print the bones and 100 frames"
  "$root/usr/bin/velmar" record 127.0.0.1 -o "$work/walk.pcap" --seconds 1 >"$work/record.log" 2>&1
  "${python[@]}" - "$package" "$work/walk.pcap" <<'END'
import importlib.metadata
import os
import sys
from pathlib import Path

import velmar

package, recording = Path(sys.argv[1]).resolve(), sys.argv[2]
take = velmar.load(recording)
assert len(take.time) > 50 and len(take.markers.array) == len(take.time), take
assert Path(velmar.__file__).resolve().parent == package, f"{velmar.__file__} is used instead of {package}"
loaded = {Path(line.split()[-1]) for line in open("/proc/self/maps") if "libvelmar" in line}
places = {package, Path(os.environ.get("LD_LIBRARY_PATH", package)).resolve()}
assert len(loaded) == 2 and {path.parent for path in loaded} == places, f"loaded are {loaded}"
version = importlib.metadata.version("velmar")
print(f"velmar {version} in {package}: {len(take.time)} frames")
END
  for example in "$root"/usr/share/doc/python3-velmar/examples/*.py; do
    "${python[@]}" "$example" --help >"$work/example.out" 2>&1 && grep -q '^usage: ' "$work/example.out" ||
      wrong "$work/example.out" "${example##*/} does not say how it is used"
  done
  exit 0
fi

scripts/prepare.sh package consumer wheel python-consumer
scripts/package.sh
scripts/wheel.sh
echo "== building the examples against the packages"
rm -rf "$work"
mkdir -p "$root" "$work/pkg-config" "$work/c11"
for package in build/package/*.deb; do dpkg-deb --extract "$package" "$root"; done
libdir=$(dirname "$(find "$root" -name libvelmar_sdk.so)")
examples=$root/usr/share/doc/libvelmar-sdk-dev/examples

version=$(LD_LIBRARY_PATH=$libdir "$root/usr/bin/velmar" --version)
[ "$version" = "velmar $(PKG_CONFIG_PATH=$libdir/pkgconfig pkg-config --modversion velmar_sdk)" ]
[ -s "$root/usr/share/bash-completion/completions/velmar" ]
commands=$(LD_LIBRARY_PATH=$libdir "$root/usr/bin/velmar" --help |
  sed -n '/^Subcommands:/,/^$/ s/^  \([a-z]\+\) .*/-\1/p')
for command in "" $commands; do
  zgrep -q '^.SH EXAMPLES' "$root/usr/share/man/man1/velmar$command.1.gz" ||
    { echo "velmar$command.1 has no examples" >&2; exit 1; }
done
for page in "$root"/usr/share/doc/{libvelmar-sdk-dev,velmar}/docs/troubleshooting.md; do [ -s "$page" ]; done

cmake -S "$examples" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$root/usr" >/dev/null
cmake --build "$work/cmake" -- --quiet
export PKG_CONFIG_PATH=$libdir/pkgconfig
read -ra flags <<<"$(pkg-config --cflags --libs velmar_sdk)"
for source in "$examples"/*.c*; do
  name=$(basename "${source%.*}")
  compiler=(c++ -std=c++20)
  [ "${source##*.}" != c ] || compiler=(cc -std=c11)
  "${compiler[@]}" "$source" -o "$work/pkg-config/$name" "${flags[@]}" -pthread
done
for source in "$examples"/*.c; do
  cc -std=c11 -Wall -Wextra -Wpedantic -Werror -I"$root/usr/include" "$source" \
    -o "$work/c11/$(basename "$source" .c)" -L"$libdir" -lvelmar_sdk
done

echo "== running the examples"
export LD_LIBRARY_PATH=$libdir
scripts/private-network.sh scripts/check-install.sh --example-server "$work/cmake"
beside_server() { # beside_server MODE...: this script, while a server runs
  scripts/private-network.sh scripts/with-server.sh "$root/usr/bin/velmar" "$work/server.log" -- \
    scripts/check-install.sh "$@"
}
beside_server --inside

echo "== running the Python package"
# The first program that a reader meets, against this server.
sed -n '/^    import velmar$/,/^[^ ]/{/^[^ ]/d; s/^    //; s/192\.168\.1\.20/127.0.0.1/; p}' README.md \
  >"$work/first_program.py"
package=$root/usr/lib/python3/dist-packages
beside_server --python "$package/velmar" env PYTHONPATH="$package" /usr/bin/python3

# The wheel has to do without the library's package.
/usr/bin/python3 -m venv --system-site-packages "$work/venv"
"$work/venv/bin/pip" install --quiet --no-index --no-deps build/wheel/*.whl
package=$("$work/venv/bin/python" -c 'import sysconfig; print(sysconfig.get_path("purelib"))')
beside_server --python "$package/velmar" env -u LD_LIBRARY_PATH -u PYTHONPATH "$work/venv/bin/python"
