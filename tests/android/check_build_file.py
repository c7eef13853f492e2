#!/usr/bin/env python3
"""Builds what Android.bp describes, with what Soong would give each module and nothing else.

Usage: check_build_file.py BUILD_DIRECTORY

Each genrule runs in a directory of its own, of which only the declared outputs are kept. Each C and
C++ module is compiled by clang with the module's own flags and include directories, and linked with
the libraries that it names: those of the phone's maker are the stand-ins of BUILD_DIRECTORY. The
test module is run. The daemon's sources and flags and the generated files are compared with those
of the CMake build.
"""

import json
import os
import re
import shutil
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from checking import ROOT, expect_equal, failures, finish, need_programs, run

# What Soong passes to clang for a sanitizer on a device, without diag and recover. The desk's C++
# library, whose hashes and random numbers wrap, is left out; Android's own says so in its headers.
SANITIZERS = {
    "integer_overflow": "-fsanitize=unsigned-integer-overflow,signed-integer-overflow -fsanitize-trap=all"
                        " -fsanitize-minimal-runtime -fno-sanitize-trap=integer,undefined"
                        " -fno-sanitize-recover=integer,undefined".split(),
}


# --- The Blueprint language: properties with values that are strings, booleans, lists and maps.

def read_blueprint(text):
    """Type and properties of each module; with names in quotes, a build file is Python."""
    def as_python(found):
        if found[1]:
            return f'"{found[1]}"'
        return "" if found[0].startswith("//") else {"true": "True", "false": "False"}.get(found[0], found[0])

    text = re.sub(r'"[^"]*"|//[^\n]*|(\w+)(?=:)|\btrue\b|\bfalse\b', as_python, text)
    return [(kind, eval(body)) for kind, body in re.findall(r"^(\w+) (\{.*?^\})", text, re.M | re.S)]


def merged(first, second):
    """Properties as Soong merges them: lists are appended, of other values the second wins."""
    result = first | second
    for name in first.keys() & second.keys():
        if isinstance(second[name], list):
            result[name] = first[name] + second[name]
        elif isinstance(second[name], dict):
            result[name] = merged(first[name], second[name])
    return result


def read_modules():
    """The modules by name, with their type in "type", defaults and conditions applied."""
    modules = {module["name"]: module | {"type": kind}
               for kind, module in read_blueprint((ROOT / "Android.bp").read_text())}
    own_types = {name: module["module_type"] for name, module in modules.items() if "module_type" in module}
    for name, module in modules.items():
        for variable in module.get("soong_config_variables", {}).values():
            module = merged(module, variable["conditions_default"])
        for base in module.get("defaults", []):
            module = merged(modules[base], module)
        modules[name] = module | {"type": own_types.get(module["type"], module["type"])}
    return modules


# --- Building.

class Tree:
    """The modules, and the directory in which they are built: NAME/gen, NAME/obj, NAME/NAME."""

    def __init__(self, modules, top, device_libraries):
        self.modules, self.top, self.device_libraries = modules, top, device_libraries
        self.ignore_list = top / "not_sanitized"
        self.ignore_list.write_text("src:/usr/*\n")

    def of_type(self, *kinds):
        return [name for name, module in self.modules.items() if module["type"] in kinds]

    def tool(self, name):
        if name == "aprotoc":
            return "protoc"
        if name in self.modules:
            return f"{sys.executable} {ROOT / self.modules[name]['main']}"
        return shutil.which(name)

    def generate(self, name):
        rule, gen = self.modules[name], self.top / name / "gen"
        with tempfile.TemporaryDirectory() as sandbox:
            outputs = [f"{sandbox}/{output}" for output in rule["out"]]
            for output in outputs:
                Path(output).parent.mkdir(parents=True, exist_ok=True)
            inputs = [str(path.relative_to(ROOT)) for source in rule["srcs"] for path in sorted(ROOT.glob(source))]
            values = {"in": " ".join(inputs), "out": " ".join(outputs), "genDir": sandbox, "$": "$"}
            values |= {f"location {tool}": self.tool(tool) for tool in rule["tools"]}
            command = re.sub(r"\$(?:\(([^)]+)\)|(\$))", lambda found: values[found[1] or found[2]], rule["cmd"])
            run("sh", "-c", command, cwd=ROOT)
            for output in rule["out"]:
                (gen / output).parent.mkdir(parents=True, exist_ok=True)
                try:
                    shutil.move(f"{sandbox}/{output}", gen / output)
                except FileNotFoundError:
                    failures.append(f"{name} does not make its output {output}")

    def sources(self, module):
        """Paths of the sources, those of genrules included."""
        named = module.get("srcs", []) + [f":{rule}" for rule in module.get("generated_sources", [])]
        paths = []
        for source in named:
            reference = re.fullmatch(r":(\w+)(?:\{(.+)\})?", source)
            if reference is None:
                paths.append(ROOT / source)
                continue
            rule, tag = reference.groups()
            made = [output for output in self.modules[rule]["out"] if tag in (None, output)]
            if not made:
                failures.append(f"{source} names no output of {rule}")
            paths += [self.top / rule / "gen" / output for output in made]
        return paths

    def include_directories(self, module):
        """The module's own directory always, then what it asks for and what it gets from others."""
        directories = [ROOT] + [ROOT / path for path in module.get("local_include_dirs", [])]
        for rule in module.get("generated_headers", []) + module.get("generated_sources", []):
            exported = self.modules[rule].get("export_include_dirs", [""])
            directories += [self.top / rule / "gen" / path for path in exported]
        for library in module.get("static_libs", []):
            directories += [ROOT / path for path in self.modules[library].get("export_include_dirs", [])]
        return directories

    def compile(self, source, module, target):
        command = ["clang", "-g0", "-O1", "-fPIC", "-c", *module["cflags"], *sanitizer_flags(module),
                   f"-fsanitize-ignorelist={self.ignore_list}"]
        if source.suffix == ".cpp":
            command = ["clang++", *command[1:], *module["cppflags"], f"-std={module['cpp_std']}"]
        elif source.suffix != ".c":
            failures.append(f"{module['name']}: {source.name} is no source that Soong compiles")
            return
        run(*command, *(f"-I{path}" for path in self.include_directories(module)), source, "-o", target)

    def build(self, name):
        """Compiles and links a module; returns the path of what it makes."""
        module, folder = self.modules[name], self.top / name
        sources = self.sources(module)
        objects = [folder / "obj" / f"{number}.o" for number in range(len(sources))]
        (folder / "obj").mkdir(parents=True)
        with ThreadPoolExecutor(os.cpu_count()) as pool:
            list(pool.map(lambda source, target: self.compile(source, module, target), sources, objects))
        made = folder / (name + ".a" if module["type"] == "cc_library_static" else name)
        if not all(path.is_file() for path in objects):
            return made
        if module["type"] == "cc_library_static":
            run("ar", "rcs", made, *objects)
            return made
        libraries = module.get("shared_libs", [])
        run("clang++", *sanitizer_flags(module), *objects,
            *(self.top / library / (library + ".a") for library in module.get("static_libs", [])),
            *(["-lgtest"] if module["type"] == "cc_test" else []), f"-L{self.device_libraries}", "-Wl,--as-needed",
            *("-l" + library.removeprefix("lib") for library in libraries), "-o", made)
        if made.is_file():
            needed = re.findall(r"NEEDED.*\[(.+)\.so", run("readelf", "-d", made))
            desk = {"libc", "libm", "libgcc_s", "libstdc++", "libgtest", "ld-linux-x86-64", "ld-linux-aarch64"}
            expect_equal(f"{name}: shared_libs, and the libraries that it calls",
                         sorted(libraries), sorted({*needed} - desk))
        return made


def sanitizer_flags(module):
    return [flag for name, wanted in module.get("sanitize", {}).items() if wanted for flag in SANITIZERS[name]]


# --- Android.bp against CMake.

def sources_of(file):
    """The sources of a compile command: those that CMake unites in a file of its own, or the file itself."""
    path = Path(file)
    return re.findall(r'#include "(.*)"', path.read_text()) if path.parent.name == "Unity" else [file]


def compile_commands(build):
    """Path of each source that CMake compiles, to the target and the command; without generated ones."""
    entries = json.loads((build / "compile_commands.json").read_text())
    return [(str(Path(source).relative_to(ROOT)), re.search(r"CMakeFiles/([\w-]+)\.dir/", entry["command"])[1],
             entry["command"].split()) for entry in entries for source in sources_of(entry["file"])
            if not Path(source).is_relative_to(build)]


def compare_generated_files(tree, build):
    made = {output: tree.top / name / "gen" / output
            for name in tree.of_type("genrule") for output in tree.modules[name]["out"]}
    generated = build / "generated"
    cmake = {str(path.relative_to(generated)): path for path in generated.rglob("*")
             if path.is_file() and path.relative_to(generated).parts[0] not in ("decode", "report")}  # of the tools
    expect_equal("generated files in Android.bp, and in CMake", sorted(made), sorted(cmake))
    for output in sorted(made.keys() & cmake.keys()):
        if made[output].is_file():
            expect_equal(f"{output}, made by Android.bp, and by CMake",
                         *(path.read_text().splitlines() for path in (made[output], cmake[output])))


def compare_with_cmake(tree, build):
    commands = compile_commands(build)
    daemon = {source: command for source, target, command in commands if target in ("cellwarden", "cellwarden_rules")}

    def own_sources(*names):
        return [str(path.relative_to(ROOT)) for name in names
                for path in tree.sources(tree.modules[name]) if not path.is_relative_to(tree.top)]

    expect_equal("sources of the daemon in Android.bp, and in CMake",
                 sorted(own_sources(*tree.of_type("cc_library_static", "cc_binary"))), sorted(daemon))
    for name in tree.of_type("cc_library_static", "cc_binary"):
        module = tree.modules[name]
        flags = module["cflags"] + module["cppflags"] + ["-std=" + module["cpp_std"]]
        shared = [daemon[source] for source in own_sources(name) if source in daemon]
        lacking = [flag for flag in flags if not all(flag in command for command in shared)]
        expect_equal(f"flags of {name} that CMake does not give each of its sources", lacking, [])
    # A test that runs on the phone runs on the desk and on emulated Arm too; its main function is its own.
    elsewhere = {source for source, _, _ in commands} | {"tests/android/main.cpp"}
    expect_equal("sources of the test module that CMake does not build",
                 sorted({*own_sources(*tree.of_type("cc_test"))} - elsewhere), [])


need_programs("ar", "bpfmt", "clang", "clang++", "protoc", "protoc-gen-c", "readelf")
build_directory = Path(sys.argv[1]).resolve()
if run("bpfmt", "-l", ROOT / "Android.bp"):
    failures.append(run("bpfmt", "-d", ROOT / "Android.bp"))
with tempfile.TemporaryDirectory() as temporary:
    tree = Tree(read_modules(), Path(temporary), build_directory / "device")
    compare_with_cmake(tree, build_directory)
    for rule in tree.of_type("genrule"):
        tree.generate(rule)
    compare_generated_files(tree, build_directory)
    for library in tree.of_type("cc_library_static"):
        tree.build(library)
    for program in tree.of_type("cc_binary", "cc_test"):
        made = tree.build(program)
        if tree.modules[program]["type"] == "cc_test" and made.is_file():
            run(made)
        for path in tree.modules[program].get("init_rc", []):
            expect_equal(f"{path} exists", [(ROOT / path).is_file()], [True])
finish()
