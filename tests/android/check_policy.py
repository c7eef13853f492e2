#!/usr/bin/env python3
"""The SELinux policy compiles, allows all that the daemon needs (android/checks/access.py) and no more."""

import re
import sys
import tempfile
from pathlib import Path

from checking import ROOT, expect_equal, failures, finish, need_programs, run

sys.path.insert(0, str(ROOT / "android/checks"))
import access  # noqa: E402
import cil  # noqa: E402

POLICY = ROOT / "android/sepolicy"

# Attributes by which rules of the platform reach the types of this policy.
ATTRIBUTES = {"cellwarden": {"domain", "ondra_client", "quillon_client", "tessera_client"},
              "cellwarden_exec": {"exec_type", "file_type", "vendor_file_type"},
              "sysfs_": {"fs_type", "sysfs_type"}}


def compile_policy(directory, *definitions):
    """Compiles the stub of a platform's policy as a phone's build does; returns the policy in CIL."""
    conf, output, binary = (directory / name for name in ("policy.conf", "policy.cil", "policy"))
    conf.write_text(run("m4", "-s", *definitions, "-I", POLICY, Path(__file__).parent / "platform_policy.m4"))
    run("checkpolicy", "-C", "-M", "-c", "30", "-o", output, conf)
    run("secilc", "-o", binary, "-f", directory / "contexts", output)
    if definitions:
        run("sefcontext_compile", "-p", binary, "-o", directory / "compiled", POLICY / "file_contexts")
    return output.read_text() if not failures else ""


def allow_rules(text):
    """Each permission of each rule as a text."""
    return {f"{source} {target} {kind} {permission}"
            for source, rows in cil.Policy(text).rules.items()
            for target, kind, permissions in rows for permission in permissions}


def check_rules(policy, added, wanted):
    missing = [need for need in wanted if need.permission not in policy.allowed(*need[:3])]
    expect_equal("needed and not allowed", sorted(map(str, missing)), [])
    needed = {f"{need.source} {'self' if need.source == need.target else need.target} {need.kind} {need.permission}"
              for need in wanted}
    expect_equal("allowed by android/sepolicy and not needed", sorted(added - needed), [])


def check_types(policy, platform, labels, paths):
    """Each type of this policy is used, has the attributes of its kind, and all its paths are used alike."""
    ours = policy.types - platform.types
    uses = {}
    for path, permissions in paths.items():
        *_, (place, _) = access.walk(path)
        expect_equal(f"{path} labelled by its own name", [labels.of(place)], [labels.of(place, whole_names=True)])
        uses.setdefault(labels.of(place), {}).setdefault(" ".join(sorted(permissions | {"open"})), []).append(path)
    for label, groups in uses.items():
        expect_equal(f"ways in which files of {label} are used", list(groups), list(groups)[:1])
    labelled = {name for name in uses if name not in platform.types}
    expect_equal("types of this policy", sorted(ours), sorted(labelled | {"cellwarden", "cellwarden_exec"}))
    for name in ours:
        wanted = ATTRIBUTES.get(name, ATTRIBUTES["sysfs_"])
        expect_equal(f"attributes of {name}", sorted(policy.names_of(name) - {name}), sorted(wanted))
    expect_equal("domain in which init starts the program", sorted(policy.transitions),
                 [("init", "cellwarden_exec", "process", "cellwarden")])


def check_service_file(sources):
    owned = re.findall(r"^    chown system system (\S+)$", (ROOT / "android/cellwarden.rc").read_text(), re.M)
    expect_equal("attributes given to the daemon's user", sorted(owned), sorted(sources.written))


need_programs("m4", "checkpolicy", "secilc", "sefcontext_compile")
with tempfile.TemporaryDirectory() as temporary:
    bare = compile_policy(Path(temporary))
    whole = compile_policy(Path(temporary), "-D", "with_cellwarden")
if whole:
    stub = [("/", "sysfs"), ("/power/wake_lock", "sysfs_wake_lock"), ("/power/wake_unlock", "sysfs_wake_lock")]
    all_labels = access.Labels(stub + access.read_genfs(POLICY / "genfs_contexts"),
                               access.read_file_contexts(POLICY / "file_contexts"))
    daemon = access.Sources()
    expect_equal("calls whose permissions access.py does not know", daemon.strangers, [])
    compiled = cil.Policy(whole)
    check_rules(compiled, allow_rules(whole) - allow_rules(bare), access.needs(all_labels, daemon))
    check_types(compiled, cil.Policy(bare), all_labels, daemon.paths)
    check_service_file(daemon)
finish()
