#!/usr/bin/env bash
# Fails when a C++ source of the tree is not formatted as .clang-format says.
# In a git checkout the tracked sources; in a source archive (no .git) every
# source outside the build folders.
set -euo pipefail
cd "$(dirname "$0")/.."
if command -v git >/dev/null && git rev-parse --is-inside-work-tree >/dev/null 2>&1; then
  git ls-files -z -- '*.cpp' '*.h'
else
  find . \( -path ./build -o -path './.*' \) -prune -o -type f \( -name '*.cpp' -o -name '*.h' \) -print0
fi | xargs -0 clang-format --dry-run -Werror
