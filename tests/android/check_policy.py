#!/usr/bin/env python3
"""The SELinux policy compiles, and gives the daemon the attributes that its code opens and no more.

What the code opens is every "/sys/..." literal of its sources; what it writes is every parameter
that a writing call names.
"""

import re
import tempfile
from pathlib import Path

from checking import ROOT, expect_equal, failures, finish, need_programs, run

POLICY = ROOT / "android/sepolicy"
WRITING_CALL = r"\b(?:write_sysfs_param|write_sysfs_integer|set_switch)\((?:device, )?(?:snapshot, )?PARAM_(\w+)"
DAEMON_FOLDERS = ("platform", "state", "charge", "stats", "telemetry", "passport", "cycle", "daemon")


def compile_policy(directory):
    """Compiles policy and contexts as a phone's build does; returns the policy in CIL."""
    conf, cil = directory / "policy.conf", directory / "policy.cil"
    binary = directory / "policy"
    conf.write_text(run("m4", "-I", POLICY, Path(__file__).parent / "platform_policy.m4"))
    run("checkpolicy", "-C", "-M", "-c", "30", "-o", cil, conf)
    run("secilc", "-o", binary, "-f", directory / "contexts", cil)
    run("sefcontext_compile", "-p", binary, "-o", directory / "compiled", POLICY / "file_contexts")
    return cil.read_text() if not failures else ""


def label_of(path, cil):
    """Type of a path as the code names it; links of class directories are followed."""
    path = path.replace("/sys/class/power_supply/", "/sys/devices/platform/board/power_supply/")
    path = path.replace("/sys/class/thermal/", "/sys/devices/virtual/thermal/")
    if "/power_supply/" in path:
        found = run("selabel_lookup", "-r", "-b", "file", "-k", path, "-f", POLICY / "file_contexts")
        return found.strip().split(":")[-2]
    rows = re.findall(r"\(genfscon sysfs (\S+) \(u object_r (\w+)", cil)
    fitting = [row for row in rows if path.removeprefix("/sys").startswith(row[0].strip('"'))]
    return max(fitting, key=lambda row: len(row[0]))[1]


def check_attributes(cil):
    sources = "\n".join(path.read_text() for folder in DAEMON_FOLDERS
                        for path in (ROOT / folder).iterdir() if path.suffix in (".cpp", ".h", ".inc"))
    paths = dict(re.findall(r'^SYSFS_FIXED\(\d+, (\w+), "([^"]+)"', sources, re.M))
    written = {paths[name] for name in re.findall(WRITING_CALL, sources)}
    opened = set(re.findall(r'"(/sys/[^"]+)"', sources))
    allowed = {}
    for kind, permissions in re.findall(r"\(allow cellwarden (sysfs\w*) \(file \(([^)]+)", cil):
        allowed.setdefault(kind, set()).update(permissions.split())
    used = set()
    for path in sorted(opened):
        wanted = {"open", "read", "write"} if path in written else {"open", "read"}
        if path.startswith("/sys/power/"):
            wanted = {"open", "append"}
        label = label_of(path, cil)
        used.add(label)
        expect_equal(f"{path} ({label})", sorted(allowed.get(label, set())), sorted(wanted))
    expect_equal("types that the daemon may open", sorted(allowed), sorted(used))
    owned = re.findall(r"^    chown system system (\S+)$", (ROOT / "android/cellwarden.rc").read_text(), re.M)
    expect_equal("attributes given to the daemon's user", sorted(owned), sorted(written))


need_programs("m4", "checkpolicy", "secilc", "sefcontext_compile", "selabel_lookup")
with tempfile.TemporaryDirectory() as temporary:
    compiled = compile_policy(Path(temporary))
if compiled:
    check_attributes(compiled)
finish()
