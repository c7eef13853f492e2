#!/usr/bin/env python3
"""The daemon calls nothing that Android's C library lacks.

Usage: check_c_library.py DAEMON

Looks at what a daemon built with the GNU C library takes from it. A call that is new here is first
looked up in Android's C library (since which platform level, with which meaning), then added.
"""

import re
import sys

from checking import expect_equal, finish, run

# C and POSIX calls that Android's C library has on all 64-bit levels, with the meaning that the
# daemon relies on (select leaves the time left in its timeout: both are the kernel's own).
SHARED = set("""
    abort access bind clock_gettime close expl free getpid malloc memchr memcmp memcpy memmove memset
    open read recvfrom select sleep snprintf socket strcmp strcspn strerror strlen strncmp strnlen
    strstr strtof strtol time timegm write __cxa_finalize __stack_chk_fail
""".split())

# Calls of libcrypto, which is linked in here and a library of the platform on a phone.
SHARED |= set("getauxval getenv sigaction sigdelset sigfillset sigprocmask strtoul".split())

# Names that the GNU headers, or its start-up code, put in the place of another; Android's headers
# make their own of the same call. Calls with a checked length, __..._chk, count as the plain ones.
OTHER_NAMES = {
    "__assert_fail": "__assert2, in builds with assertions",
    "__errno_location": "errno",
    "__fdelt_chk": "FD_SET, FD_ISSET",
    "__isoc99_sscanf": "sscanf",
    "__longjmp_chk": "siglongjmp",
    "__libc_start_main": "start of main",
    "__open_2": "open",
    "__stack_chk_guard": "the guard, kept per thread on Android",
    "expf128": "expl, where long double has 113 bits",
}


symbols = run("nm", "-D", "--undefined-only", sys.argv[1])
calls = {name if name in OTHER_NAMES else re.sub(r"^__(\w+)_chk$", r"\1", name)
         for name in re.findall(r"(\w+)@GLIBC_", symbols)}
expect_equal("calls that Android's C library is not known to have", sorted(calls - SHARED - set(OTHER_NAMES)), [])
finish()
