"""What Android.bp says of the daemon: the properties of its module, of their defaults and static libraries."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def strings(text, prop):
    """The strings of a property, a list or a single text."""
    found = re.search(rf'^ *{prop}: (\[[^]]*\]|"[^"]*")', text, re.M)
    return re.findall(r'"([^"]*)"', found[1]) if found else []


def daemon(prop):
    """The strings that a property has for the daemon, those of other modules here that it is made of first."""
    text = re.sub(r"//.*", "", (ROOT / "Android.bp").read_text())
    modules = {strings(body, "name")[0]: body for body in re.findall(r"^\w+ \{\n(.*?)^\}$", text, re.M | re.S)}

    def collect(name):
        body = modules.get(name, "")
        for part in strings(body, "defaults") + strings(body, "static_libs"):
            yield from collect(part)
        yield from strings(body, prop)
    return list(dict.fromkeys(collect("cellwarden")))
