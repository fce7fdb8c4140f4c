#!/usr/bin/env bash
# Writes the spreadsheet fixtures of the link tests (tests/links/fixtures/) and
# checks the auto-configuration workbook in an office suite. Outputs are committed;
# run again only to change them. Needs python3-xlwt and LibreOffice Calc (headless).
#   bash scripts/make-link-fixtures.sh
set -euo pipefail
cd "$(dirname "$0")/.."
out=tests/links/fixtures
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
export HOME="$work" # a fresh office profile, nothing of the user's

# One source book with every kind of cell the readers must show; the office suite
# then saves it in each format, formulas with their computed results.
/usr/bin/python3 - "$work/cells.xls" <<'PY'
import datetime, sys
import xlwt
book = xlwt.Workbook(encoding="utf-8")
data = book.add_sheet("Data")
data.write(0, 0, "plain text")
data.write(0, 1, "Grüße – 20€")
data.write(1, 0, 42)
data.write(2, 0, 3.5)
data.write(3, 0, 2.0)
data.write(4, 0, xlwt.Formula("A2*2"))
data.write(5, 0, xlwt.Formula('"ab"&"cd"'))
data.write(6, 0, datetime.date(2024, 3, 15), xlwt.easyxf(num_format_str="YYYY-MM-DD"))
data.write(7, 1, "row 8 has only B")
data.write(8, 0, -0.25)
data.write(9, 0, 1234567.125)
other = book.add_sheet("Other Sheet")
other.write(0, 0, "second sheet")
other.write(2, 3, 7)
book.save(sys.argv[1])
PY
for fmt in xlsx:"Calc MS Excel 2007 XML" ods xls:"MS Excel 97"; do
  soffice --headless --norestore --convert-to "$fmt" --outdir "$work/conv" "$work/cells.xls" >/dev/null 2>&1
done
for ext in xlsx ods xls; do cp "$work/conv/cells.$ext" "$out/cells.$ext"; done
# A filled-in auto-configuration workbook: column B holds "Value <row>".
/usr/bin/python3 scripts/make-workbook.py "$out/filled-workbook.xls" --values

# The workbook resource as the office suite reads it, first sheet to CSV.
cp tools/resources/Spreadsheet101.xls "$work/Spreadsheet101.xls"
soffice --headless --norestore --convert-to csv --outdir "$work" "$work/Spreadsheet101.xls" >/dev/null 2>&1
cp "$work/Spreadsheet101.csv" "$out/Spreadsheet101-office.csv"
status=0
check() { # row, expected line
  local got; got="$(sed -n "$1p" "$out/Spreadsheet101-office.csv" | tr -d '\r')"
  if [ "$got" = "$2" ]; then echo "row $1: $got"; else echo "row $1: expected '$2', got '$got'"; status=1; fi
}
check 1 'This is the variable you want to use!,Value of Variable!'
check 2 'Text Var #1,'
check 257 'Text Var #256,'
check 258 'Cell Var #1,'
check 438 'Cell Var #181,'
[ "$(wc -l < "$out/Spreadsheet101-office.csv")" = 438 ] || { echo "expected 438 rows"; status=1; }
[ "$status" = 0 ] && echo "The auto-configuration workbook opens in the office suite with its rows intact."
exit "$status"
