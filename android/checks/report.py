"""Prints the results of the checks of a platform, and counts them."""

import subprocess


class Report:
    def __init__(self):
        self.failed = 0
        self.skipped = 0
        self.passed = 0

    def about(self, title):
        print(f"\n{title}")

    def holds(self, what):
        self.passed += 1
        print(f"  holds: {what}")

    def fails(self, what, details=""):
        self.failed += 1
        print(f"  FAILS: {what}")
        for line in str(details).strip().splitlines():
            print(f"         {line}")

    def not_checked(self, what):
        self.skipped += 1
        print(f"  not checked: {what}")

    def note(self, what):
        print(f"  note: {what}")

    def verdict(self, good, what, details=""):
        """Reports a check: it holds, or fails with details."""
        if good:
            self.holds(what)
        else:
            self.fails(what, details)
        return good

    def exit_code(self):
        """Returns 0 if everything was checked and holds, 1 if a check fails, 2 if only some were not made."""
        print(f"\n{self.passed} hold, {self.failed} fail, {self.skipped} not checked")
        return 1 if self.failed else 2 if self.skipped else 0


def call(*command, cwd=None):
    """Runs a command. Returns its exit code, output and error text."""
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False, cwd=cwd,
                          errors="replace")
    return done.returncode, done.stdout, done.stderr
