#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (preset `fuzz`, build/fuzz) and runs
# each for a set time, starting from the seed corpus in fuzz/corpus/<target>.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]   default 60 seconds, every target
#   scripts/fuzz.sh --merge [TARGET...]     fold what the runs found into the
#                                           seed corpus, minimised
#
# New inputs collect in build/fuzz/corpus/<target>; a crash, a sanitizer report
# or a broken invariant leaves its input in build/fuzz/artifacts/ and makes the
# script exit 1 after the other targets ran. Turn each such input into a
# regression test of the component before fixing it.
set -euo pipefail
cd "$(dirname "$0")/.."

merge=0
seconds=60
if [ "${1:-}" = "--merge" ]; then merge=1; shift
elif [[ "${1:-}" =~ ^[0-9]+$ ]]; then seconds=$1; shift
fi

scripts/install-deps.sh
if ! command -v clang++ >/dev/null || ! dpkg-query -W -f='${Status}' libclang-rt-14-dev 2>/dev/null | grep -q 'ok installed'; then
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq && apt-get install -y -qq --no-install-recommends clang libclang-rt-14-dev
fi
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for f in build/fuzz/bin/fuzz_*; do targets+=("${f##*/fuzz_}"); done
fi

mkdir -p build/fuzz/artifacts
export LSAN_OPTIONS="suppressions=$PWD/fuzz/lsan.supp:print_suppressions=0"
failed=()
for t in "${targets[@]}"; do
  seeds=fuzz/corpus/$t found=build/fuzz/corpus/$t
  mkdir -p "$seeds" "$found"
  if [ $merge = 1 ]; then
    tmp=$(mktemp -d)
    "build/fuzz/bin/fuzz_$t" -merge=1 "$tmp" "$seeds" "$found" 2>/dev/null
    rm -rf "$seeds" && mv "$tmp" "$seeds"
    echo "$t: $(ls "$seeds" | wc -l) inputs in the seed corpus"
    continue
  fi
  log=build/fuzz/$t.log
  if "build/fuzz/bin/fuzz_$t" -max_total_time="$seconds" -print_final_stats=1 \
       -artifact_prefix=build/fuzz/artifacts/"$t"- "$found" "$seeds" >"$log" 2>&1; then
    echo "$t: $(grep -m1 -o 'Done [0-9]* runs in [0-9]* second(s)' "$log"), corpus $(ls "$found" | wc -l), no failure"
  else
    echo "$t: FAILED, see $log and build/fuzz/artifacts/$t-*"
    failed+=("$t")
  fi
done
[ ${#failed[@]} -eq 0 ] || { echo "failed: ${failed[*]}"; exit 1; }
