#!/usr/bin/env bash
# The long fault soak: many emulated display systems over loopback TCP with
# NAKs, damaged answers, links cut mid-frame, late answers and one system that
# refuses connections at first; every round updates all their units until done
# and audits every unit against what was sent. Prints the test's summary and
# how long it took.
#   scripts/soak.sh [emulators] [variables] [rounds]     defaults: 10 416 3
# (the suite's short version: 5 emulators, 16 variables, one round)
set -euo pipefail
cd "$(dirname "$0")/.."
export SOAK_EMULATORS="${1:-10}" SOAK_VARIABLES="${2:-416}" SOAK_ROUNDS="${3:-3}"
export SOAK_SEED="${SOAK_SEED:-17}" SOAK_MINUTES="${SOAK_MINUTES:-30}" QT_QPA_PLATFORM=offscreen
# QtTest stops a test function after five minutes unless told otherwise.
export QTEST_FUNCTION_TIMEOUT=$((SOAK_MINUTES * SOAK_ROUNDS * 2 * 60000))
cmake --preset dev >/dev/null
cmake --build --preset dev --target tst_soak lumarex-emulator >/dev/null
log=$(mktemp)
trap 'rm -f "$log"' EXIT
start=$(date +%s)
status=0
build/dev/bin/tst_soak -maxwarnings 0 >"$log" 2>&1 || status=$?
end=$(date +%s)
grep -E '^(PASS|FAIL|QINFO|Totals)|Loc:' "$log" | cut -c1-400
echo "soak: $SOAK_EMULATORS emulators, $SOAK_VARIABLES variables, $SOAK_ROUNDS rounds, seed $SOAK_SEED:" \
     "$([ $status -eq 0 ] && echo passed || echo "FAILED ($status)") in $((end - start)) s"
exit $status
