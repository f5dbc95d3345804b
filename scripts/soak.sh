#!/usr/bin/env bash
# Runs several clients at a simulated server whose network gets worse, for so many minutes (2 when none are
# given), and prints what each was given, what it missed and what is left in the process afterwards.
# Usage: scripts/soak.sh [MINUTES]. SOAK_PRESET=asan or tsan takes another preset than release, SOAK_SEED=N
# other faults.
set -eu
cd "$(dirname "$0")/.."

minutes=${1:-2}
preset=${SOAK_PRESET:-release}
if ! [[ $minutes =~ ^[1-9][0-9]*$ ]]; then
  echo "usage: scripts/soak.sh [MINUTES]: takes a whole number from 1, not '$minutes'" >&2
  exit 2
fi
scripts/prepare.sh all
scripts/build.sh "$preset" -DVELMAR_WERROR=ON -DVELMAR_BUILD_TOOL=ON -DVELMAR_BUILD_TESTS=ON -- soak account_tests velmar
export TMPDIR=$PWD/build/$preset/soak # for the server's log of what it sent
mkdir -p "$TMPDIR"
# First one fault at a time: what a client counts is what the server says that it did.
for load in "--rate 1000 --skeletons 2 --frames 2000" "--rate 1000 --skeletons 10 --markers 1000 --frames 2000"; do
  faults='*'
  [[ $load != *"--skeletons 10"* ]] || faults='*/0:*/1:*/2:*/3:*/4:*/5:*/6' # what the log of large frames can be told by
  VELMAR_ACCOUNT_LOAD=$load scripts/private-network.sh "build/$preset/tests/account_tests" \
    --gtest_brief=1 --gtest_filter="$faults"
done
exec scripts/private-network.sh "build/$preset/tests/soak" "build/$preset/tools/velmar/velmar" "$minutes" \
  "${SOAK_SEED:-1}"
