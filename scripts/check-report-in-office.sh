#!/usr/bin/env bash
# Opens a saved update report in LibreOffice (headless) and checks that its text
# comes through intact. Not part of the test suite: it needs a word processor.
#   bash scripts/check-report-in-office.sh   (uses build/dev; installs LibreOffice Writer if missing)
set -euo pipefail
cd "$(dirname "$0")/.."
command -v soffice >/dev/null || {
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq && apt-get install -y -qq --no-install-recommends libreoffice-writer-nogui
}
cmake --build build/dev -j2 --target tst_dlgvariableupdate
out="$(mktemp -d)"
trap 'rm -rf "$out"' EXIT
LUMAREX_KEEP_REPORT="$out/Var Log.doc" QT_QPA_PLATFORM=offscreen \
  build/dev/bin/tst_dlgvariableupdate saveReport >/dev/null
# The ".doc" file is rich text: convert it as such.
cp "$out/Var Log.doc" "$out/report.rtf"
soffice --headless --norestore --convert-to txt:Text --outdir "$out" "$out/report.rtf" >/dev/null 2>&1
text="$out/report.txt"
status=0
for expected in "Variables Data & Attributes Updated on" "Location/Display=1" "Status= Updated" \
                "Location/Display=2" "Status= Failed"; do
  if grep -qF "$expected" "$text"; then echo "found:   $expected"; else echo "MISSING: $expected"; status=1; fi
done
[ "$status" = 0 ] && echo "The report opens in LibreOffice with its text intact."
exit "$status"
