#!/usr/bin/env python3
"""Writes the ClickHouse tables of a fleet's events from the schema of the events.

Usage: make_tables.py CHARGING_PROTO OUTPUT

Each message becomes two tables: one per shard that stores rows, and one that distributes them by
phone. A column has the name and the number type of its field, in the unit in which it was sent. For
every state of health there is also a column in %, computed when it is read, because the two messages
send it in different units; the comment of a message names its unit.
"""

import re
import sys
from pathlib import Path

TYPES = {"uint32": "UInt32", "uint64": "UInt64", "int32": "Int32", "bool": "UInt8", "string": "String"}

# Message: its table, the engine of the table of a shard, and what makes two rows the same event.
TABLES = {
    "BatteryDegradation2": ("ageing", """\
ENGINE = ReplacingMergeTree(time)
ORDER BY phone"""),
    "ChargerInsertionRemoval": ("connection", """\
ENGINE = ReplacingMergeTree
PARTITION BY toYYYYMM(time)
ORDER BY (phone, time, ifNull(removal_soc, 0), ifNull(usb_insertion_time, 0))"""),
}
ABOUT = {
    "ageing": "The newest ageing event of each phone, which contains the phone's history. A merge "
              "removes\n-- older ones; FINAL hides those that are not merged yet.",
    "connection": "All charger connections. An event that is loaded twice becomes one row.",
}


def column(label, kind, name):
    """Returns the column of a field. A text is always sent; a number that was not sent is NULL."""
    if label == "repeated":
        return f"{name} Array({TYPES[kind]})"
    return f"{name} {TYPES[kind]}" if kind == "string" else f"{name} Nullable({TYPES[kind]})"


def health_column(label, name, unit):
    """Returns the column in % of a state of health; 0 was sent for one that is not known yet."""
    if label == "repeated":
        return f"{name}_percent Array(Float64) ALIAS arrayMap(health -> health * {unit}, {name})"
    return f"{name}_percent Nullable(Float64) ALIAS nullIf({name}, 0) * {unit}"


def tables_of(schema):
    """Yields the message, its fields as (label, type, name), and the unit of its states of health in %."""
    for comment, message, body in re.findall(r"((?://.*\n)+)message (\w+) \{\n([^}]*)\}", schema):
        unit, = re.findall(r"health\s+are\s+in\s[^.]*?(0\.\d+) %", comment.replace("//", ""))
        yield message, re.findall(r"^\s*(\w+) (\w+) (\w+) = \d+;", body, re.M), unit


def main():
    schema, output = map(Path, sys.argv[1:])
    statements = ["-- Generated from charging.proto by make_tables.py; do not edit.\n"
                  "-- Run on every shard of a cluster named 'fleet' (docs/fleet.md).\n",
                  "CREATE DATABASE IF NOT EXISTS fleet;\n"]
    found = list(tables_of(schema.read_text()))
    if [message for message, _, _ in found] != list(TABLES):
        sys.exit(f"{schema}: expected the messages {', '.join(TABLES)}")
    for message, fields, unit in found:
        table, engine = TABLES[message]
        columns = ["phone String", "time DateTime", *(column(*field) for field in fields)]
        columns += [health_column(label, name, unit) for label, _, name in fields if "soh" in name and "time" not in name]
        statements.append(f"-- {ABOUT[table]}\nCREATE TABLE fleet.{table}_shard (\n    "
                          + ",\n    ".join(columns) + f"\n) {engine};\n")
        statements.append(f"CREATE TABLE fleet.{table} AS fleet.{table}_shard\n"
                          f"ENGINE = Distributed(fleet, fleet, {table}_shard, cityHash64(phone));\n")
    output.write_text("\n".join(statements))


if __name__ == "__main__":
    main()
