#!/usr/bin/env python3
"""android/check-tree reports what it should, on a small made platform with one fault at a time."""

import contextlib
import io
import json
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from checking import ROOT, failures, finish, need_programs

sys.path.insert(0, str(ROOT / "android/checks"))
import program  # noqa: E402
from report import Report  # noqa: E402

OPTIONS = "capabilities class critical disabled file group oneshot override shutdown task_profiles user"
COMMANDS = "chown chmod class_start class_stop enable start stop trigger"
CORE = {
    "init/service_parser.cpp": "".join(f'{{"{name}", {{0, kMax, &x}}}},\n' for name in OPTIONS.split()),
    "init/builtins.cpp": "".join(f'{{"{name}", {{1, 3, {{true, do_{name}}}}}}},\n' for name in COMMANDS.split()),
    "init/capabilities.cpp": "CAP_MAP_ENTRY(BLOCK_SUSPEND),\n",
    "libcutils/include/private/android_filesystem_config.h": "#define AID_SYSTEM 1000\n#define AID_WAKELOCK 3010\n",
    "libprocessgroup/profiles/task_profiles.json": '{"Name": "ServiceCapacityLow"}',
    "rootdir/init.rc": "class_start main\nclass_start charger\n",
}

# Each row: "file" below the platform, the "old" text in it and the "new" one in its place (only new: the content of a
# new file; neither: the file is removed), the pattern of check-tree's "output", and its "exit_code".
ROWS = json.loads((ROOT / "tests/android/tree_faults.json").read_text())


def make_platform(top):
    shutil.copytree(ROOT / "tests/android/platform", top)
    (top / "product").mkdir()
    for name, text in CORE.items():
        (top / "system/core" / name).parent.mkdir(parents=True, exist_ok=True)
        (top / "system/core" / name).write_text(text)


def check_row(name, output, exit_code, file="", old="", new=""):
    with tempfile.TemporaryDirectory() as temporary:
        top = Path(temporary) / "platform"
        make_platform(top)
        if old:
            text = (top / file).read_text()
            if old not in text:
                failures.append(f"{name}: '{old}' is not in {file}")
            (top / file).write_text(text.replace(old, new))
        elif new:
            (top / file).write_text(new)
        elif file:
            (top / file).unlink()
        done = subprocess.run([ROOT / "android/check-tree", top, "--vendor-policy", top / "product"],
                              capture_output=True, text=True, check=False)
    if done.returncode != exit_code or re.search(output, done.stdout) is None:
        failures.append(f"{name}: exit code {done.returncode} and this output, wanted {exit_code} and '{output}'\n"
                        f"{done.stdout}{done.stderr}")


def check_symbols():
    """Two of seven calls are in the lists of tests/android/bionic at this level, and one is the compiler's own."""
    source = "".join(f"void {name}(void);\n" for name in ("plain", "later", "codename", "other", "hidden", "absent"))
    source += ("long double sum(long double a, long double b) {\n"
               "    plain(); later(); codename(); other(); hidden(); absent(); return a + b;\n}\n")
    with tempfile.TemporaryDirectory() as temporary:
        top = Path(temporary)
        (top / "a.c").write_text(source)
        code, _, errors = program.call("clang", "--target=aarch64-linux-android35", "-c", top / "a.c", "-o", top / "a.o")
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            program.check_symbols(Report(), [top / "a.o"], ROOT / "tests/android/bionic", 35, None)
    wanted = "not in libc.map.txt or libm.map.txt: absent, hidden, later, other\n"
    if code != 0 or wanted not in output.getvalue():
        failures.append(f"symbols: wanted '{wanted}'\n{errors}{output.getvalue()}")


need_programs("m4", "checkpolicy", "secilc", "clang")
for row in ROWS:
    check_row(**row)
if shutil.which("llvm-nm") or shutil.which("aarch64-linux-gnu-nm"):
    check_symbols()
finish()
