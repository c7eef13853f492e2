"""Compiles the daemon's sources with a platform's headers, and compares their calls with its lists of symbols."""

import re
import shutil
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import build_file
from report import call

ROOT = build_file.ROOT
CODENAMES = {"R": 30, "S": 31, "Tiramisu": 33, "UpsideDownCake": 34, "VanillaIceCream": 35}
ARCHITECTURES = {"arm", "arm64", "x86", "x86_64", "riscv64"}

# Arithmetic on long double and 128-bit integers, and atomics, which are in the compiler's own library.
COMPILER_RUNTIME = re.compile(r"__(add|sub|mul|div|neg|eq|ne|lt|le|gt|ge|unord|cmp)tf[23]|__extend[hsd]ftf2|"
                              r"__trunctf[hsd]f2|__fix(uns)?tf[sdt]i|__float(un)?[sdt]itf|__powitf2|"
                              r"__\w+ti[2345]|__aarch64_\w+")


def symbol_list(path, level):
    """Returns the names in a map file that a vendor's 64-bit Arm program may use at a platform level."""
    names, block_tags = set(), set()
    for line in path.read_text().splitlines():
        code, _, comment = line.partition("#")
        tags = set(comment.split())
        if code.rstrip().endswith("{"):
            block_tags = tags
        name = re.match(r"\s+([\w.]+);", code)
        if name is None or code.strip() in ("*;",):
            continue
        tags |= block_tags
        architectures = tags & ARCHITECTURES
        since = dict(re.findall(r"introduced(?:-(\w+))?=(\w+)", comment))
        first = since.get("arm64", since.get("", "1"))
        first = int(first) if first.isdigit() else CODENAMES.get(first, sys.maxsize)
        hidden = tags & {"platform-only", "apex", "systemapi"} and "llndk" not in tags
        if first <= level and not hidden and (not architectures or "arm64" in architectures):
            names.add(name[1])
    return names


def first_directory(*candidates):
    return next((path for path in candidates if path is not None and path.is_dir()), None)


class Headers:
    """Include directories of the platform, or of this machine if the platform's are missing."""

    def __init__(self, report, roots, libc, libcxx, scratch):
        self.missing = []
        kernel = libc / "libc/kernel"
        self.c = [libc / "libc/include", kernel / "uapi", kernel / "uapi/asm-arm64", kernel / "android/scsi",
                  kernel / "android/uapi"]
        in_trees = [path for root in roots for pattern in
                    ("external/libcxx/include", "external/llvm-libcxx/include",
                     "prebuilts/clang/host/*/clang-*/include/c++/v1") for path in sorted(root.glob(pattern))]
        self.cxx = first_directory(libcxx, *in_trees)
        if self.cxx is None:
            self.cxx = first_directory(*sorted(Path("/usr/lib").glob("llvm-*/include/c++/v1"), reverse=True))
            report.not_checked("compile with the platform's C++ headers: no external/libcxx or prebuilts/clang in the "
                               "tree (--libcxx)" + (f"; using {self.cxx}" if self.cxx else ""))
        # A separate directory has links to the headers of other libraries, so that the compiler finds
        # no other header of this machine.
        for name, in_tree, here in (("openssl", "external/boringssl/src/include/openssl",
                                     ("/usr/include/openssl", "/usr/include/x86_64-linux-gnu/openssl",
                                      "/usr/include/aarch64-linux-gnu/openssl")),
                                    ("protobuf-c", "external/protobuf-c/protobuf-c", ("/usr/include/protobuf-c",))):
            found = first_directory(*(root / in_tree for root in roots))
            if found is None:
                report.not_checked(f"compile with the phone's {name} headers: no {in_tree} in the tree; "
                                   "using those of this machine")
            (scratch / name).mkdir()
            for folder in [found] if found else map(Path, here):
                for header in folder.glob("*.h"):
                    if not (scratch / name / header.name).exists():
                        (scratch / name / header.name).symlink_to(header)
        self.others = scratch


def generated_units(report, place):
    """Generates sources. Returns those that could be generated."""
    (place / "telemetry").mkdir(parents=True)
    (place / "passport").mkdir()
    made = []
    fixes = place / "passport/production_date_fixes.cpp"
    code, _, errors = call(sys.executable, ROOT / "passport/make_production_date_fixes.py",
                           ROOT / "passport/production_date_fixes.csv", fixes)
    if report.verdict(code == 0, "table of production-date fixes is generated", errors):
        made.append(fixes)
    plugin = shutil.which("protoc-gen-c")
    if shutil.which("protoc") is None or plugin is None:
        report.not_checked("sources with telemetry messages: protoc or protoc-gen-c not installed")
        return made
    code, _, errors = call("protoc", f"--plugin=protoc-gen-c={plugin}", f"--proto_path={ROOT / 'telemetry'}",
                           f"--c_out={place / 'telemetry'}", ROOT / "telemetry/charging.proto")
    if report.verdict(code == 0, "telemetry messages are generated", errors):
        made.append(place / "telemetry/charging.pb-c.c")
    return made


def compile_units(report, clang, headers, level, place):
    """Compiles every source. Returns the objects."""
    generated = place / "generated"
    units = [ROOT / source for source in build_file.daemon("srcs") if not source.startswith(":")]
    units += generated_units(report, generated)
    base = [f"--target=aarch64-linux-android{level}", "-nostdlibinc", "-D_FORTIFY_SOURCE=2", "-O2", "-fPIC",
            "-fstack-protector-strong", *build_file.daemon("cflags"), "-I", ROOT, "-I", generated,
            "-I", generated / "telemetry", "-isystem", headers.others]
    cxx = [f"-std={build_file.daemon('cpp_std')[0]}", *build_file.daemon("cppflags"), "-isystem", headers.cxx]
    system = [part for path in headers.c if path.is_dir() for part in ("-isystem", path)]

    def compile_unit(unit):
        output = place / (unit.name + ".o")
        language = cxx if unit.suffix == ".cpp" else []
        # The C++ library's headers come before those of C, which they wrap.
        return (output, *call(clang, "-c", *base, *language, *system, unit, "-o", output))

    with ThreadPoolExecutor(2) as pool:
        results = list(pool.map(compile_unit, units))
    bad = [errors for _, code, _, errors in results if code != 0]
    report.verdict(not bad, f"{len(units)} sources compile without a warning for level {level} ({clang})",
                   "\n".join(bad)[:4000])
    return [output for output, code, _, _ in results if code == 0] if not bad else []


def check_symbols(report, objects, libc, level, cutils):
    tool = shutil.which("llvm-nm") or shutil.which("aarch64-linux-gnu-nm")
    if tool is None:
        report.not_checked("undefined symbols: neither llvm-nm nor aarch64-linux-gnu-nm installed")
        return
    _, text, _ = call(tool, *objects)
    wanted = set(re.findall(r" [Uw] (\S+)$", text, re.M)) - set(re.findall(r" [A-TV-Zu] (\S+)$", text, re.M))
    wanted -= set(re.findall(r" [VW] (\S+)$", text, re.M))
    libraries = "\n".join(re.sub(r"//.*", "", path.read_text()) for path in (ROOT / "platform/device").glob("*.h"))
    device = {name for name in wanted if re.search(rf"\b{name}\(", libraries)}
    other = {name for name in wanted if re.match(r"(SHA256|protobuf_c_)", name)}
    wanted = {name for name in wanted - device - other if COMPILER_RUNTIME.fullmatch(name) is None}
    maps = [libc / "libc/libc.map.txt", libc / "libm/libm.map.txt"]
    absent = [path for path in maps if not path.is_file()]
    for path in absent:
        report.not_checked(f"undefined symbols: no {path}")
    if not absent:
        known = set().union(*(symbol_list(path, level) for path in maps))
        report.verdict(not wanted - known, f"the C library of level {level} has all {len(wanted)} symbols that the daemon "
                       "needs from it", "not in libc.map.txt or libm.map.txt: " + ", ".join(sorted(wanted - known)))
    from_cutils = {name for name in device if not re.match(r"(tessera|ondra|quillon)_", name)}
    if cutils is None:
        report.not_checked(f"{', '.join(sorted(from_cutils))}: no libcutils in the tree")
    else:
        declared = "\n".join(path.read_text() for path in (cutils / "include/cutils").glob("*.h"))
        lacking = [name for name in sorted(from_cutils) if re.search(rf"^\w+ {name}\(", declared, re.M) is None]
        report.verdict(not lacking, f"libcutils declares {', '.join(sorted(from_cutils))}", ", ".join(lacking))
    report.note(f"the maker's libraries must have {', '.join(sorted(device - from_cutils))}")
    report.note(f"libcrypto and libprotobuf-c must have {', '.join(sorted(other))}")


def check(report, roots, libc, libcxx, cutils, level):
    report.about(f"C library: {libc}")
    clang = next((str(path) for root in roots for path in
                  sorted(root.glob("prebuilts/clang/host/linux-x86/clang-*/bin/clang"), reverse=True)),
                 shutil.which("clang"))
    if clang is None or not (libc / "libc/include").is_dir():
        report.not_checked("sources and symbols: " + ("clang not installed" if clang is None else
                                                      f"no {libc}/libc/include"))
        return
    with tempfile.TemporaryDirectory() as temporary:
        place = Path(temporary)
        (place / "include").mkdir()
        headers = Headers(report, roots, libc, libcxx, place / "include")
        if headers.cxx is None:
            report.not_checked("sources and symbols: no C++ headers")
            return
        objects = compile_units(report, clang, headers, level, place)
        if objects:
            check_symbols(report, objects, libc, level, cutils)
