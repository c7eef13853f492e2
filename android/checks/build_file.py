"""Reads the daemon's properties from Android.bp: those of its module, its defaults and its static libraries."""

import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]


def strings(text, prop):
    """Returns the strings of a property, whether it is a list or a single string."""
    found = re.search(rf'^ *{prop}: (\[[^]]*\]|"[^"]*")', text, re.M)
    return re.findall(r'"([^"]*)"', found[1]) if found else []


def daemon(prop):
    """Returns the strings of a property of the daemon, beginning with those of its defaults and static libraries."""
    text = re.sub(r"//.*", "", (ROOT / "Android.bp").read_text())
    modules = {strings(body, "name")[0]: body for body in re.findall(r"^\w+ \{\n(.*?)^\}$", text, re.M | re.S)}

    def collect(name):
        body = modules.get(name, "")
        for part in strings(body, "defaults") + strings(body, "static_libs"):
            yield from collect(part)
        yield from strings(body, prop)
    return list(dict.fromkeys(collect("cellwarden")))
