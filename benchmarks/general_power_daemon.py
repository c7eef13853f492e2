#!/usr/bin/python3
"""Compares the whole daemon with upower, a general-purpose power daemon, for the same battery events.

Usage: general_power_daemon.py BUILD_DIRECTORY [EVENTS]

Runs both shipped programs on simulated devices: cellwarden on its bench, upower under umockdev with a
bus of its own. Prints rows of the table of figures. Each limit is upower's figure in the same run,
halved for memory. Exit code: 0 if every limit holds.
"""
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

import gi

gi.require_version("UMockdev", "1.0")
from gi.repository import UMockdev  # noqa: E402

BUILD = sys.argv[1]
ROUNDS = 5
EVENTS = int(sys.argv[2]) if len(sys.argv) > 2 else 500  # per round
WARM_UP = EVENTS // 10
PAUSE_MS = 4  # between the events of both daemons
# Open and read of each attribute; open and close of seven directories; nine closes of sixteen
# attributes each, in at most four calls if other descriptors are between them; open, write and close
# of the two wakelock files; select and recvfrom.
CYCLE_CALLS = 134 * 2 + 7 * 2 + 9 * 4 + 2 * 3 + 2
UPOWERD = "/usr/libexec/upowerd"
BUS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>custom</type><listen>unix:dir={folder}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
<allow own="*"/></policy></busconfig>
"""


def memory_of(pid):
    """Returns resident and private memory in KB, without the library that umockdev preloads."""
    kb = {"Rss": 0, "Private_Clean": 0, "Private_Dirty": 0}
    counted = True
    with open(f"/proc/{pid}/smaps") as file:
        for line in file:
            key, _, value = line.partition(":")
            if "-" in key:  # the first line of a mapping
                counted = "umockdev" not in line
            elif counted and key in kb:
                kb[key] += int(value.split()[0])
    return kb["Rss"], kb["Private_Clean"] + kb["Private_Dirty"]


def cpu_of_threads(pid):
    total = 0
    for thread in os.listdir(f"/proc/{pid}/task"):
        with open(f"/proc/{pid}/task/{thread}/schedstat") as file:
            total += int(file.read().split()[0])
    return total / 1e9


def wait_until_idle(pid):
    """Waits until the daemon has used no CPU time for half a second."""
    before = -1.0
    while (now := cpu_of_threads(pid)) != before:
        before = now
        time.sleep(0.5)


def measure_upower(folder):
    bed = UMockdev.Testbed.new()
    battery = bed.add_device("power_supply", "BAT0", None, [
        "type", "Battery", "present", "1", "status", "Discharging", "scope", "System",
        "energy_full", "60000000", "energy_full_design", "80000000", "energy_now", "48000000",
        "voltage_now", "12000000", "power_now", "5000000", "capacity", "80"],
        ["POWER_SUPPLY_ONLINE", "1"])
    config = os.path.join(folder, "bus.conf")
    with open(config, "w") as file:
        file.write(BUS.format(folder=folder))
    bus = subprocess.Popen(["dbus-daemon", f"--config-file={config}", "--print-address"],
                           stdout=subprocess.PIPE, text=True)
    address = bus.stdout.readline().strip()
    env = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=address, UMOCKDEV_DIR=bed.get_root_dir(),
               LD_PRELOAD="libumockdev-preload.so.0",
               UPOWER_HISTORY_DIR=folder)
    upower = subprocess.Popen([UPOWERD], env=env, stderr=subprocess.DEVNULL)
    try:
        wait_until_idle(upower.pid)
        start_cpu_s = cpu_of_threads(upower.pid)

        def send(count):
            for event in range(count):
                bed.set_attribute(battery, "energy_now", str(48000000 - 1000 * (event % 9000)))
                bed.uevent(battery, "change")
                # One event at a time: upower has handled it when it sleeps again.
                wait_for_sleep(upower.pid)
            wait_until_idle(upower.pid)

        send(WARM_UP)
        before = cpu_of_threads(upower.pid)
        send(EVENTS)
        cpu_us = (cpu_of_threads(upower.pid) - before) / EVENTS * 1e6
        resident, private = memory_of(upower.pid)
        answer = subprocess.run(["upower", "-i", "/org/freedesktop/UPower/devices/battery_BAT0"],
                                env=dict(env, LD_PRELOAD=""), capture_output=True, text=True)
        if "energy:" not in answer.stdout:
            raise RuntimeError("upower does not show the battery: " + answer.stdout + answer.stderr)
        return {"cpu_us": cpu_us, "resident": resident, "private": private,
                "start_ms": start_cpu_s * 1e3}
    finally:
        for process in (upower, bus):
            process.kill()
            process.wait()


def switches(pid):
    with open(f"/proc/{pid}/status") as file:
        return int(re.search(r"^voluntary_ctxt_switches:\s+(\d+)", file.read(), re.M)[1])


def wait_for_sleep(pid):
    """Waits until the daemon has woken and sleeps again, for at most a tenth of a second."""
    before = switches(pid)
    for _ in range(50):
        time.sleep(PAUSE_MS / 2e3)
        if switches(pid) != before:
            break
    time.sleep(PAUSE_MS / 2e3)


def measure_cellwarden(pause_ms):
    text = subprocess.run([f"{BUILD}/cellwarden-campaign", "--soak", str(EVENTS),
                           "--pause-ms", str(pause_ms)],
                          env=dict(os.environ, LD_PRELOAD=""), capture_output=True,
                          text=True).stdout
    number = {name: float(re.search(rf"{words} (-?[\d.]+)", text)[1]) for name, words in (
        ("cpu_us", "CPU per battery uevent"), ("foreign_us", "per uevent of another subsystem"),
        ("start_ms", "CPU of the start"), ("calls", "system calls of a full cycle"))}
    last = next(line.split() for line in text.splitlines() if line.startswith("  after other subsystems"))
    return number | {"resident": int(last[4]), "private": int(last[5])}


def medians(figures):
    return {name: statistics.median(one[name] for one in figures) for name in figures[0]}


def report(name, measured, limit, unit):
    if limit is None:
        print(f"{name:<58} {measured:10.1f} {'-':>10} {unit:<3}", flush=True)
        return True
    holds = measured <= limit
    print(f"{name:<58} {measured:10.1f} {limit:10.1f} {unit:<3} {measured / limit:6.2f}  "
          f"{'holds' if holds else 'OVER THE LIMIT'}", flush=True)
    return holds


def main():
    # The programs alternate, so that other load on the machine affects both.
    rounds = []
    for _ in range(ROUNDS):
        with tempfile.TemporaryDirectory() as folder:
            rounds.append((measure_upower(folder), measure_cellwarden(PAUSE_MS)))
    upower, own = (medians(figures) for figures in zip(*rounds))
    hurried = measure_cellwarden(0)
    good = [
        report("system calls of a full cycle; limit 134 x 2 + 58", own["calls"], CYCLE_CALLS, ""),
        report("battery event, daemon as a whole, CPU; limit upower", own["cpu_us"],
               upower["cpu_us"], "us"),
        report("the same without pauses between the events", hurried["cpu_us"], None, "us"),
        report("foreign uevent, CPU", hurried["foreign_us"], None, "us"),
        report("resident memory; limit half of upower", own["resident"], upower["resident"] / 2,
               "KB"),
        report("private memory; limit half of upower", own["private"], upower["private"] / 2,
               "KB"),
        report("start-up, CPU; limit upower", own["start_ms"], upower["start_ms"], "ms"),
    ]
    return 0 if all(good) else 1


if __name__ == "__main__":
    if "umockdev" not in os.environ.get("LD_PRELOAD", ""):
        os.execvp("umockdev-wrapper", ["umockdev-wrapper", *sys.orig_argv])
    sys.exit(main())
