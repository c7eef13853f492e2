#!/usr/bin/env python3
"""Writes the page and its script as C++ text constants: make_page.py PAGE SCRIPT OUTPUT."""
import sys

page, script, output = sys.argv[1:]


def literal(path):
    with open(path, encoding="utf-8") as file:
        text = file.read()
    assert "</script" not in text or path == page, f"{path} would end the element it stands in"
    return 'R"page(' + text + ')page"'


with open(output, "w", encoding="utf-8") as file:
    file.write('#include "tools/report/page.h"\n\nnamespace cellwarden::report {\n\n')
    file.write(f"const std::string_view PAGE_HTML = {literal(page)};\n")
    file.write(f"const std::string_view PAGE_SCRIPT = {literal(script)};\n")
    file.write("\n}  // namespace cellwarden::report\n")
