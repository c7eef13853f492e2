#!/usr/bin/env python3
"""The daemon calls only functions that Android's C library has.

Usage: check_c_library.py DAEMON

Reads the undefined symbols of a daemon that was built with the GNU C library. Before you add a new
call here, look it up in Android's C library: since which platform level, and with which meaning.
"""

import re
import sys

from checking import expect_equal, finish, run

# C and POSIX calls that Android's C library has on all 64-bit levels, with the meaning that the
# daemon relies on (both libraries pass the kernel's select, which stores the remaining time in its
# timeout).
SHARED = set("""
    abort access bind clock_gettime close close_range free getpid malloc memchr memcmp memcpy memmove memset
    open openat read recvfrom select sleep snprintf socket strcmp strcspn strerror strlen strncmp strnlen
    strstr strtof strtol time timegm vsnprintf write __cxa_finalize __stack_chk_fail
""".split())

# Calls of libcrypto, which is linked into this daemon and is a platform library on a phone.
SHARED |= set("getauxval getenv sigaction sigdelset sigfillset sigprocmask strtoul".split())

# Names by which the GNU headers or start-up code replace a call; Android's headers have other names
# for the same call. A call with a checked length, __..._chk, counts as the plain call.
OTHER_NAMES = {
    "__assert_fail": "__assert2, in builds with assertions",
    "bcmp": "memcmp, which clang replaces where the C library is GNU's",
    "__errno_location": "errno",
    "__fdelt_chk": "FD_SET, FD_ISSET",
    "__isoc99_sscanf": "sscanf",
    "__longjmp_chk": "siglongjmp",
    "__libc_start_main": "start of main",
    "__open_2": "open",
    "__stack_chk_guard": "the guard, which Android keeps per thread",
}


symbols = run("nm", "-D", "--undefined-only", sys.argv[1])
calls = {name if name in OTHER_NAMES else re.sub(r"^__(\w+)_chk$", r"\1", name)
         for name in re.findall(r"(\w+)@GLIBC_", symbols)}
expect_equal("calls that Android's C library may lack", sorted(calls - SHARED - set(OTHER_NAMES)), [])
finish()
