#!/usr/bin/env python3
"""The fleet of docs/fleet.md: its commands and statements run on two servers with simulated phones.

Usage: check_fleet.py BUILD_FOLDER [YEARS PICTURE]

With YEARS, the lives last so long instead of 1.2 years, and PICTURE becomes the page's picture.
Each answer must equal the one that this program computes from the events' JSON lines. The servers
listen on the loopback device only and end with the check.
"""

import collections
import json
import math
import os
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
from pathlib import Path

sys.path.append(str(Path(__file__).parents[1] / "android"))
from checking import ROOT, expect_equal, failures, finish, need_programs, run

PAGE = (ROOT / "docs/fleet.md").read_text()
SEEDS = (1, 2)
USERS = """<yandex><profiles><default><max_memory_usage>4000000000</max_memory_usage></default></profiles>
<users><default><password></password><networks><ip>127.0.0.1</ip></networks><profile>default</profile>
<quota>default</quota></default></users><quotas><default></default></quotas></yandex>"""


def blocks(language):
    return re.findall(rf"^```{language}\n(.*?)^```", PAGE, re.M | re.S)


def free_ports(count):
    sockets = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [found.getsockname()[1] for found in sockets]
    for found in sockets:
        found.close()
    return ports


class Shard:
    """A server with the page's cluster, on ports of the loopback device."""

    def __init__(self, folder, port, cluster):
        folder.mkdir()
        (folder / "users.xml").write_text(USERS)
        (folder / "config.xml").write_text(f"""<yandex><logger><level>warning</level><log>{folder}/log</log>
            <errorlog>{folder}/errors</errorlog></logger><listen_host>127.0.0.1</listen_host><tcp_port>{port}</tcp_port>
            <path>{folder}/data/</path><tmp_path>{folder}/tmp/</tmp_path><mark_cache_size>10000000</mark_cache_size>
            <users_config>{folder}/users.xml</users_config><default_profile>default</default_profile>
            <default_database>default</default_database>{cluster}</yandex>""")
        self.client = ["clickhouse-client", "--host", "127.0.0.1", "--port", str(port)]
        # The server also ends if this program is killed.
        self.server = subprocess.Popen(["setpriv", "--pdeathsig", "TERM", "clickhouse-server", f"--config-file={folder}/config.xml"],
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def wait(self):
        while subprocess.run([*self.client, "--query", "SELECT 1"], capture_output=True, check=False).returncode != 0:
            if self.server.poll() is not None:
                sys.exit(f"FAILED: a server ended with {self.server.returncode}")

    def rows(self, query):
        """Returns the rows of an answer; numbers as numbers."""
        lines = run(*self.client, "--query", f"{query}\nFORMAT JSONCompact", "--output_format_json_quote_64bit_integers=0")
        return json.loads(lines)["data"] if not failures else finish()

    def end(self):
        self.server.send_signal(signal.SIGTERM)
        self.server.wait()


def make_outboxes(build, work, years):
    """Simulates the phones; each one's outbox gets the phone's key as its name."""
    for seed in SEEDS:
        run(build / "cellwarden-lifetime", "run", "--years", years, "--seed", str(seed), "--out", work / f"runs-{seed}")
        for life in (work / f"runs-{seed}").iterdir():
            if (life / "outbox").is_dir():
                shutil.copytree(life / "outbox", work / "outboxes" / f"{life.name}-{seed}")


def newest_events(events):
    newest = {}
    for event in (e for e in events if e["event"] == "BatteryDegradation2"):
        if event["phone"] not in newest or event["time"] > newest[event["phone"]]["time"]:
            newest[event["phone"]] = event
    return list(newest.values())


def mean(values):
    values = [value for value in values if value is not None]
    return sum(values) / len(values)


def quantile(level, values):
    return sorted(values)[int(level * len(values))]


def grouped(rows, key):
    groups = collections.defaultdict(list)
    for row in rows:
        groups[key(row)].append(row)
    return groups


def levels(newest, _):
    return [[level, len(group), mean(e["latest_user_soh"] * 0.002 or None for e in group),
             mean(e["total_cycle_count"] for e in group) / 10000]
            for level, group in sorted(grouped(newest, lambda e: e["soft_charge_mode"]).items())]


def chargers(_, connections):
    rows = [[kind, len(group), len({e["phone"] for e in group}), mean(e["usb_insertion_time"] for e in group) / 60,
             mean(e["removal_soc"] - e["inserted_soc"] for e in group)]
            for kind, group in grouped(connections, lambda e: e["charger_type"]).items()]
    return sorted(rows, key=lambda row: (-row[1], row[0]))


def losses(newest, _):
    lost = ([i for i, soh in enumerate(e["filtered_soh_per_10days"], 1) if 0 < soh < 47500] for e in newest)
    days = [indices[0] * 10 for indices in lost if indices]
    return [[len(days), quantile(0.1, days), quantile(0.5, days)]] if days else [[0, 0, 0]]


def beliefs(newest, _):
    periods = []
    for event in (e for e in newest if e["last_learning_time"]):
        grid = event["vt_cet_table"]
        warm = sum(s for i, s in enumerate(grid) if i % 16 < 6) > 0.1 * sum(grid)
        full = event["soc_full_total_time"] > 0.2 * event["online_time"]
        periods += [(int(warm), int(full), math.floor(p * 0.002), raw * 0.002, event["phone"]) for p, raw in
                    zip(event["predicted_soh_per_10days"], event["raw_soh_per_10days"]) if p and raw]
    rows = [[*key, len({period[4] for period in group}), *(quantile(q, [period[3] for period in group]) for q in (0.1, 0.5, 0.9))]
            for key, group in grouped(periods, lambda period: period[:3]).items()]
    return sorted(rows, key=lambda row: (row[0], row[1], -row[2]))


def expect_answer(name, found, wanted):
    """Compares an answer with the wanted one; the statements round their numbers."""
    def text(value, other):
        near = isinstance(value, (int, float)) and isinstance(other, (int, float)) and abs(value - other) <= 0.0501
        return other if near else value
    if [len(row) for row in found] == [len(row) for row in wanted]:
        found = [[text(*pair) for pair in zip(*rows)] for rows in zip(found, wanted)]
    expect_equal(name, found, wanted)


def check_volumes(shards, newest, connections, years):
    """The bytes per row are at most those of the page for this age of the phones, and more than half of them."""
    for table, count, promised in zip(("ageing", "connection"), (len(newest), len(connections)),
                                      re.search(rf"^\| {re.escape(years)} \| ([\d,]+) \| ([\d,]+) \|", PAGE, re.M).groups()):
        used = 0
        for shard in shards:
            run(*shard.client, "--query", f"OPTIMIZE TABLE fleet.{table}_shard FINAL")
            used += shard.rows(f"SELECT toFloat64(sum(data_compressed_bytes)) FROM system.parts WHERE active AND table = '{table}_shard'")[0][0]
        print(f"{table}: {count} rows, {used / count:.0f} bytes each")
        limit = int(promised.replace(",", ""))
        expect_equal(f"{table}: bytes per row", [limit / 2 < used / count <= limit], [True])


def check(build, work, shards, years):
    tools = work / "bin"
    tools.mkdir()
    (tools / "cellwarden-inspect").symlink_to(build / "cellwarden-inspect")
    (tools / "clickhouse-client").write_text(f"#!/bin/sh\nexec {shutil.which('clickhouse-client')} {' '.join(shards[0].client[1:])} \"$@\"\n")
    (tools / "clickhouse-client").chmod(0o700)
    shutil.copy(ROOT / "tools/fleet/draw_health.py", work)
    (work / "health.sql").write_text(blocks("sql")[-1])
    for shard in shards:
        shard.wait()
        run(*shard.client, "--multiquery", input=(build / "data/fleet/tables.sql").read_text())
    *loading, drawing = blocks("sh")
    in_page = {"cwd": work, "env": os.environ | {"PATH": f"{tools}:{os.environ['PATH']}"}}
    for _ in range(2):  # what is loaded twice counts once
        for commands in loading:
            run("sh", "-ec", commands, **in_page)
    events = [json.loads(line) for line in (work / "events.jsonl").read_text().splitlines()]
    expect_equal("events", [len(events)], [len(list((work / "outboxes").glob("*/*")))])
    newest, connections = newest_events(events), [e for e in events if e["event"] == "ChargerInsertionRemoval"]
    answers = [levels, chargers, losses, beliefs]
    expect_equal("statements of the page", [len(blocks("sql"))], [len(answers)])
    for answer, query in zip(answers, blocks("sql")):
        wanted = answer(newest, connections)
        expect_equal(f"{answer.__name__} has rows", [bool(wanted)], [True])
        for shard in shards:  # each server answers for all
            expect_answer(answer.__name__, shard.rows(query), wanted)
    held = [{row[0] for row in shard.rows("SELECT DISTINCT phone FROM fleet.ageing_shard")} for shard in shards]
    expect_equal("phones of the shards, each on one", sorted([*held[0], *held[1]]), sorted(e["phone"] for e in newest))
    expect_equal("both shards have phones", [bool(phones) for phones in held], [True, True])
    check_volumes(shards, newest, connections, years)
    run("sh", "-ec", drawing, **in_page)
    picture = (work / "health.svg").read_text()
    expect_equal("points of the picture", [picture.count("<circle")], [len(beliefs(newest, connections))])


def main():
    need_programs("clickhouse-server", "clickhouse-client", "setpriv")
    signal.signal(signal.SIGTERM, lambda *_: sys.exit("ended by a signal"))
    build, (years, picture) = Path(sys.argv[1]).resolve(), sys.argv[2:] or ("1.2", None)
    with tempfile.TemporaryDirectory(prefix="cellwarden-fleet-") as folder:
        work = Path(folder)
        make_outboxes(build, work, years)
        ports = free_ports(2)
        cluster, = blocks("xml")
        cluster = re.sub(r"</?yandex>", "", cluster)
        for number, port in enumerate(ports, 1):
            cluster = cluster.replace(f"<host>shard-{number}</host><port>9000</port>", f"<host>127.0.0.1</host><port>{port}</port>")
        shards = []
        try:
            for number, port in enumerate(ports):
                shards.append(Shard(work / f"shard-{number}", port, cluster))
            check(build, work, shards, years)
            if picture:
                shutil.copy(work / "health.svg", picture)
        finally:
            for shard in shards:
                shard.end()
    if not failures:
        print("the page's answers equal those from the files")
    finish()


main()
