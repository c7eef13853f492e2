#!/usr/bin/env python3
"""The examples of docs/tools.md and docs/lifetime.md run, and print what the pages show.

Usage: run_examples.py BUILD_FOLDER

Lives are shortened, so that numbers in the output may differ from those on the page; words may not.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.append(str(Path(__file__).parents[1] / "android"))
from checking import ROOT, expect_equal, failures, finish

YEARS = "0.1"
OF_TOOLS = re.compile(r"(?:head [^|]*\| )?(?:build/host/)?cellwarden-(?:inspect|lifetime (?:list|policy|run|compare)|report)\b")


def examples(page):
    """Yields the commands of fenced blocks, each with the output that the page shows, or None."""
    for block in re.findall(r"^```(?:\w*)\n(.*?)^```", (ROOT / page).read_text(), re.M | re.S):
        shown = re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", block, re.M)
        yield from shown or [(line, None) for line in block.splitlines() if OF_TOOLS.match(line)]


def shortened(command):
    command = re.sub(r" --years [\d.]+", "", command.replace("build/host/", ""))
    return re.sub(r"(cellwarden-lifetime run .*)", rf"\1 --years {YEARS} --overwrite", command)


def masked(text):
    return [re.sub(r" +", " ", re.sub(r"\d[\d,.:]*", "N", line)).strip() for line in text.splitlines()]


def prepare(build, work):
    """Makes what the pages take as given: a profile of the reader's, older records, runs and studies."""
    shutil.copy(build / "data/profiles/overnight.json", work / "my-user.json")
    for run in ("before", "after"):
        subprocess.run([build / "cellwarden-lifetime", "run", "overnight", "--years", YEARS, "--out", work / run],
                       stdout=subprocess.DEVNULL, check=True)
    for study in ("care", "level-3"):
        subprocess.run([build / "cellwarden-lifetime", "study", study, "--phones", "2", "--years", "0.01", "--out", work / study],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    shutil.copy(work / "before/overnight/units/2491", work / "2491.old")
    shutil.copy(work / "after/overnight/units/2491", work / "2491")


def main():
    build = Path(sys.argv[1]).resolve()
    environment = os.environ | {"PATH": f"{build}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8"}
    for page in ("docs/tools.md", "docs/lifetime.md"):
        with tempfile.TemporaryDirectory(prefix="cellwarden-docs-") as folder:
            prepare(build, Path(folder))
            commands = list(examples(page))
            expect_equal(f"{page}: examples", [len(commands) > 3], [True])
            for command, shown in commands:
                done = subprocess.run(["sh", "-c", shortened(command)], cwd=folder, env=environment, capture_output=True,
                                      text=True, stdin=subprocess.DEVNULL, check=False)
                if done.returncode > (0 if "compare" not in command and shown is None else 1):
                    failures.append(f"{page}: {command}\n{done.stderr}")
                elif shown is not None:
                    expect_equal(f"{page}: {command}", masked(done.stdout), masked(shown))
    finish()


main()
