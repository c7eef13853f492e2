"""What the checks of the Android packaging share."""

import difflib
import re
import shutil
import subprocess
import sys
from pathlib import Path

SKIPPED = 77  # the exit code that ctest takes for "could not run here"
ROOT = Path(__file__).resolve().parents[2]
DAEMON_FOLDERS = ("core", "platform", "charge", "stats", "telemetry", "passport")

failures = []


def need_programs(*names):
    """Ends the check as skipped where one of the programs is missing."""
    missing = [name for name in names if shutil.which(name) is None]
    if missing:
        print(f"skipped: {', '.join(missing)} not installed (scripts/set-up --all installs them)")
        sys.exit(SKIPPED)


def run(*command, **options):
    """Standard output of a command; its failure is a failure of the check."""
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        failures.append(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}")
    return done.stdout


def expect_equal(what, found, wanted):
    """Compares two lists, and shows where they differ."""
    if list(found) != list(wanted):
        lines = difflib.unified_diff(list(map(str, wanted)), list(map(str, found)), "wanted",
                                     "found", lineterm="", n=0)
        failures.append(f"{what}:\n" + "\n".join(lines))


def daemon_sources():
    """Text of every source and header of the daemon, by path."""
    return {path: path.read_text() for folder in DAEMON_FOLDERS
            for path in sorted((ROOT / folder).iterdir()) if path.suffix in (".cpp", ".h", ".inc")}


def parameter_paths():
    """Name to path of the kernel parameters that have a fixed one."""
    rows = (ROOT / "platform/sysfs_params.inc").read_text()
    return dict(re.findall(r'^SYSFS_FIXED\(\d+, (\w+), "([^"]+)"', rows, re.M))


def finish():
    for failure in failures:
        print(f"FAILED: {failure}")
    sys.exit(1 if failures else 0)
