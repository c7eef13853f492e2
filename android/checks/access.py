"""Derives the access that the daemon needs from its sources and from the behaviour of kernel, init and log library.

This module reads nothing from the policy, so the policy can be compared with its result.
"""

import re
from pathlib import Path
from typing import NamedTuple

import build_file

ROOT = Path(__file__).resolve().parents[2]

# Classes whose entries are links to devices. The directory of power supplies differs between boards;
# this one is an example. That of thermal zones is fixed.
LINKED_CLASSES = {"/sys/class/power_supply": "/sys/devices/platform/board/power_supply",
                  "/sys/class/thermal": "/sys/devices/virtual/thermal"}

# Types of files and directories outside sysfs.
PLATFORM_TYPES = {"/": "rootfs", "/dev": "device", "/dev/kmsg": "kmsg_device", "/proc": "proc",
                  "/dev/__properties__": "properties_device"}

# The permissions that the kernel requires, by the flags of open().
OPEN_PERMISSIONS = {"O_RDONLY": {"open", "read"}, "O_WRONLY": {"open", "write"},
                    "O_RDWR": {"open", "read", "write"}, "O_WRONLY O_APPEND": {"open", "append"},
                    "O_PATH": set()}  # opening a name in the directory needs only `search`
SOCKET_PERMISSIONS = {"socket": "create", "bind": "bind", "recvfrom": "read"}

# Calls that a policy can refuse. This module handles `open`, `openat`, `access` and the socket calls
# above; the check fails if the daemon's sources contain any of the others.
REFUSABLE = set(SOCKET_PERMISSIONS) | set("""
    open access openat creat fopen freopen opendir readlink realpath stat lstat fstat statfs chmod
    fchmod chown fchown unlink rename mkdir rmdir symlink link mount ioctl mmap mprotect flock lockf
    recv recvmsg send sendto sendmsg connect listen accept accept4 socketpair shutdown setsockopt
    getsockopt getsockname fork vfork execv execve execvp execl system popen kill ptrace prctl
    setpriority setrlimit setuid setgid syscall inotify_init fanotify_init property_set reboot
    settimeofday clock_settime epoll_create1 timerfd_create
""".split())
# read, write, select and close are not listed, because open() requires their permissions.


class Need(NamedTuple):
    """A permission: `source` needs `permission` for an object of class `kind` and type `target`."""
    source: str
    target: str
    kind: str
    permission: str
    reason: str


class Labels:
    """The types of paths, from rows of genfs_contexts (for sysfs) and file_contexts."""

    def __init__(self, genfs, files):
        self.genfs = dict(genfs)
        self.files = [(re.compile(pattern), label) for pattern, label in files]

    def of(self, path, whole_names=False):
        """Returns the type of a path. A row of genfs_contexts matches each path that begins with its
        text; with `whole_names`, only at the end of a name."""
        if path in PLATFORM_TYPES:
            return PLATFORM_TYPES[path]
        # ueventd labels devices by file_contexts; other files in sysfs have the label of their longest
        # prefix.
        if path.startswith("/sys/devices/") or not path.startswith("/sys"):
            for pattern, label in reversed(self.files):
                if pattern.fullmatch(path):
                    return label
        inside = path.removeprefix("/sys") or "/"
        fitting = [prefix for prefix in self.genfs if inside.startswith(prefix) and
                   (not whole_names or (inside + "/").startswith(prefix.rstrip("/") + "/"))]
        return self.genfs[max(fitting, key=len)] if fitting else "unlabeled"


def read_genfs(path):
    """Returns the rows (prefix, type) for sysfs in a genfs_contexts file."""
    return re.findall(r"^genfscon\s+sysfs\s+(\S+)\s+\S+?:\S+?:(\w+)", path.read_text(), re.M)


def read_file_contexts(path):
    """Returns the rows (pattern, type) of a file_contexts file."""
    return re.findall(r"^(/\S*)\s+(?:-\S\s+)?\w+:\w+:(\w+):", path.read_text(), re.M)


class Sources:
    """The files that the daemon's sources open and write, and the calls that they make.

    calls:     the calls that a policy can refuse
    strangers: the calls that this module cannot handle
    paths:     the permissions that each attribute needs, by its path, with links not followed
    written:   the paths that the daemon writes
    """

    def __init__(self):
        folders = sorted({source.split("/")[0] for source in build_file.daemon("srcs") if source.endswith(".cpp")}
                         | {"product"})  # it has tables and no source
        self.files = [(path, re.sub(r"//.*", "", path.read_text())) for folder in folders
                      for path in sorted((ROOT / folder).iterdir()) if path.suffix in (".cpp", ".h", ".inc")]
        self.text = "\n".join(text for _, text in self.files)
        self.calls = {name for name in REFUSABLE if re.search(rf"(?<![\w.>]){name}\(", self.text)}
        self.strangers = sorted(self.calls - set(SOCKET_PERMISSIONS) - {"open", "openat", "access"})
        self.paths = {}
        rows = dict(re.findall(r'^SYSFS_PARAM\(\d+, (\w+), "([^"]+)"', self.text, re.M))
        calls = r"\b(?:write_sysfs_param|write_sysfs_integer|set_switch)\((?:device, )?(?:snapshot, )?PARAM_(\w+)"
        self.written = {rows[name] for name in re.findall(calls, self.text)}
        for _, text in self.files:
            # A file with paths but no open() is the table that platform/sysfs_io.cpp reads.
            allowed = set().union(*(OPEN_PERMISSIONS[flags] for flags in open_flags(text)))
            allowed = allowed or OPEN_PERMISSIONS["O_RDONLY"]
            if re.search(r"\baccess\(\w+, W_OK\)", text):
                allowed = {"write"}
            for path in re.findall(r'"(/sys/[^"]+)"', text):
                self.paths.setdefault(path.replace("%d", "0"), set()).update(allowed)
        for path in self.written:
            self.paths[path] |= OPEN_PERMISSIONS["O_WRONLY"]


def open_flags(text):
    """Returns for each open() the flags that determine its permissions."""
    return [" ".join(flag for flag in ("O_RDONLY", "O_WRONLY", "O_RDWR", "O_APPEND", "O_PATH") if flag in call)
            for call in re.findall(r"\bopen(?:at)?\(([^;]*\bO_\w+[^;]*);", text)]


def walk(path):
    """Yields (path, class) of each directory and link on the way to a file, then of the file."""
    for place, device in LINKED_CLASSES.items():
        if path.startswith(place + "/"):
            link = "/".join(path.split("/")[:5])
            yield from directories(link)
            yield link, "lnk_file"
            path = device + path.removeprefix(place)
    yield from directories(path)
    yield path, "file"


def directories(path):
    yield "/", "dir"
    parts = path.split("/")[1:-1]
    for count in range(1, len(parts) + 1):
        yield "/" + "/".join(parts[:count]), "dir"


def attribute_needs(source, path, permissions, labels):
    for place, kind in walk(path):
        wanted = {"dir": {"search"}, "lnk_file": {"read"}, "file": permissions}[kind]
        for permission in wanted:
            yield Need(source, labels.of(place), kind, permission, place)


def program_needs(labels):
    """Yields the needs for init to start the program in the program's own domain."""
    program = labels.of("/vendor/bin/cellwarden")
    for permission in ("getattr", "open", "read", "execute", "map"):
        yield Need("init", program, "file", permission, "init starts the program")
        yield Need("cellwarden", program, "file", permission, "the program is mapped")
    yield Need("cellwarden", program, "file", "entrypoint", "the program enters its domain")
    for permission in ("transition", "siginh", "rlimitinh"):
        yield Need("init", "cellwarden", "process", permission, "init starts the program")


def log_needs():
    """Yields the needs of the log library, which uses init's descriptor of /dev/kmsg.

    The library first compares realpath() of the node with that of /proc/self/fd/N. realpath opens with
    O_PATH, which needs no permission, then calls fstat, readlink and stat. Otherwise the library would
    open the node, which fails for this daemon: the node belongs to root and has mode 0600.
    """
    reason = "log: realpath and write"
    for path, kind, permission in (("/", "dir", "search"), ("/dev", "dir", "search"), ("/dev/kmsg", "chr_file", "getattr"),
                                   ("/dev/kmsg", "chr_file", "write"), ("/proc", "dir", "search"),
                                   ("/proc", "lnk_file", "read")):
        yield Need("cellwarden", PLATFORM_TYPES[path], kind, permission, reason)
    for kind, permission in (("dir", "search"), ("lnk_file", "read")):
        yield Need("cellwarden", "cellwarden", kind, permission, reason)
    yield Need("cellwarden", "init", "fd", "use", "log: the descriptor belongs to init")


def property_needs():
    """Yields the needs of the C library, which maps the file of the property and the table that names it."""
    yield Need("cellwarden", "properties_device", "dir", "search", "property")
    for target in ("build_vendor_prop", "property_info"):
        for permission in ("getattr", "open", "read", "map"):
            yield Need("cellwarden", target, "file", permission, "property ro.product.vendor.model")


def needs(labels, sources):
    """Returns every Need of the daemon, and of the domains that prepare its attributes."""
    found = set(program_needs(labels))
    for path, permissions in sources.paths.items():
        found.update(attribute_needs("cellwarden", path, permissions, labels))
    for call in sources.calls & set(SOCKET_PERMISSIONS):
        found.add(Need("cellwarden", "cellwarden", "netlink_kobject_uevent_socket", SOCKET_PERMISSIONS[call], call + "()"))
    if any(path.startswith("/sys/power/wake_") for path in sources.paths):
        found.add(Need("cellwarden", "cellwarden", "capability2", "block_suspend", "the kernel's wakelocks"))
    if re.search(r"\bklog_write\(", sources.text):
        found.update(log_needs())
    if re.search(r"\bproperty_get\(", sources.text):
        found.update(property_needs())
    for path in sources.written:
        # The chown lines of a vendor's service file run as vendor_init.
        found.update(need for need in attribute_needs("vendor_init", path, {"setattr"}, labels))
    for path in sources.paths:
        *_, (place, _) = walk(path)
        if place.startswith("/sys/devices/") and "/power_supply/" in place:
            found.add(Need("ueventd", labels.of(place), "file", "relabelto", "ueventd labels " + place))
            for permission in ("getattr", "open", "read"):
                found.add(Need("hal_health_server", labels.of(place), "file", permission, "health reads " + place))
    return found
