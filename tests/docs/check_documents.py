#!/usr/bin/env python3
"""The tables of docs/ agree with the code that they describe, and the files that pages name exist."""

import graphlib
import re
import sys
from pathlib import Path

sys.path.append(str(Path(__file__).parents[1] / "android"))
from checking import ROOT, expect_equal, finish

SIZES = {"u8": 1, "char": 1, "u16": 2, "i16": 2, "u32": 4, "u64": 8, "entry": 16}


def text_of(path):
    return (ROOT / path).read_text()


def rows_of(document):
    """Returns the cells of every table row of a document."""
    return [[cell.strip() for cell in line.strip("|").split("|")]
            for line in document.splitlines() if line.startswith("| ")]


def check_record():
    fields = re.findall(r"^BATT_STAT_FIELD\((\w+), (\w+), (\w+), ",
                        text_of("state/batt_stat_fields.inc"), re.M)
    gaps = dict(re.findall(r"^BATT_STAT_RESERVED\(0x(\w+), (\d+)\)",
                           text_of("state/batt_stat_fields.inc"), re.M))
    rows = [row for row in rows_of(text_of("docs/record.md")) if row[0].startswith("0x")]
    expect_equal("fields of the record", [row[1].strip("`") for row in rows], [f[1] for f in fields])
    ends = [int(field[0], 16) for field in fields[1:]] + [9728]
    for row, (offset, name, unit), end in zip(rows, fields, ends):
        expect_equal(f"{name}: offset and unit", [row[0], row[3]], [offset, unit])
        kind, count = re.fullmatch(r"(\w+)(?:\[(\d+)\])?", row[2]).groups()
        past = int(offset, 16) + SIZES[kind] * int(count or 1)
        expect_equal(f"{name}: offset of its end", [past + int(gaps.get(f"{past:04X}", 0))], [end])


def fields_sent(code):
    """Names of the fields that a report is filled with; put() takes a whole record's by name."""
    names = set(re.findall(r"\b[A-Z_]+\((\w+)\b|message\.(?:n_)?(\w+) =|\bput\(report, \"(\w+)\"", code))
    names = {name for groups in names for name in groups}
    if "put(report, #name," in code:
        names |= set(re.findall(r"^BATT_STAT_FIELD\(\w+, (\w+),", text_of("state/batt_stat_fields.inc"), re.M))
        names -= set(re.findall(r'"(\w+)"', re.search(r" NEVER_SENT = \{(.*?)\}", code, re.S)[1]))
    return names


def check_event(message, source):
    body = re.search(rf"message {message} \{{(.*?)\}}", text_of("telemetry/charging.proto"), re.S)[1]
    fields = re.findall(r"(\w+ \w+) (\w+) = (\d+);", body)
    sent = fields_sent(text_of(source))
    section = re.search(rf"^## {message}$(.*?)(?=^## |\Z)", text_of("docs/telemetry.md"), re.M | re.S)[1]
    rows = [row for row in rows_of(section) if row[0].isdigit()]
    expect_equal(message, [(row[2], row[1].strip("`"), row[0]) for row in rows], fields)
    for row in rows:
        name = row[1].strip("`")
        expect_equal(f"{message}.{name} is sent", [row[3] != "not sent"], [name in sent])


def all_rooms():
    """Returns every top folder, and the folders directly below bench/ and tools/ that have sources."""
    tops = [path.name for path in ROOT.iterdir()
            if path.is_dir() and path.name != "build" and not path.name.startswith(".")]
    below = {str(path.parent.relative_to(ROOT)) for top in ("bench", "tools")
             for path in (ROOT / top).glob("*/*.cpp")}
    return set(tops) | below


def room_of(path, rooms):
    """Returns the innermost room of a path; generated sources and tests/support belong to their folder."""
    if path.startswith("support/"):
        return "tests"
    parts = path.split("/")
    return next((name for name in ("/".join(parts[:2]), parts[0]) if len(parts) > 1 and name in rooms), None)


def included_rooms(rooms):
    """Returns for each room the other rooms that its sources include."""
    graph = {room: set() for room in rooms}
    for path in ROOT.glob("[a-z]*/**/*"):
        name = str(path.relative_to(ROOT))
        if path.suffix not in (".h", ".cpp", ".inc") or name.startswith("build/"):
            continue
        room = room_of(name, rooms)
        graph[room] |= {room_of(file, rooms) for file in re.findall(r'#include "([^"]+)"', path.read_text())}
    return {room: included - {room, None} for room, included in graph.items()}


def find_cycle(graph):
    """Returns rooms that include each other, directly or through others."""
    try:
        graphlib.TopologicalSorter(graph).prepare()
        return []
    except graphlib.CycleError as error:
        return error.args[1]


def check_rooms():
    rooms = all_rooms()
    graph = included_rooms(rooms)
    rows = {row[0].strip("`/"): row for row in rows_of(text_of("docs/architecture.md"))
            if re.fullmatch(r"`[\w/]+/`", row[0])}
    expect_equal("rooms of docs/architecture.md", sorted(rows), sorted(rooms))
    for room, row in rows.items():
        expect_equal(f"{room}/: filled cells", [bool(cell) for cell in row], [True, True, True])
        wanted = sorted(graph.get(room, ())) or ["nothing"]
        expect_equal(f"{room}/ includes", row[2].split(", "), wanted)
    expect_equal("rooms that include each other", find_cycle(graph), [])
    # The folders of the daemon: the digest in its version covers them.
    daemon = set(re.findall(r'"(\w+)/\*\.h"', text_of("Android.bp")))
    for room in sorted(daemon):
        expect_equal(f"{room}/, a folder of the daemon, includes folders of the desk", sorted(graph[room] - daemon), [])


def check_named_files():
    named = re.compile(r"`([\w./-]+\.(?:h|cpp|inc|proto|py|te|rc|bp|md))`")
    names = {path.name for folder in ROOT.glob("[a-z]*") if folder.name != "build"
             for path in folder.rglob("*")}
    for page in [*(ROOT / "docs").glob("*.md"), ROOT / "android/README.md"]:
        for name in named.findall(page.read_text()):
            exists = ((ROOT / name).exists() or (page.parent / name).exists()
                      or ("/" not in name and name in names))
            expect_equal(f"{page.name}: {name} exists", [exists], [True])


# Names of kernel, platform, build system and database, and a battery's model.
FOREIGN = set("FINAL BLOCK_SUSPEND CONFIG_PM_WAKELOCKS BOARD_VENDOR_SEPOLICY_DIRS PRODUCT_PACKAGES PELLAMIR_VOSKA FAILS".split())


def check_named_constants():
    """A paragraph, list item or table row that names a constant of the code names a file that has it."""
    items = re.compile(r"\n\s*\n|\n(?=\s*(?:[-*]|\d+\.) )|\n(?=\|)")
    for page in [*(ROOT / "docs").glob("*.md"), *ROOT.glob("*/README.md"), ROOT / "README.md"]:
        for item in items.split(re.sub(r"```.*?```", "", page.read_text(), flags=re.S)):
            texts = [(ROOT / name).read_text() for name in re.findall(r"`([\w/.]+\.\w+)`", item) if (ROOT / name).is_file()]
            for name in set(re.findall(r"`([A-Z][A-Z0-9_]{4,})`", item)) - FOREIGN:
                found = any(re.search(rf"\b{name}\b", text) for text in texts)
                expect_equal(f"{page.relative_to(ROOT)} names a file with {name}", [found], [True])


def check_simulator():
    """The names of a study's columns and traits, and of the driver's figures, as docs/lifetime.md lists them."""
    sections = dict(re.findall(r"^##+ (.*?)$(.*?)(?=^## |\Z)", text_of("docs/lifetime.md"), re.M | re.S))
    names = {row[0]: row for part in ("Policies", "Studies") for row in rows_of(sections[part])}
    listed = [name for row in names for name in re.findall(r"`(\w+)`", row)]
    for path, pattern in (("tools/lifetime/outcomes.h", r'\{"(\w+)", \d\}'), ("tools/lifetime/study_file.cpp", r'Trait\{"(\w+)"'),
                          ("policies/policy_file.cpp", r'visit\("driver", "(\w+)"')):
        wanted = [name for name in re.findall(pattern, text_of(path)) if not re.fullmatch(r"level_[1-4]_days", name)]
        expect_equal(f"names of {path}", [name for name in listed if name in wanted], wanted)


check_record()
check_simulator()
check_event("BatteryDegradation2", "telemetry/batt_degradation2.cpp")
check_event("ChargerInsertionRemoval", "telemetry/charger_insertion_removal.cpp")
check_rooms()
check_named_files()
check_named_constants()
finish()
