#!/usr/bin/env python3
"""The daemon's version is in the stripped binary and in the process's own pages, and identifies its sources.

Usage: check_version.py BUILD_DIRECTORY
"""

import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from checking import ROOT, expect_equal, finish, need_programs, run

SECTION = ".cellwarden.version"


def compiled_sources(build):
    """Returns this repository's files from which the daemon was compiled, as the compiler reported them."""
    names = set()
    blocks = run("ninja", "-C", build, "-t", "deps").split("\n\n")
    for block in blocks:
        if re.match(r"CMakeFiles/cellwarden(_rules)?\.dir/", block):
            names |= {Path(build, line.strip()).resolve() for line in block.splitlines()[1:]}
    return {str(path.relative_to(ROOT)) for path in names
            if path.is_relative_to(ROOT) and not path.is_relative_to(build)}


def version_of(sources, root):
    """Returns the version text of these sources in the folder `root`."""
    text = run(sys.executable, ROOT / "daemon/make_version.py", "/dev/stdout", *(Path(root) / name for name in sources))
    return re.search(r'"(cellwarden .*)"', text)[1]


def own_pages(daemon, libraries):
    """Returns the binary's writable pages in a running daemon, which still waits for the drivers."""
    process = subprocess.Popen([daemon], env={"LD_LIBRARY_PATH": libraries})
    try:
        mappings = []
        while not mappings and process.poll() is None:  # the kernel has not loaded it yet
            maps = Path(f"/proc/{process.pid}/maps").read_text()
            mappings = re.findall(rf"^(\w+)-(\w+) rw.*{re.escape(str(daemon))}$", maps, re.M)
        pages = b""
        with open(f"/proc/{process.pid}/mem", "rb") as memory:
            for start, end in mappings:
                memory.seek(int(start, 16))
                pages += memory.read(int(end, 16) - int(start, 16))
        return pages
    finally:
        process.kill()
        process.wait()


need_programs("ninja", "readelf", "strip")
build_directory = Path(sys.argv[1]).resolve()
built = build_directory / "cellwarden"
own_sources = sorted(compiled_sources(build_directory) | {"daemon/version.txt", "telemetry/charging.proto"})
wanted = version_of(own_sources, ROOT)
number = (ROOT / "daemon/version.txt").read_text().strip()
expect_equal("form of the version", re.findall(rf"^cellwarden {re.escape(number)} sources [0-9a-f]{{16}}$", wanted), [wanted])
with tempfile.TemporaryDirectory() as temporary:
    stripped = Path(temporary) / "cellwarden"
    run("strip", "-o", stripped, built)
    expect_equal("stripped binary", re.findall(r"cellwarden .*", run("readelf", "-p", SECTION, stripped)), [wanted])
    for name in own_sources:
        (Path(temporary) / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(ROOT / name, Path(temporary) / name)
    expect_equal("in another folder", [version_of(reversed(own_sources), temporary)], [wanted])
    with open(Path(temporary) / own_sources[0], "a", encoding="utf-8") as changed:
        changed.write("\n")
    expect_equal("other sources have another version", [version_of(own_sources, temporary) != wanted], [True])
expect_equal("pages of a process", [wanted.encode() in own_pages(built, build_directory / "device")], [True])
finish()
