#!/usr/bin/env bash
# Fails when a C++ source of the tree is not formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -z -- '*.cpp' '*.h' | xargs -0 clang-format --dry-run -Werror
