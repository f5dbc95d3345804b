#!/usr/bin/env bash
# Prints which share of the library's lines the tests and the fuzzers' corpora run, file by file. Fails when the
# codecs or the dispatch of what arrives fall below 95 in a hundred.
set -eu
cd "$(dirname "$0")/.."

scripts/prepare.sh all
scripts/build.sh fuzz -DVELMAR_WERROR=ON -DVELMAR_BUILD_TOOL=ON -DVELMAR_BUILD_TESTS=ON
echo "== tests: fuzz"

work=build/fuzz/coverage
rm -rf "$work"
mkdir -p "$work"
export LLVM_PROFILE_FILE=$PWD/$work/%4m.profraw # each program's runs are merged
ctest --preset fuzz -j "$(nproc)" >"$work/tests.log" || { tail -n 40 "$work/tests.log"; exit 1; }
build/fuzz/tests/make_seeds build/fuzz/corpus/seeds
for fuzzer in build/fuzz/tests/fuzz_*; do
  target=${fuzzer##*fuzz_}
  corpora=("build/fuzz/corpus/seeds/$target")
  for folder in "build/fuzz/corpus/$target" "tests/fuzz/corpus/$target"; do
    [ ! -d "$folder" ] || corpora+=("$folder")
  done
  "$fuzzer" -runs=0 "${corpora[@]}" >"$work/$target.log" 2>&1 || { tail -n 40 "$work/$target.log"; exit 1; }
done

llvm-profdata-14 merge "$work"/*.profraw -o "$work/all.profdata"
programs=(build/fuzz/tests/*_tests build/fuzz/tests/fuzz_*)
llvm-cov-14 export -summary-only -instr-profile="$work/all.profdata" "${programs[0]}" \
  "${programs[@]/#/-object=}" TarvoSDKClient >"$work/summary.json" 2>"$work/llvm-cov.log"
python3 - "$work/summary.json" <<'END'
import json, sys

wanted = 95
failed = False
folder = "TarvoSDKClient/"
files = {f["filename"].rsplit(folder, 1)[1]: f["summary"] for f in json.load(open(sys.argv[1]))["data"][0]["files"]}
print(f'{"file":<40} {"lines":>6} {"run":>6} {"%":>6} {"branches %":>10}')
groups = {"codecs and copies": "model/", "dispatch": ("transport/CommandServerInbound", "transport/CommandServerReplies", "transport/MessageJoin"), "whole library": ""}
rows = [(name, [summary]) for name, summary in sorted(files.items())]
rows += [(group, [s for name, s in files.items() if name.startswith(part)]) for group, part in groups.items()]
for name, summaries in rows:
    lines, run = (sum(s["lines"][key] for s in summaries) for key in ("count", "covered"))
    branches, taken = (sum(s["branches"][key] for s in summaries) for key in ("count", "covered"))
    share = 100 * run / lines if lines else 100
    print(f"{name:<40} {lines:>6} {run:>6} {share:>6.1f} {100 * taken / branches if branches else 100:>10.1f}")
    if name in ("codecs and copies", "dispatch") and share < wanted:
        failed = True
        print(f"{name}: fewer than {wanted} of 100 lines run")
sys.exit(failed)
END
