#!/usr/bin/env python3
"""Android.bp against the CMake build: form, sources, libraries, flags, generated code.

Usage: check_build_file.py BUILD_DIRECTORY
"""

import json
import re
import sys
import tempfile
from pathlib import Path

from checking import ROOT, expect_equal, failures, finish, need_programs, run

# What Soong would put in the place of a tool of a genrule.
TOOLS = {
    "aprotoc": "protoc",
    "protoc-gen-c": "/usr/bin/protoc-gen-c",
    "cellwarden_make_production_date_fixes": f"{sys.executable} {ROOT}/passport/make_production_date_fixes.py",
    "cellwarden_make_version": f"{sys.executable} {ROOT}/daemon/make_version.py",
}


def read_modules():
    """Name of each module to its type and text."""
    modules = re.findall(r"^(\w+) \{\n(.*?)^\}$", (ROOT / "Android.bp").read_text(), re.M | re.S)
    return {re.search(r'name: "([^"]+)"', text)[1]: (kind, text) for kind, text in modules}


def strings(text, prop):
    """The strings of a property; the last of several wins, as a condition's default does."""
    values = re.findall(rf'\b{prop}: (\[[^]]*\]|(?:"[^"]*"[ +\n]*)+)', text)
    return re.findall(r'"([^"]*)"', values[-1]) if values else []


def compile_commands(build):
    """Path of each source of the daemon to its compile command; generated ones are left out."""
    commands = json.loads((build / "compile_commands.json").read_text())
    return {str(Path(entry["file"]).relative_to(ROOT)): entry["command"] for entry in commands
            if re.search(r"CMakeFiles/cellwarden(_rules)?\.dir/", entry["command"])
            and not Path(entry["file"]).is_relative_to(build)}


def check_program(text, build):
    commands = compile_commands(build)
    expect_equal("sources of the daemon", strings(text, "srcs"), sorted(commands))
    flags = strings(text, "cflags") + strings(text, "cppflags")
    flags.append("-std=" + strings(text, "cpp_std")[0])
    for source, command in commands.items():
        expect_equal(f"flags of {source} in CMake", [flag for flag in flags if flag in command.split()], flags)
    dynamic = run("readelf", "-d", build / "cellwarden")
    needed = set(re.findall(r"NEEDED.*\[(.+)\.so", dynamic)) - {"libc", "libm"}
    needed.add("libcrypto")  # linked in here, shared on a phone
    expect_equal("libraries of the daemon", strings(text, "shared_libs"), sorted(needed))
    for path in strings(text, "init_rc"):
        expect_equal(f"{path} exists", [(ROOT / path).is_file()], [True])


def check_generated(modules, build):
    """Runs each genrule as Soong would, and compares with what CMake made."""
    made = []
    for name, (kind, text) in modules.items():
        if not kind.endswith("genrule"):
            continue
        for base in strings(text, "defaults"):
            text += modules[base][1]
        with tempfile.TemporaryDirectory() as directory:
            outputs = strings(text, "out")
            for output in outputs:
                (Path(directory) / output).parent.mkdir(parents=True, exist_ok=True)
            command = "".join(strings(text, "cmd")).replace("$$", "\0")
            values = {"in": " ".join(strings(text, "srcs")), "genDir": directory,
                      "out": " ".join(f"{directory}/{output}" for output in outputs)}
            command = re.sub(r"\$\(location ([^)]+)\)", lambda m: TOOLS[m[1]], command)
            command = re.sub(r"\$\((\w+)\)", lambda m: values[m[1]], command)
            run("sh", "-c", command.replace("\0", "$"), cwd=ROOT)
            for output in outputs:
                made.append(output)
                files = [top / output for top in (Path(directory), build / "generated")]
                expect_equal(f"{name}: {output}", *(file.read_text().splitlines() for file in files))
    generated = [str(path.relative_to(build / "generated")) for folder in ("daemon", "passport", "telemetry")
                 for path in (build / "generated" / folder).rglob("*") if path.is_file()]
    expect_equal("generated files", sorted(made), sorted(generated))


need_programs("bpfmt", "protoc", "protoc-gen-c")
build_directory = Path(sys.argv[1]).resolve()
if run("bpfmt", "-l", ROOT / "Android.bp"):
    failures.append(run("bpfmt", "-d", ROOT / "Android.bp"))
all_modules = read_modules()
check_program(all_modules["cellwarden"][1], build_directory)
check_generated(all_modules, build_directory)
finish()
