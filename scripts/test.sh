#!/usr/bin/env bash
# Installs what is needed, builds incrementally and runs every test.
#   scripts/test.sh          debug build (build/dev)
#   scripts/test.sh --asan   with AddressSanitizer and UndefinedBehaviorSanitizer (build/asan)
set -euo pipefail
cd "$(dirname "$0")/.."
preset=dev
[ "${1:-}" = "--asan" ] && preset=asan
scripts/install-deps.sh
scripts/check-format.sh
scripts/check-layers.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset"
