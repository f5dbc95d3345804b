#!/usr/bin/env bash
# Installs the Debian packages that tasks need and that are missing; where that is not allowed, says which ones to
# install. Usage: scripts/prepare.sh LIST...
set -eu

declare -A lists
build="g++ cmake ninja-build libcli11-dev libfmt-dev libassimp-dev nlohmann-json3-dev libpcap-dev iproute2 util-linux"
view="$build libboost-dev" # and, from anywhere, Node.js with npm
command -v node >/dev/null && command -v npm >/dev/null || view="$view nodejs npm"
python="$build python3 python3-numpy"
test="$view $python python3-pytest libgtest-dev libgmock-dev binutils valgrind nftables"
lists[build]=$build # and to run, in a network of its own
lists[view]=$view
lists[test]=$test
lists[python]=$python # and to run it
lists[all]="$test mypy clang-14 clang-tidy-14 clang-format-14 libclang-rt-14-dev llvm-14 libbenchmark-dev doxygen
  abigail-tools"
lists[package]="$view $python help2man dpkg-dev lintian file"
lists[wheel]="$python python3-build python3-setuptools python3-wheel python3-venv binutils"
lists[consumer]="g++ cmake make ninja-build pkg-config"
lists[python-consumer]="python3-numpy python3-matplotlib python3-pip python3-venv" # and of the examples
lists[bench-python]="$python gcc python3-pandas"
lists[dissector]="$build tshark python3"
lists[view-test]="$view chromium fonts-dejavu-core fonts-liberation pngquant"

usage() {
  local IFS='|'
  echo "usage: scripts/prepare.sh ${!lists[*]}..." >&2
  exit 2
}

[ $# -gt 0 ] || usage
wanted=()
for list in "$@"; do
  [ -n "${lists[$list]:-}" ] || usage
  read -rd '' -a packages <<<"${lists[$list]}" || true
  wanted+=("${packages[@]}")
done

missing=()
for package in $(printf '%s\n' "${wanted[@]}" | sort -u); do
  status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

if [ "$(id -u)" != 0 ]; then
  echo "These packages are missing; install them and run this again:" >&2
  echo "  sudo apt-get update && sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
echo "== installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
