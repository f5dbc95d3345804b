#!/usr/bin/env bash
# Runs a command in a network namespace of its own that has only the loopback interface, with a route for
# multicast over it: no datagram and no group membership leaves the machine. Ends with the command's own
# code, or with 77 where namespaces are refused.
set -eu

if [ "${1:-}" = --inside ]; then
  shift
  ip link set lo up && ip link set lo multicast on && ip route add 239.0.0.0/8 dev lo
  exec "$@"
fi

# Listing the tests of a program sends nothing.
for argument in "$@"; do
  if [ "$argument" = --gtest_list_tests ]; then exec "$@"; fi
done

own=(unshare --net)
[ "$(id -u)" = 0 ] || own=(unshare --map-root-user --net)
if ! command -v ip >/dev/null || ! "${own[@]}" true 2>/dev/null; then
  echo "private-network: a private network namespace is refused here (or iproute2 is missing), skipped" >&2
  exit 77
fi
exec "${own[@]}" "$0" --inside "$@"
