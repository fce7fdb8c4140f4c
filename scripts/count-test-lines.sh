#!/usr/bin/env bash
# Counts the lines of C++ (*.cpp, *.h) in tests/ against those of all C++ outside
# tests/, bench/, fuzz/ and build folders, and fails when the tests are more than
# a third of the whole. Works in a source archive too (no git needed).
set -euo pipefail
cd "$(dirname "$0")/.."
count() { find "$@" -type f \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 cat -- | wc -l; }
grouped() { echo "$1" | sed -e ':a' -e 's/\([0-9]\)\([0-9]\{3\}\)\($\|,\)/\1,\2\3/' -e 'ta'; }
tests=$(count tests)
others=$(count . \( -path ./tests -o -path ./bench -o -path ./fuzz -o -path './build*' -o -path './.*' \) -prune -o)
all=$((tests + others))
echo "test lines: $(grouped "$tests") of $(grouped "$all") C++ lines ($(awk -v t="$tests" -v a="$all" \
  'BEGIN { printf "%.1f", 100 * t / a }')%, limit 33.3%)"
if ((3 * tests > all)); then
  echo "the tests are more than a third of the C++ lines: cut scaffolding or checks that restate the code" >&2
  exit 1
fi
