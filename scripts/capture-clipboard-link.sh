#!/usr/bin/env bash
# Captures the "Link" clipboard flavour that the office suite's spreadsheet puts
# on the clipboard when cells are copied, as the link tests' fixtures
# (tests/links/fixtures/clipboard-link-*.bin). Run under a private X server;
# needs LibreOffice Calc, xdotool and xclip. Outputs are committed.
#   bash scripts/capture-clipboard-link.sh
set -euo pipefail
cd "$(dirname "$0")/.."
out="$PWD/tests/links/fixtures"
work=/tmp/lo # the captured bytes carry the document's path: keep it short and fixed
rm -rf "$work" && mkdir -p "$work"
cp "$out/cells.ods" "$work/"
export HOME="$work" DISPLAY=:77
flavour='application/x-openoffice-link;windows_formatname="Link"'
Xvfb :77 -screen 0 1280x1024x24 >/dev/null 2>&1 & xvfb=$!
sleep 1
soffice --norestore --nologo --calc "$work/cells.ods" >/dev/null 2>&1 & office=$!
trap 'kill $office; sleep 2; kill $xvfb' EXIT
sleep 15
win=$(xdotool search --name "cells" | head -1)
copy() { # window, name, keys...
  local w=$1 name=$2; shift 2
  xdotool key --window "$w" "$@"; sleep 0.5
  xdotool key --window "$w" ctrl+c; sleep 1.5
  xclip -o -selection clipboard -t "$flavour" > "$out/clipboard-link-$name.bin"
}
xdotool windowfocus --sync "$win"
copy "$win" saved ctrl+Home                       # Data.A1 of the saved book
copy "$win" range ctrl+Home Right Down Down shift+Down   # Data.B3:B4
copy "$win" othersheet ctrl+Page_Down ctrl+Home   # 'Other Sheet'.A1
xdotool key --window "$win" ctrl+n; sleep 5       # a book never saved
copy "$(xdotool search --name "Untitled" | head -1)" unsaved ctrl+Home
xxd "$out"/clipboard-link-*.bin
