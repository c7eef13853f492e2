#!/usr/bin/env python3
"""Writes the daemon's version as C++: its number, and a digest of its sources.

Usage: make_version.py OUTPUT SOURCE...

One of the sources is daemon/version.txt, which contains the number. The digest covers contents and
paths, relative to the parent of daemon/: it is the same in every folder and on every machine, with or
without a repository.
"""

import hashlib
import sys
from pathlib import Path

TEXT = """\
// Made by daemon/make_version.py; do not edit.
// Not constant, so that it lies among the process's own pages, which every core file holds.
extern "C" {{
[[gnu::used, gnu::retain, gnu::section(".cellwarden.version")]] char cellwarden_version[] =
    "{version}";
}}
"""


def version_of(sources):
    number_file = next(path for path in sources if path.name == "version.txt")
    root = number_file.parent.parent
    digest = hashlib.sha256()
    for path in sorted(sources, key=lambda path: str(path.relative_to(root))):
        content = path.read_bytes()
        digest.update(f"{path.relative_to(root)} {len(content)}\n".encode() + content)
    return f"cellwarden {number_file.read_text().strip()} sources {digest.hexdigest()[:16]}"


if __name__ == "__main__":
    Path(sys.argv[1]).write_text(TEXT.format(version=version_of([Path(name) for name in sys.argv[2:]])))
