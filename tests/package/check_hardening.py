#!/usr/bin/env python3
"""The built programs and libraries have the protections that docs/security.md names, as their ELF files show.

Usage: check_hardening.py BUILD_FOLDER
"""

import json
import re
import sys
from pathlib import Path

sys.path.append(str(Path(__file__).parents[1] / "android"))
from checking import expect_equal, finish, need_programs, run

BRANCHES = {"X86-64": "x86 feature: IBT, SHSTK", "AArch64": "AArch64 feature: BTI, PAC"}


def features_of(path):
    text = run("readelf", "--wide", "--file-header", "--program-headers", "--dynamic", "--dyn-syms", path)
    flags = " ".join(re.findall(r"\(FLAGS(?:_1)?\) +(.*)", text))
    found = {
        "non-executable stack": re.search(r"GNU_STACK .* RW +0x", text),
        "RELRO": "GNU_RELRO" in text,
        "immediate binding": "BIND_NOW" in flags and "NOW" in flags,
        "position-independent": "PIE" in flags or ".so" in path.name,
        "stack canary": "__stack_chk_fail" in text,
        "no run path": not re.search(r"\((?:RPATH|RUNPATH)\)", text),
    }
    return [name for name, there in found.items() if not there]


def check_linked(build):
    files = [*build.glob("device/*.so"), *(path for path in build.glob("cellwarden*") if path.suffix in ("", ".so") and path.is_file())]
    expect_equal("linked files", [len(files) >= 5], [True])
    for path in files:
        expect_equal(f"{path.name}: missing protections", features_of(path), [])


def check_objects(build):
    """Every own object is ready for branch and shadow-stack checks."""
    commands = [entry["command"] for entry in json.loads((build / "compile_commands.json").read_text())
                if "/tests/" not in entry["file"]]
    objects = [build / re.search(r" -o (\S+)", command)[1] for command in commands]
    objects = [path for path in objects if path.exists()]
    for path in objects:
        text = run("readelf", "--wide", "--file-header", "--notes", path)
        machine = next((wanted for name, wanted in BRANCHES.items() if name in text), "a known machine")
        expect_equal(f"{path}: {machine}", [machine in text], [True])
    expect_equal("objects", [len(objects) > 50], [True])
    if "clang" not in commands[0] and machine == BRANCHES["X86-64"]:
        probes = re.findall(r"orq +\$0x0,\(%rsp\)", run("objdump", "--disassemble", build / "cellwarden"))
        expect_equal("large stack frames of the daemon are probed", [bool(probes)], [True])


def main():
    need_programs("readelf", "objdump")
    build = Path(sys.argv[1])
    check_linked(build)
    check_objects(build)
    finish()


main()
