#!/usr/bin/env python3
"""Computes the tables of the exponential, numbers/exponential_tables.inc, with integer arithmetic.

Usage: make_exponential_tables.py               writes the tables to standard output
       make_exponential_tables.py --check FILE  exits with 1 if FILE has other content
"""

import math
import sys
from pathlib import Path

BITS = 640  # precision of the computation; every result is truncated far above the last bits
INDEX_BITS = 6
LN2_BITS = 320


def ln2(bits):
    """Returns floor(ln 2 x 2^bits), by ln 2 = 2 artanh(1/3) = sum of 2 / (n 3^n) over odd n."""
    total, power, n = 0, 2 * 2**BITS // 3, 1
    while power:
        total += power // n
        power //= 9
        n += 2
    return total >> BITS - bits


def powers_of_root(squarings):
    """Returns 2^(i / 2^squarings) x 2^BITS for i = 0 .. 63."""
    root = 2 << BITS
    for _ in range(squarings):
        root = math.isqrt(root << BITS)
    powers = [1 << BITS]
    for _ in range(2**INDEX_BITS - 1):
        powers.append(powers[-1] * root >> BITS)
    return powers


def limbs(value, count):
    return [f"0x{value >> 64 * i & 2**64 - 1:016x}" for i in reversed(range(count))]


def table(name, comment, values):
    yield ""
    yield f"// {comment}"
    yield f"constexpr uint128 {name}[{len(values)}] = {{"
    for value in values:
        assert 0 <= value < 2**128
        yield f"    from_halves({', '.join(limbs(value, 2))}),"
    yield "};"


def lines():
    yield "// Written by make_exponential_tables.py. Every value is truncated toward zero."
    yield ""
    yield f"// ln 2 in units of 2^-{LN2_BITS}, the lowest 64 bits first."
    yield f"constexpr uint64_t LN2[{LN2_BITS // 64}] = {{"
    yield from (f"    {limb}," for limb in reversed(limbs(ln2(LN2_BITS), LN2_BITS // 64)))
    yield "};"
    yield from table("POWERS_64TH", "2^(i / 2^6) in units of 2^-127.",
                     [value >> BITS - 127 for value in powers_of_root(6)])
    for squarings in (12, 18):
        unit = 128 + squarings - INDEX_BITS
        yield from table(f"POWERS_{2**squarings}TH_LESS_1", f"2^(i / 2^{squarings}) - 1 in units of 2^-{unit}.",
                         [value - (1 << BITS) >> BITS - unit for value in powers_of_root(squarings)])


text = "\n".join(lines()) + "\n"
if sys.argv[1:2] == ["--check"]:
    sys.exit(0 if Path(sys.argv[2]).read_text() == text else f"{sys.argv[2]} differs from the output of {sys.argv[0]}")
print(text, end="")
