"""Compares the service file with init's own lists of keywords, users and capabilities."""

import re
from pathlib import Path

import build_file


def keyword_map(path):
    """Returns by keyword the smallest and largest number of its arguments, from init's table."""
    number = lambda text: int(text) if text.isdigit() else None
    rows = re.findall(r'\{"([\w.]+)",\s*\{([^,{}]+),\s*([^,{}]+),', path.read_text())
    return {name: (number(low.strip()), number(high.strip())) for name, low, high in rows}


def count_fits(bounds, count):
    low, high = bounds
    return (low is None or count >= low) and (high is None or count <= high)


def read_sections(path):
    """Yields rows (line number, words, section head) of a service file."""
    head = []
    for number, line in enumerate(path.read_text().splitlines(), 1):
        words = line.split("#")[0].split()
        if words and not line[0].isspace():
            head = words
        if words:
            yield number, words, head


class Lists:
    """The names that init and its companions know; None for a list whose file is missing."""

    def __init__(self, core):
        init = core / "init"
        self.options = keyword_map(init / "service_parser.cpp")
        self.commands = keyword_map(init / "builtins.cpp")
        self.capabilities = self.read(init / "capabilities.cpp", r"CAP_MAP_ENTRY\((\w+)\)")
        self.users = self.read(core / "libcutils/include/private/android_filesystem_config.h", r"#define AID_(\w+)", str.lower)
        self.profiles = self.read(core / "libprocessgroup/profiles/task_profiles.json", r'"Name": *"(\w+)"')
        classes = [self.read(path, r"class_start(?:_post_data)? (\w+)") for path in core.glob("rootdir/*.rc")]
        self.classes = set().union(*classes) if classes else None

    @staticmethod
    def read(path, pattern, change=str):
        return {change(name) for name in re.findall(pattern, path.read_text())} if path.is_file() else None


def faults_of(rows, lists):
    """Yields a text for each word that init would reject, and for each unknown name."""
    heads = {(head[0], head[1]) for _, _, head in rows if len(head) > 1}
    for number, words, head in rows:
        keyword, values = words[0], words[1:]
        if words is head:
            if keyword not in ("service", "on", "import"):
                yield f"line {number}: unknown section '{keyword}'"
            elif keyword == "service" and len(values) < 2:
                yield f"line {number}: a service needs a name and a program"
            continue
        known = lists.options if head[0] == "service" else lists.commands
        what = "option of a service" if head[0] == "service" else "command"
        if keyword not in known:
            yield f"line {number}: unknown {what} '{keyword}'"
        elif not count_fits(known[keyword], len(values)):
            yield f"line {number}: '{keyword}' does not accept {len(values)} argument(s)"
        elif head[0] == "service" and keyword == "file" and values[1] not in ("r", "w", "rw"):
            yield f"line {number}: unknown mode '{values[1]}' of a file"
        elif keyword == "trigger" and ("on", values[0]) not in heads:
            yield f"line {number}: no section is triggered by '{values[0]}'"
        elif keyword in ("start", "stop", "restart", "enable") and ("service", values[0]) not in heads:
            yield f"line {number}: no service '{values[0]}' in this file"
        else:
            names = {"user": (lists.users, values), "group": (lists.users, values), "chown": (lists.users, values[:-1]),
                     "capabilities": (lists.capabilities, values), "class": (lists.classes, values),
                     "task_profiles": (lists.profiles, values)}.get(keyword, (None, []))
            for name in values and names[1]:
                if names[0] is not None and name not in names[0] and not name.isdigit():
                    yield f"line {number}: '{keyword}' names '{name}', which this platform does not have"


def check(report, core):
    report.about(f"Service file: {core}")
    if not all((core / "init" / name).is_file() for name in ("service_parser.cpp", "builtins.cpp")):
        report.not_checked(f"service file: no {core}/init/service_parser.cpp and builtins.cpp")
        return
    lists = Lists(core)
    for name in ("capabilities", "users", "classes", "profiles"):
        if getattr(lists, name) is None:
            report.not_checked(f"names of {name}: {core} does not have their file")
    for path in build_file.daemon("init_rc"):
        rows = list(read_sections(Path(build_file.ROOT / path)))
        faults = list(faults_of(rows, lists))
        report.verdict(not faults, f"init accepts every word of {path} ({len(rows)} lines)", "\n".join(faults))
