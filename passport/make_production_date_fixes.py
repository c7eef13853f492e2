#!/usr/bin/env python3
"""Converts a table of production-date fixes to C++.

Usage: make_production_date_fixes.py TABLE.csv OUTPUT.cpp

A row is `<64 lower-case hex digits>,<YYMMDD>`; `#` starts a comment line. A row of another form, a
duplicate digest and an impossible date are errors; the message names the line.
"""

import datetime
import re
import sys

ROW = re.compile(r"([0-9a-f]{64}),([0-9]{6})")


class TableError(Exception):
    """An error in the table, with its line."""


def calendar_has(date):
    try:
        datetime.date(2000 + int(date[0:2]), int(date[2:4]), int(date[4:6]))
    except ValueError:
        return False
    return True


def read_rows(path):
    rows = []
    line_of_digest = {}
    with open(path, encoding="ascii", errors="surrogateescape") as table:
        for number, line in enumerate(table, start=1):
            text = line.strip()
            if not text or text.startswith("#"):
                continue
            match = ROW.fullmatch(text)
            if match is None:
                raise TableError(
                    f"{path}:{number}: expected <64 lower-case hex digits>,<YYMMDD>, found {text!a}")
            digest, date = match.groups()
            if not calendar_has(date):
                raise TableError(f"{path}:{number}: {date} is not a date (YYMMDD)")
            if digest in line_of_digest:
                raise TableError(
                    f"{path}:{number}: duplicate digest, already in line {line_of_digest[digest]}")
            line_of_digest[digest] = number
            rows.append((digest, date))
    return rows


def write_source(rows, path):
    with open(path, "w", encoding="ascii") as source:
        source.write("// Generated from the table of production-date fixes.\n")
        source.write('#include "passport/production_date_fixes.h"\n\n')
        source.write("namespace cellwarden {\nnamespace {\n\n")
        source.write(f"constexpr std::array<ProductionDateFix, {len(rows)}> ROWS = {{{{\n")
        for digest, date in rows:
            octets = ",".join(f"0x{digest[i:i + 2]}" for i in range(0, len(digest), 2))
            source.write(f'    {{{{{octets}}}, "{date}"}},\n')
        source.write("}};\n\n}  // namespace\n\n")
        source.write("std::span<const ProductionDateFix> production_date_fixes() {\n"
                     "    return ROWS;\n}\n\n}  // namespace cellwarden\n")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    try:
        write_source(read_rows(sys.argv[1]), sys.argv[2])
    except (OSError, TableError) as error:
        sys.exit(f"production-date fixes: {error}")


if __name__ == "__main__":
    main()
