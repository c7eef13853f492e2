"""Checks the SELinux policy of this repository together with a platform's policy."""

import re
import shutil
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import access
import cil
from report import call

OURS = access.ROOT / "android/sepolicy"
CLIENTS = ("tessera_client", "ondra_client", "quillon_client")

# The order in which a platform's build concatenates policy files. `attributes` and .te files have the
# same rank and are sorted by set of directories; within a set, the `attributes` of all its directories
# come first.
ORDER = ("security_classes initial_sids access_vectors global_macros neverallow_macros mls_macros mls_decl mls "
         "policy_capabilities te_macros ioctl_defines ioctl_macros attributes *.te roles_decl roles users "
         "initial_sid_contexts fs_use genfs_contexts port_contexts").split()

# A phone's user build of a platform whose vendor partition is separate.
DEFINITIONS = {"mls_num_sens": 1, "mls_num_cats": 1024, "target_arch": "arm64", "target_with_asan": "false",
               "target_with_dexpreopt": "false", "target_with_native_coverage": "false",
               "target_build_variant": "user", "target_full_treble": "true", "target_compatible_property": "true",
               "target_treble_sysprop_neverallow": "true", "target_enforce_sysprop_owner": "true",
               "target_exclude_build_test": "false", "target_requires_insecure_execmem_for_swiftshader": "false",
               "target_enforce_debugfs_restriction": "true", "target_recovery": "false",
               "target_board_api_level": 1000000}
# The public policy that a vendor of Android 15 may use.
VENDOR_LEVEL = {"target_board_api_level": 202404}

# Every platform forbids this rule for every domain.
FORBIDDEN = "(allow cellwarden self (memprotect (mmap_zero)))"


def policy_files(*sets):
    """Returns the files of several sets of directories in the build's order."""
    found = [path for directories in sets for name in ORDER for directory in directories
             for path in sorted(directory.glob(name)) if path.is_file()]
    return sorted(found, key=lambda path: ORDER.index("attributes" if path.suffix == ".te" else path.name))


class Build:
    """Compiles policies of a platform in a separate directory."""

    def __init__(self, tree, directory):
        self.tree = tree
        self.directory = directory

    def to_cil(self, name, *sets, **definitions):
        """Compiles to CIL. Returns (path or None, messages)."""
        conf, output = self.directory / f"{name}.conf", self.directory / f"{name}.cil"
        macros = [path for path in [self.tree / "flagging/te_macros"] if path.is_file()]
        defined = [part for key, value in (DEFINITIONS | definitions).items() for part in ("-D", f"{key}={value}")]
        code, text, errors = call("m4", "--fatal-warnings", *defined, "-s", *macros, *policy_files(*sets))
        if code == 0:
            conf.write_text(text)
            code, _, errors = call("checkpolicy", "-C", "-M", "-c", "30", "-o", output, conf)
        return (output, "") if code == 0 else (None, errors)

    def link(self, name, text):
        """Compiles CIL with its neverallow rules. Returns (exit code, messages)."""
        path = self.directory / f"{name}.cil"
        path.write_text(text)
        code, output, errors = call("secilc", "-m", "-M", "true", "-G", "-c", "30", path,
                                    "-o", self.directory / name, "-f", "/dev/null")
        return code, output + errors


def stand_ins(report, directories, place):
    """Declares the attributes of the libraries' clients that no directory declares."""
    texts = {path: path.read_text() for directory in directories for path in directory.glob("*")
             if path.name == "attributes" or path.suffix == ".te"}
    missing = []
    for name in CLIENTS:
        declared = [path for path, text in texts.items() if re.search(rf"^\s*attribute\s+{name}\s*;", text, re.M)]
        if not declared:
            missing.append(name)
        elif declared[0].name != "attributes":
            report.note(f"{declared[0]} declares {name}: put its directory before ours in "
                        "BOARD_VENDOR_SEPOLICY_DIRS, or move the declaration to a file named attributes")
    if missing:
        report.not_checked(f"what {', '.join(missing)} may do: no directory declares them (--vendor-policy)")
        (place / "attributes").write_text("".join(f"attribute {name};\n" for name in missing))


def texts_of(parsed):
    """Returns some of the texts that a parsed pattern matches."""
    results = [""]
    for operator, value in parsed:
        name = str(operator)
        if name == "LITERAL":
            parts = [chr(value)]
        elif name == "IN":
            kind, first = value[0]
            parts = {"LITERAL": lambda: [chr(first)], "RANGE": lambda: [chr(first[0])],
                     "CATEGORY": lambda: ["0"]}.get(str(kind), lambda: ["x"])()
        elif name in ("MAX_REPEAT", "MIN_REPEAT"):
            low, _, inner = value
            parts = ([""] if low == 0 else []) + [text * max(low, 1) for text in texts_of(inner)]
        elif name == "SUBPATTERN":
            parts = texts_of(value[3])
        elif name == "BRANCH":
            parts = [text for branch in value[1] for text in texts_of(branch)]
        else:
            parts = ["x" if name in ("ANY", "NOT_LITERAL") else ""]
        results = [start + part for start in results for part in parts][:200]
    return results


def parse_pattern(pattern):
    try:
        from re import _parser as parser
    except ImportError:
        import sre_parse as parser
    return parser.parse(pattern)


def check_labels(report, directories, product):
    """Reports paths that both this policy and another directory label. Returns the labels of all directories.

    product: the directories that belong to the product
    """
    own_rows = access.read_genfs(OURS / "genfs_contexts")
    own_files = access.read_file_contexts(OURS / "file_contexts")
    own = access.Labels(own_rows, own_files)
    rows, files, clashes = list(own_rows), [], []
    tails = [""] + [f"{start}/{supply}/{name}" for start in ("", "/power_supply")
                    for supply in ("battery", "usb", "wireless") for name in ("capacity", "charge_full")] + ["/capacity"]
    for directory in directories:
        if (directory / "genfs_contexts").is_file():
            for prefix, label in access.read_genfs(directory / "genfs_contexts"):
                if prefix in own.genfs:
                    clashes.append(f"{directory}/genfs_contexts labels {prefix} {label}: two labels stop the build; "
                                   "remove our line and name that type in cellwarden.te")
                    rows = [row for row in rows if row[0] != prefix]
                rows.append((prefix, label))
                taken = [f"/sys{prefix}{tail}" for tail in tails
                         if any(pattern.fullmatch(f"/sys{prefix}{tail}") for pattern, _ in own.files)]
                if taken and "power_supply" in prefix:
                    clashes.append(f"{directory}/genfs_contexts labels {prefix} {label}: our file_contexts replaces it "
                                   f"without a warning ({own.of(taken[0])}); its readers lose {taken[0]}")
                elif taken and directory in product and re.search("batt|charg|suppl|fuel|gauge|wireless|usb", prefix):
                    report.note(f"{directory}/genfs_contexts labels {prefix} {label}: if it contains a power "
                                "supply, our file_contexts replaces it without a warning")
        if (directory / "file_contexts").is_file():
            for pattern, label in access.read_file_contexts(directory / "file_contexts"):
                files.append((pattern, label))
                if not pattern.startswith(("/sys/", "/vendor/", "/(vendor|")):
                    continue
                expression = re.compile(pattern)
                common = [path for text in texts_of(parse_pattern(pattern)) for path in (text + tail for tail in tails)
                          if expression.fullmatch(path) and any(ours.fullmatch(path) for ours, _ in own.files)]
                common += [path for path in ("/vendor/bin/cellwarden",) if expression.fullmatch(path)]
                different = [path for path in common if own.of(path) != label]
                if different and not (label == "vendor_file" and different == ["/vendor/bin/cellwarden"]):
                    clashes.append(f"{directory}/file_contexts labels {pattern} {label}, ours {different[0]} "
                                   f"{own.of(different[0])}: one of them replaces the other without a warning")
    report.verdict(not clashes, "no path is labelled by both this policy and another directory", "\n".join(clashes))
    return access.Labels(rows, files + own_files)


def check_property(report, tree):
    rows = "\n".join(path.read_text() for path in tree.glob("p*/property_contexts"))
    found = re.search(r"^ro\.product\.vendor\.model\s+\w+:\w+:(\w+):", rows, re.M)
    if rows:
        report.verdict(found and found[1] == "build_vendor_prop", "ro.product.vendor.model is a build_vendor_prop",
                       f"its label in property_contexts: {found[1] if found else 'missing'}")


def check_access(report, text, labels):
    """Compares the compiled policy with the access that the daemon's sources need."""
    policy = cil.Policy(text)
    needs = access.needs(labels, access.Sources())
    missing = {}
    for need in needs:
        if need.permission not in policy.allowed(*need[:3]):
            missing.setdefault(need[:3], set()).add((need.permission, need.reason))
    lines = [f"allow {source} {target}:{kind} {{ {' '.join(sorted({p for p, _ in rows}))} }}; ({sorted(rows)[0][1]})"
             for (source, target, kind), rows in sorted(missing.items())]
    report.verdict(not missing, f"the policy allows all {len(needs)} permissions that the daemon, and the domains that "
                   "prepare its attributes, need", "\n".join(lines))
    readers = sorted(policy.sources("sysfs_batteryinfo", "file", "read") -
                     policy.sources("sysfs_battery_passport", "file", "read"))
    if readers:
        report.note(f"read sysfs_batteryinfo but not sysfs_battery_passport: {', '.join(readers)}")


def note_definitions(report, tree):
    """Reports names that the tree's own build defines for its policy and this check does not."""
    build = tree / "build/soong/policy.go"
    names = set(re.findall(r'"-D (\w+)=', build.read_text())) if build.is_file() else set()
    if names - set(DEFINITIONS):
        report.note(f"the tree's build defines names for its policy that this check omits: {sorted(names - set(DEFINITIONS))}")


def check(report, tree, vendor_directories):
    report.about(f"SELinux policy: {tree}")
    lacking = [name for name in ("m4", "checkpolicy", "secilc") if shutil.which(name) is None]
    if lacking or not (tree / "public").is_dir() or not (tree / "private").is_dir():
        report.not_checked("policy: " + (f"{', '.join(lacking)} not installed" if lacking else
                                         f"{tree} does not have public and private"))
        return
    public, private, platform_vendor = ([tree / name] for name in ("public", "private", "vendor"))
    with tempfile.TemporaryDirectory() as temporary:
        directory = Path(temporary)
        build = Build(tree, directory)
        (directory / "stand_ins").mkdir()
        stand_ins(report, [*public, *private, *platform_vendor, *vendor_directories], directory / "stand_ins")
        vendor = [directory / "stand_ins", *vendor_directories, OURS]
        labels = check_labels(report, public + private + platform_vendor + vendor_directories,
                              vendor_directories)
        check_property(report, tree)
        note_definitions(report, tree)
        if (tree / "reqd_mask").is_dir():
            path, errors = build.to_cil("vendor", public, [tree / "reqd_mask"], platform_vendor, vendor,
                                        **VENDOR_LEVEL)
            report.verdict(path, "vendor policy compiles with only the platform's public names", errors)
        else:
            report.not_checked(f"vendor policy with only public names: no {tree}/reqd_mask")
        path, errors = build.to_cil("whole", public, private, platform_vendor, vendor)

        def with_debt(whole):
            return whole.read_text() + (debt.read_text() if debt.is_file() else "")

        debt = tree / "private/technical_debt.cil"
        if not report.verdict(path, "whole policy compiles", errors):
            return
        text = with_debt(path)
        # Each of the two compilations takes most of a minute.
        with ThreadPoolExecutor(2) as pool:
            forbidden = pool.submit(build.link, "forbidden", text + FORBIDDEN + "\n")
            real = pool.submit(build.link, "real", text)
        code, messages = forbidden.result()
        report.verdict(code != 0 and "neverallow" in messages, f"a forbidden rule is rejected: {FORBIDDEN}",
                       "It compiles: neverallow rules are not in force." if code == 0 else messages)
        code, messages = real.result()
        if not report.verdict(code == 0, f"{len(re.findall('^.neverallow ', text, re.M))} neverallow rules hold", messages):
            path, errors = build.to_cil("alone", public, private, platform_vendor, vendor[:-1])
            if path is None or build.link("bare", with_debt(path))[0] != 0:
                report.note("the same policy without ours is rejected too")
        check_access(report, text, labels)
