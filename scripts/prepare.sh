#!/usr/bin/env bash
# Installs the Debian packages that tasks need and that are missing; where that is not allowed, says which ones to
# install. Usage: scripts/prepare.sh build|view|test|all|package|consumer|dissector|view-test...
set -eu

usage() { echo "usage: scripts/prepare.sh build|view|test|all|package|consumer|dissector|view-test..." >&2; exit 2; }

declare -A lists
build="g++ cmake ninja-build libcli11-dev libfmt-dev libassimp-dev nlohmann-json3-dev libpcap-dev iproute2 util-linux"
view="$build libboost-dev" # and, from anywhere, Node.js with npm
command -v node >/dev/null && command -v npm >/dev/null || view="$view nodejs npm"
test="$view libgtest-dev libgmock-dev binutils valgrind nftables"
lists[build]=$build # and to run, in a network of its own
lists[view]=$view
lists[test]=$test
lists[all]="$test clang-14 clang-tidy-14 clang-format-14 libclang-rt-14-dev llvm-14 python3 libbenchmark-dev doxygen
  abigail-tools"
lists[package]="$view help2man dpkg-dev lintian file"
lists[consumer]="g++ cmake make ninja-build pkg-config"
lists[dissector]="$build tshark python3"
lists[view-test]="$view chromium fonts-dejavu-core fonts-liberation pngquant"

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
