#!/usr/bin/env python3
"""The service file runs the daemon exactly once after each way of starting a phone.

The test models two rules of init: class_start starts the services of a class that are not disabled;
class_stop stops the services of a class and disables them, whether or not they ran.
"""

from checking import ROOT, expect_equal, finish

# The commands to init for each way of starting; "start" and "stop" are class_start and class_stop.
STARTS = {
    "normal start": ["start core", "start main", "start late_start"],
    "off-mode charging": ["start charger"],
    "off-mode charging, then a start without a restart": [
        "start charger", "stop charger", "start core", "start main", "start late_start"],
    "normal start, class main restarted": ["start core", "start main", "reset main", "start main"],
}


def read_services():
    """Returns the options of each service of the daemon by its name; one option is the program."""
    services, options = {}, []
    for line in (ROOT / "android/cellwarden.rc").read_text().splitlines():
        words = line.split()
        if words and words[0] in ("service", "on"):
            options = []
            if words[0] == "service":
                options = services[words[1]] = [("program", words[2:])]
        elif words and not line.startswith("#"):
            options.append((words[0], words[1:]))
    return services


def running_after(services, commands):
    """Returns the names of the running services after each command."""
    running, disabled, steps = set(), {name for name, options in services.items() if ("disabled", []) in options}, []
    for command in commands:
        action, group = command.split()
        members = {name for name, options in services.items() if group in dict(options)["class"]}
        if action == "start":
            running |= members - disabled
        else:
            running -= members
            if action == "stop":
                disabled |= members
        steps.append((command, sorted(running)))
    return steps


all_services = read_services()
for way, wanted_commands in STARTS.items():
    steps = running_after(all_services, wanted_commands)
    expect_equal(f"{way}: commands after which the daemon runs more than once",
                 [step for step in steps if len(step[1]) > 1], [])
    expect_equal(f"{way}: daemons that run at the end", [len(steps[-1][1])], [1])
first, *others = ([option for option in options if option[0] != "class"] for options in all_services.values())
for other in others:
    expect_equal("options of the services except their class", other, first)
finish()
