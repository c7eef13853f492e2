#!/usr/bin/env python3
"""The SELinux policy compiles, and allows exactly the access that the daemon needs (android/checks/access.py)."""

import re
import sys
import tempfile
from pathlib import Path

from checking import ROOT, expect_equal, failures, finish, need_programs, run

sys.path.insert(0, str(ROOT / "android/checks"))
import access  # noqa: E402
import cil  # noqa: E402
import policy  # noqa: E402

PLATFORM = ROOT / "tests/android/platform/system/sepolicy"

# Attributes through which the platform's rules apply to the types of this policy.
ATTRIBUTES = {"cellwarden": {"domain", "ondra_client", "quillon_client", "tessera_client"},
              "cellwarden_exec": {"exec_type", "file_type", "vendor_file_type"},
              "sysfs_": {"fs_type", "sysfs_type"}}


def compile_policy(directory, *own):
    """Compiles a small platform's policy as a phone's build does. Returns the policy in CIL."""
    build = policy.Build(PLATFORM, directory)
    path, errors = build.to_cil("whole", [PLATFORM / "public"], [PLATFORM / "private"], own)
    code, messages = build.link("binary", path.read_text()) if path else (1, errors)
    if code != 0:
        failures.append(messages)
        return ""
    if own:
        run("sefcontext_compile", "-p", directory / "binary", "-o", directory / "compiled", policy.OURS / "file_contexts")
    return path.read_text()


def allow_rules(text):
    """Returns each permission of each rule as a text."""
    return {f"{source} {target} {kind} {permission}"
            for source, rows in cil.Policy(text).rules.items()
            for target, kind, permissions in rows for permission in permissions}


def check_rules(compiled, added, wanted):
    missing = [need for need in wanted if need.permission not in compiled.allowed(*need[:3])]
    expect_equal("needed but not allowed", sorted(map(str, missing)), [])
    needed = {f"{need.source} {'self' if need.source == need.target else need.target} {need.kind} {need.permission}"
              for need in wanted}
    expect_equal("allowed by android/sepolicy but not needed", sorted(added - needed), [])


def check_types(compiled, platform, labels, paths):
    """Each type of this policy is used and has its attributes, and all its paths need the same permissions."""
    ours = compiled.types - platform.types
    uses = {}
    for path, permissions in paths.items():
        *_, (place, _) = access.walk(path)
        expect_equal(f"{path}: label by its whole name", [labels.of(place)], [labels.of(place, whole_names=True)])
        uses.setdefault(labels.of(place), {}).setdefault(" ".join(sorted(permissions | {"open"})), []).append(path)
    for label, groups in uses.items():
        expect_equal(f"permissions needed for files of type {label}", list(groups), list(groups)[:1])
    labelled = {name for name in uses if name not in platform.types}
    expect_equal("types of this policy", sorted(ours), sorted(labelled | {"cellwarden", "cellwarden_exec"}))
    for name in ours:
        wanted = ATTRIBUTES.get(name, ATTRIBUTES["sysfs_"])
        attributes = [other for other in compiled.names_of(name) - {name} if not other.startswith("base_typeattr_")]
        expect_equal(f"attributes of {name}", sorted(attributes), sorted(wanted))
    expect_equal("domain in which init starts the program", sorted(compiled.transitions),
                 [("init", "cellwarden_exec", "process", "cellwarden")])


def check_service_file(sources):
    owned = re.findall(r"^    chown system system (\S+)$", (ROOT / "android/cellwarden.rc").read_text(), re.M)
    expect_equal("attributes that chown passes to the daemon's user", sorted(owned), sorted(sources.written))


need_programs("m4", "checkpolicy", "secilc", "sefcontext_compile")
with tempfile.TemporaryDirectory() as temporary:
    bare = compile_policy(Path(temporary))
    whole = compile_policy(Path(temporary), policy.OURS)
if whole:
    rows = access.read_genfs(PLATFORM / "private/genfs_contexts") + access.read_genfs(policy.OURS / "genfs_contexts")
    all_labels = access.Labels(rows, access.read_file_contexts(policy.OURS / "file_contexts"))
    daemon = access.Sources()
    expect_equal("calls that access.py cannot handle", daemon.strangers, [])
    check_rules(cil.Policy(whole), allow_rules(whole) - allow_rules(bare), access.needs(all_labels, daemon))
    check_types(cil.Policy(whole), cil.Policy(bare), all_labels, daemon.paths)
    check_service_file(daemon)
finish()
