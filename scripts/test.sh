#!/usr/bin/env bash
# Installs what is needed, builds incrementally and runs every test.
#   scripts/test.sh          debug build (build/dev), then the count of test lines
#   scripts/test.sh --asan   with AddressSanitizer and UndefinedBehaviorSanitizer (build/asan)
#   scripts/test.sh --all    both, then a few seconds of every fuzz target on its corpus (what CI runs)
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "${1:-}" = "--all" ]; then
  start=$SECONDS
  scripts/test.sh
  echo "== normal build and tests: $((SECONDS - start)) s"
  scripts/test.sh --asan
  echo "== sanitizer build and tests: $((SECONDS - start)) s"
  scripts/fuzz.sh 5
  echo "== fuzz smoke: $((SECONDS - start)) s in all"
  exit 0
fi
preset=dev
[ "${1:-}" = "--asan" ] && preset=asan
scripts/install-deps.sh
scripts/check-format.sh
scripts/check-layers.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
# The tests stay at most a third of the C++ lines.
if [ "$preset" = dev ]; then
  scripts/count-test-lines.sh
fi
