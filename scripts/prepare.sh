#!/usr/bin/env bash
# Installs the Debian packages that a task needs and that are missing; where that is not allowed, says
# which ones to install. Usage: scripts/prepare.sh build|test|all|package
set -eu

build=(g++ cmake ninja-build libcli11-dev libfmt-dev libassimp-dev nlohmann-json3-dev libpcap-dev iproute2 util-linux)
test=("${build[@]}" libgtest-dev libgmock-dev binutils valgrind nftables)
all=("${test[@]}" clang-14 clang-tidy-14 clang-format-14 libclang-rt-14-dev llvm-14 python3 libbenchmark-dev doxygen abigail-tools)
package=("${all[@]}" dpkg-dev lintian pkg-config file tshark help2man)

case "${1:-}" in
  build) wanted=("${build[@]}") ;;
  test) wanted=("${test[@]}") ;;
  all) wanted=("${all[@]}") ;;
  package) wanted=("${package[@]}") ;;
  *) echo "usage: scripts/prepare.sh build|test|all|package" >&2; exit 2 ;;
esac

missing=()
for package in "${wanted[@]}"; do
  status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
  [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

if [ "$(id -u)" != 0 ]; then
  echo "These packages are missing; install them and run this again:" >&2
  echo "  sudo apt-get update && sudo apt-get install ${missing[*]}" >&2
  exit 1
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
