#!/usr/bin/python3
"""Writes the workbook that spreadsheet auto-configuration puts on disk.

    /usr/bin/python3 scripts/make-workbook.py [OUT.xls] [--values]

One sheet "Variables": row 1 holds the two headings, rows 2-257 "Text Var #1"
to "Text Var #256", rows 258-438 "Cell Var #1" to "Cell Var #181"; column B is
left for the user. With --values column B of every variable row holds
"Value <row>" instead, the workbook a user has filled in (a test fixture).

The output is byte-for-byte the same on every run, so the committed file can be
checked against this script.
"""
import sys

import xlwt

TEXT_ROWS = 256
CELL_ROWS = 181  # more than the 160 cell variables; the last rows are never linked


def build(values):
    book = xlwt.Workbook(encoding="utf-8")
    sheet = book.add_sheet("Variables")
    sheet.write(0, 0, "This is the variable you want to use!")
    sheet.write(0, 1, "Value of Variable!")
    sheet.col(0).width = 256 * 40
    sheet.col(1).width = 256 * 30
    labels = [f"Text Var #{i}" for i in range(1, TEXT_ROWS + 1)]
    labels += [f"Cell Var #{i}" for i in range(1, CELL_ROWS + 1)]
    for index, label in enumerate(labels, start=1):
        sheet.write(index, 0, label)
        if values:
            sheet.write(index, 1, f"Value {index + 1}")
    return book


def main(argv):
    values = "--values" in argv
    paths = [a for a in argv if not a.startswith("--")]
    out = paths[0] if paths else "tools/resources/Spreadsheet101.xls"
    build(values).save(out)


if __name__ == "__main__":
    main(sys.argv[1:])
