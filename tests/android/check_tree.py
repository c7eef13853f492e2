#!/usr/bin/env python3
"""android/check-tree reports what it should, on a small made platform with one fault at a time."""

import contextlib
import io
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

# name, file below the platform, text to be replaced (None: the file is new or removed), new text,
# what the output must have, exit code
POLICY = "system/sepolicy/"
CLASHES = "FAILS: no path is labelled"
ROWS = [
    ("no fault, no C library", "", None, "", r"not checked: bionic \(--libc\)", 2),
    ("rule that a neverallow forbids", POLICY + "public/platform.te", "neverallow * self",
     "neverallow { domain -init } kmsg_device:chr_file write;\nneverallow * self", r"FAILS: 2 neverallow rules", 1),
    ("neverallow rules not in force", POLICY + "public/platform.te", "neverallow * self:memprotect mmap_zero;", "",
     r"FAILS: a forbidden rule is refused", 1),
    ("needed type renamed", POLICY + "public/platform.te", "type sysfs_thermal,", "type sysfs_heat,",
     r"(?s)FAILS: whole policy compiles.*sysfs_thermal", 1),
    ("rule for every domain absent", POLICY + "public/platform.te", "allow domain init:fd use;", "",
     r"allow cellwarden init:fd \{ use \}", 1),
    ("property of another type", POLICY + "private/property_contexts", "build_vendor_prop", "vendor_prop",
     r"FAILS: ro.product.vendor.model", 1),
    ("class labelled by genfs", "product/genfs_contexts", None,
     "genfscon sysfs /class/qcom-battery u:object_r:sysfs:s0\n", CLASHES + r"(?s:.*)/class/qcom-battery sysfs: two", 1),
    ("power supply labelled by genfs", "product/genfs_contexts", None,
     "genfscon sysfs /devices/soc/1-0055/power_supply/usb u:object_r:sysfs:s0\n", CLASHES, 1),
    ("power supply labelled by file_contexts", "product/file_contexts", None,
     "/sys/devices/soc/[a-z]+/power_supply/battery(/.*)?  u:object_r:sysfs:s0\n", CLASHES, 1),
    ("client attribute twice", "product/attributes", None, "attribute ondra_client;\n", r"FAILS: whole policy compiles", 1),
    ("no service parser", "system/core/init/service_parser.cpp", None, None, r"not checked: service file: no .*/init", 2),
    ("unknown option", "system/core/init/service_parser.cpp", '"capabilities"', '"caps"',
     r"unknown option of a service 'capabilities'", 1),
    ("number of arguments", "system/core/init/service_parser.cpp", '"user", {0, kMax', '"user", {2, 2',
     r"'user' takes another number of arguments than 1", 1),
    ("unknown command", "system/core/init/builtins.cpp", '"chown"', '"own"', r"unknown command 'chown'", 1),
    ("unknown group", "system/core/libcutils/include/private/android_filesystem_config.h", "WAKELOCK", "WAKEUP",
     r"'group' names 'wakelock'", 1),
    ("unknown capability", "system/core/init/capabilities.cpp", "BLOCK_", "NO_", r"'capabilities' names 'BLOCK_SUSPEND'", 1),
    ("class that nothing starts", "system/core/rootdir/init.rc", "charger", "off", r"'class' names 'charger'", 1),
]


def make_platform(top):
    shutil.copytree(ROOT / "tests/android/platform", top)
    (top / "product").mkdir()
    for name, text in CORE.items():
        (top / "system/core" / name).parent.mkdir(parents=True, exist_ok=True)
        (top / "system/core" / name).write_text(text)


def check_row(name, file, old, new, wanted, code):
    with tempfile.TemporaryDirectory() as temporary:
        top = Path(temporary) / "platform"
        make_platform(top)
        if old is not None:
            text = (top / file).read_text()
            if old not in text:
                failures.append(f"{name}: '{old}' is not in {file}")
            (top / file).write_text(text.replace(old, new))
        elif new is None:
            (top / file).unlink()
        elif file:
            (top / file).write_text(new)
        done = subprocess.run([ROOT / "android/check-tree", top, "--vendor-policy", top / "product"],
                              capture_output=True, text=True, check=False)
    if done.returncode != code or re.search(wanted, done.stdout) is None:
        failures.append(f"{name}: exit code {done.returncode} and this output, wanted {code} and '{wanted}'\n"
                        f"{done.stdout}{done.stderr}")


def check_symbols():
    """Of seven calls the lists have three; one of the others is the compiler's own."""
    source = "".join(f"void {name}(void);\n" for name in ("plain", "later", "codename", "other", "hidden", "absent"))
    source += ("long double sum(long double a, long double b) {\n"
               "    plain(); later(); codename(); other(); hidden(); absent(); return a + b;\n}\n")
    names = ("LIBC {\n  global:\n    plain; # introduced=21\n    later; # introduced=36\n"
             "    codename; # introduced=VanillaIceCream\n    other; # arm x86\n};\n"
             "LIBC_PLATFORM { # platform-only\n    hidden;\n};\n")
    with tempfile.TemporaryDirectory() as temporary:
        top = Path(temporary)
        for library, text in (("libc", names), ("libm", "")):
            (top / library).mkdir()
            (top / library / f"{library}.map.txt").write_text(text)
        (top / "a.c").write_text(source)
        code, _, errors = program.call("clang", "--target=aarch64-linux-android35", "-c", top / "a.c", "-o", top / "a.o")
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            program.check_symbols(Report(), [top / "a.o"], top, 35, None)
    wanted = "not in libc.map.txt or libm.map.txt: absent, hidden, later, other\n"
    if code != 0 or wanted not in output.getvalue():
        failures.append(f"symbols: wanted '{wanted}'\n{errors}{output.getvalue()}")


need_programs("m4", "checkpolicy", "secilc", "clang")
for row in ROWS:
    check_row(*row)
if shutil.which("llvm-nm") or shutil.which("aarch64-linux-gnu-nm"):
    check_symbols()
finish()
