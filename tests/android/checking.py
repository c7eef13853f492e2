"""Shared code of the checks of the Android packaging and of the documents."""

import difflib
import shutil
import subprocess
import sys
from pathlib import Path

SKIPPED = 77  # the exit code by which ctest recognises a skipped test
ROOT = Path(__file__).resolve().parents[2]

failures = []


def need_programs(*names):
    """Ends the check as skipped if one of the programs is missing."""
    missing = [name for name in names if shutil.which(name) is None]
    if missing:
        print(f"skipped: {', '.join(missing)} not installed (scripts/set-up --all installs them)")
        sys.exit(SKIPPED)


def run(*command, **options):
    """Returns the standard output of a command. If the command fails, the check fails."""
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        failures.append(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}")
    return done.stdout


def expect_equal(what, found, wanted):
    """Compares two lists, and records their differences as a failure."""
    if list(found) != list(wanted):
        lines = difflib.unified_diff(list(map(str, wanted)), list(map(str, found)), "wanted", "found", n=0, lineterm="")
        failures.append(f"{what}:\n" + "\n".join(lines))


def finish():
    for failure in failures:
        print(f"FAILED: {failure}")
    sys.exit(1 if failures else 0)
