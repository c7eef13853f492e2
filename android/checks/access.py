"""The access that the daemon needs, derived from its sources and from what kernel, init and log library do.

Nothing here is read from the policy, so the policy can be compared with it.
"""

import re
from pathlib import Path
from typing import NamedTuple

import build_file

ROOT = Path(__file__).resolve().parents[2]

# Where a class's entries are links to devices: the place of a power supply differs from board to
# board, the place of a thermal zone does not.
LINKED_CLASSES = {"/sys/class/power_supply": "/sys/devices/platform/board/power_supply",
                  "/sys/class/thermal": "/sys/devices/virtual/thermal"}

# Types of the nodes outside sysfs.
PLATFORM_TYPES = {"/": "rootfs", "/dev": "device", "/dev/kmsg": "kmsg_device", "/proc": "proc",
                  "/dev/__properties__": "properties_device"}

# What the kernel asks for, by the flags of open().
OPEN_PERMISSIONS = {"O_RDONLY": {"open", "read"}, "O_WRONLY": {"open", "write"},
                    "O_RDWR": {"open", "read", "write"}, "O_WRONLY O_APPEND": {"open", "append"}}
SOCKET_PERMISSIONS = {"socket": "create", "bind": "bind", "recvfrom": "read"}

# Calls that a policy can refuse. Only `open`, `access` and the socket calls above are understood
# here; any other one in the daemon's sources fails the check until it is.
REFUSABLE = set(SOCKET_PERMISSIONS) | set("""
    open access openat creat fopen freopen opendir readlink realpath stat lstat fstat statfs chmod
    fchmod chown fchown unlink rename mkdir rmdir symlink link mount ioctl mmap mprotect flock lockf
    recv recvmsg send sendto sendmsg connect listen accept accept4 socketpair shutdown setsockopt
    getsockopt getsockname fork vfork execv execve execvp execl system popen kill ptrace prctl
    setpriority setrlimit setuid setgid syscall inotify_init fanotify_init property_set reboot
    settimeofday clock_settime epoll_create1 timerfd_create
""".split())
# read, write, select and close are not among them: open() asks for their permissions.


class Need(NamedTuple):
    """One permission: `source` may do `permission` to an object of `kind` whose type is `target`."""
    source: str
    target: str
    kind: str
    permission: str
    reason: str


class Labels:
    """Types of paths, from rows of genfs_contexts (of sysfs) and of file_contexts."""

    def __init__(self, genfs, files):
        self.genfs = dict(genfs)
        self.files = [(re.compile(pattern), label) for pattern, label in files]

    def of(self, path, whole_names=False):
        """The type of a path. A row of genfs_contexts fits each path that begins with its text; with
        `whole_names` only one in which that text ends a name."""
        if path in PLATFORM_TYPES:
            return PLATFORM_TYPES[path]
        # ueventd labels devices by file_contexts; all else in sysfs has the label of its longest prefix.
        if path.startswith("/sys/devices/") or not path.startswith("/sys"):
            for pattern, label in reversed(self.files):
                if pattern.fullmatch(path):
                    return label
        inside = path.removeprefix("/sys") or "/"
        fitting = [prefix for prefix in self.genfs if inside.startswith(prefix) and
                   (not whole_names or (inside + "/").startswith(prefix.rstrip("/") + "/"))]
        return self.genfs[max(fitting, key=len)] if fitting else "unlabeled"


def read_genfs(path):
    """Rows (prefix, type) of sysfs in a genfs_contexts file."""
    return re.findall(r"^genfscon\s+sysfs\s+(\S+)\s+\S+?:\S+?:(\w+)", path.read_text(), re.M)


def read_file_contexts(path):
    """Rows (pattern, type) of a file_contexts file."""
    return re.findall(r"^(/\S*)\s+(?:-\S\s+)?\w+:\w+:(\w+):", path.read_text(), re.M)


class Sources:
    """What the daemon's sources open, write and call.

    calls:   the refusable calls; strangers: those of them that are not understood here
    paths:   path of each attribute, links not followed, to the permissions that it needs
    written: the paths that are written
    """

    def __init__(self):
        folders = sorted({source.split("/")[0] for source in build_file.daemon("srcs") if source.endswith(".cpp")})
        self.files = [(path, re.sub(r"//.*", "", path.read_text())) for folder in folders
                      for path in sorted((ROOT / folder).iterdir()) if path.suffix in (".cpp", ".h", ".inc")]
        self.text = "\n".join(text for _, text in self.files)
        self.calls = {name for name in REFUSABLE if re.search(rf"(?<![\w.>]){name}\(", self.text)}
        self.strangers = sorted(self.calls - set(SOCKET_PERMISSIONS) - {"open", "access"})
        self.paths = {}
        rows = dict(re.findall(r'^SYSFS_FIXED\(\d+, (\w+), "([^"]+)"', self.text, re.M))
        calls = r"\b(?:write_sysfs_param|write_sysfs_integer|set_switch)\((?:snapshot, )?PARAM_(\w+)"
        self.written = {rows[name] for name in re.findall(calls, self.text)}
        for _, text in self.files:
            # A file of paths without an open() of its own is the table that platform/sysfs_io.cpp reads.
            allowed = set().union(*(OPEN_PERMISSIONS[flags] for flags in open_flags(text)))
            allowed = allowed or OPEN_PERMISSIONS["O_RDONLY"]
            if re.search(r"\baccess\(\w+, W_OK\)", text):
                allowed = {"write"}
            for path in re.findall(r'"(/sys/[^"]+)"', text):
                self.paths.setdefault(path.replace("%d", "0"), set()).update(allowed)
        for path in self.written:
            self.paths[path] |= OPEN_PERMISSIONS["O_WRONLY"]


def open_flags(text):
    """The flags that decide on permissions, of each open()."""
    return [" ".join(flag for flag in ("O_RDONLY", "O_WRONLY", "O_RDWR", "O_APPEND") if flag in call)
            for call in re.findall(r"\bopen\(\w+, ([^;]*);", text)]


def walk(path):
    """Yields (path, kind) of each directory and link on the way to a file, then of the file."""
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
    """init starts the program in its own domain."""
    program = labels.of("/vendor/bin/cellwarden")
    for permission in ("getattr", "open", "read", "execute", "map"):
        yield Need("init", program, "file", permission, "init starts the program")
        yield Need("cellwarden", program, "file", permission, "the program is mapped")
    yield Need("cellwarden", program, "file", "entrypoint", "the program enters its domain")
    for permission in ("transition", "siginh", "rlimitinh"):
        yield Need("init", "cellwarden", "process", permission, "init starts the program")


def log_needs():
    """The log library takes init's descriptor of /dev/kmsg.

    Before that it compares realpath() of the node with that of /proc/self/fd/N. realpath opens with
    O_PATH, which needs no permission, then calls fstat, readlink and stat. The library's other way,
    to open the node, is not for this daemon: the node is 0600 and root's.
    """
    reason = "log: realpath and write"
    for path, kind, permission in (("/", "dir", "search"), ("/dev", "dir", "search"), ("/dev/kmsg", "chr_file", "getattr"),
                                   ("/dev/kmsg", "chr_file", "write"), ("/proc", "dir", "search"),
                                   ("/proc", "lnk_file", "read")):
        yield Need("cellwarden", PLATFORM_TYPES[path], kind, permission, reason)
    for kind, permission in (("dir", "search"), ("lnk_file", "read")):
        yield Need("cellwarden", "cellwarden", kind, permission, reason)
    yield Need("cellwarden", "init", "fd", "use", "log: the descriptor is init's")


def property_needs():
    """The C library maps the file of the property, and before it the table that names the file."""
    yield Need("cellwarden", "properties_device", "dir", "search", "property")
    for target in ("build_vendor_prop", "property_info"):
        for permission in ("getattr", "open", "read", "map"):
            yield Need("cellwarden", target, "file", permission, "property ro.product.vendor.model")


def needs(labels, sources):
    """Every Need of the daemon, and of those that hand it its attributes."""
    found = set(program_needs(labels))
    for path, permissions in sources.paths.items():
        found.update(attribute_needs("cellwarden", path, permissions, labels))
    for call in sources.calls & set(SOCKET_PERMISSIONS):
        found.add(Need("cellwarden", "cellwarden", "netlink_kobject_uevent_socket", SOCKET_PERMISSIONS[call], call + "()"))
    if any(path.startswith("/sys/power/wake_") for path in sources.paths):
        found.add(Need("cellwarden", "cellwarden", "capability2", "block_suspend", "the kernel's wakelocks"))
    if "LOG_LINE(" in sources.text:
        found.update(log_needs())
    if re.search(r"\bproperty_get\(", sources.text):
        found.update(property_needs())
    for path in sources.written:
        # The service file is a vendor's, so its chown lines run as vendor_init.
        found.update(need for need in attribute_needs("vendor_init", path, {"setattr"}, labels))
    for path in sources.paths:
        *_, (place, _) = walk(path)
        if place.startswith("/sys/devices/") and "/power_supply/" in place:
            found.add(Need("ueventd", labels.of(place), "file", "relabelto", "ueventd labels " + place))
            for permission in ("getattr", "open", "read"):
                found.add(Need("hal_health_server", labels.of(place), "file", permission, "health reads " + place))
    return found
