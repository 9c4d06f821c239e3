"""The figures on loopback, from small programs that print JSON."""

import json
import os
import pathlib
import statistics
import subprocess
import tempfile

from .report import Row

THREADS_BESIDE = 8  # threads of a list other than one for each unit and one for each model
MODELS = 10
LARGE_SETTINGS = 14_000_000  # bytes
RECORD = "notificationrecord-0001f2fffe{:06x}=1.0.0+5, 1.1.0+2\n"
GROWTH = 2.0  # how far the time may differ from n log n, between a hundred units and the most


class Programs:
    """Runs the programs of a build folder."""

    def __init__(self, folder, quick):
        self.folder = pathlib.Path(folder)
        self.quick = quick

    def path(self, name):
        return self.folder / "bench" / name

    def pick(self, full, quick):
        return quick if self.quick else full

    def run(self, name, *arguments, prefix=()):
        """The JSON that a program prints."""
        command = [*prefix, self.path(name), *arguments]
        result = subprocess.run(
            [str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=600
        )
        if result.returncode != 0:
            raise RuntimeError(f"{name} {' '.join(map(str, arguments))}: {result.stderr.strip() or result.returncode}")
        return json.loads(result.stdout)


def poll_cost(programs):
    raw = programs.run("bench_poll_cost", programs.pick(40, 10), programs.pick(3000, 1000))
    row = Row(
        "processor time a 304 poll / bare libcurl loop", raw["cpuMicroseconds"]["median"], "us",
        raw["bareCpuMicroseconds"]["median"], raw["ratio"]["median"], 1.15, "ratio",
    )
    return [row], raw


def units(programs):
    seconds = programs.pick(15, 6)
    raw = [programs.run("bench_units", count, MODELS, seconds) for count in programs.pick((100, 500, 1000), (100, 500))]
    least, most = raw[0], raw[-1]
    more = most["units"] - least["units"]
    beside = max(run["threads"] - run["units"] - run["models"] for run in raw)
    rows = [Row("threads beside one a unit and a model", beside, "", bar=THREADS_BESIDE)]
    for run in raw:
        each = (run["residentKiB"] - run["residentKiBBefore"]) / run["units"]
        rows.append(Row(f"resident, {run['units']} units, all of it / units", each, "KiB"))
    grown = (most["residentKiB"] - least["residentKiB"]) / more
    rows.append(Row("resident, each further unit", grown, "KiB", bar=64))
    opened = (most["descriptors"] - least["descriptors"]) / more
    rows.append(Row("descriptors, each further unit", opened, "", bar=3))
    bare = programs.run("bench_poll_cost", 5, 1000)["bareCpuMicroseconds"]["median"]
    for run in raw:
        bar = 8 if run["units"] == 1000 else None
        rows.append(Row(f"processor, {run['units']} units polled each 3 s", run["cpuPercent"], "% of a core", bar=bar))
    rows.append(Row("processor a poll in that / bare libcurl loop", most["cpuMicrosecondsAPoll"], "us", bare))
    rows.append(Row(f"destruction of the list, {most['units']} units", most["destructionSeconds"], "s"))
    return rows, raw


def update_list(programs):
    raw = programs.run("bench_update_list", programs.pick(200, 30))
    rows = []
    for what, key in (("UpdateList", "updateList"), ("filter and sort", "filterAndSort")):
        by_units = {row["units"]: row for row in raw[key]}
        base = by_units[100]["nanosecondsByNLogN"]
        for count, row in by_units.items():
            bar = GROWTH if count == max(by_units) else None
            rows.append(Row(
                f"{what}, {count} units; ratio: by n log n to 100 units", row["median"], "us",
                ratio=row["nanosecondsByNLogN"] / base, bar=bar, compared="ratio",
            ))
    return rows, raw


def settings(programs):
    raw = []
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder, "settings.conf")
        size = write_large_settings(path)
        for _ in range(programs.pick(11, 5)):
            raw.append(programs.run("bench_settings_read", path))

    def median(key):
        return statistics.median(run[key] for run in raw)

    rows = [
        Row(f"reading settings of {size / 1e6:.0f} MB", median("seconds"), "s", bar=0.3),
        Row("most memory for that / the file", median("peakKiB") / 1024, "MiB", size / 2**20, bar=3, compared="ratio"),
    ]
    return rows, raw


def write_large_settings(path):
    """Settings after years of strangers on the network. Returns the number of bytes."""
    lines = ["[General]\n"]
    for number in range(LARGE_SETTINGS // len(RECORD.format(0))):
        lines.append(RECORD.format(number))
    lines.append("AlreadyRun=true\n")
    return path.write_text("".join(lines))


def source_rate(programs):
    raw = programs.run("bench_source_rate", programs.pick(2000, 300), programs.pick(20, 6))
    row = Row(f"requests to one address a second, {raw['units']} units there", raw["requestsASecond"], "/s", bar=60)
    return [row], raw


def cancelling(programs):
    repetitions = programs.pick(300, 50)
    wake = programs.run("bench_cancel", repetitions, "wake")
    raw = [wake]
    rows = []
    phases = ("lookup", "connect", "header", "body", "poller")
    names = {"lookup": "look-up", "poller": "whole poller destroyed in its header"}
    for phase in phases:
        with tempfile.TemporaryDirectory() as folder:
            prefix = _silent_name_server(folder) if phase == "lookup" else ()
            result = programs.run("bench_cancel", repetitions, phase, prefix=prefix)
        raw.append(result)
        rows.append(Row(
            f"cancel, {names.get(phase, phase)} / waking a thread", result["milliseconds"]["median"], "ms",
            wake["milliseconds"]["median"], bar=1, note=f"95 %: {result['milliseconds']['p95']:.3g} ms",
        ))
    return rows, raw


def _silent_name_server(folder):
    """A command that runs another command in a separate network whose resolver asks 127.0.0.1."""
    for name, text in (("resolv.conf", "nameserver 127.0.0.1\n"), ("nsswitch.conf", "hosts: files dns\n")):
        pathlib.Path(folder, name).write_text(text)
    user = [] if os.getuid() == 0 else ["--user", "--map-root-user"]
    script = (
        'ip link set lo up && mount --bind "$1/resolv.conf" /etc/resolv.conf && '
        'mount --bind "$1/nsswitch.conf" /etc/nsswitch.conf && shift && exec "$@"'
    )
    return ["unshare", *user, "--net", "--mount", "--", "sh", "-c", script, "sh", folder]


def change(programs):
    raw = [programs.run("bench_change", count, programs.pick(31, 10)) for count in (1, 100)]
    rows = []
    for run in raw:
        result = run["milliseconds"]
        rows.append(Row(
            f"changed answer to list, {run['units']} unit(s) / bare libcurl has it", result["median"], "ms",
            run["bareMilliseconds"]["median"], bar=5, note=f"95 %: {result['p95']:.3g} ms",
        ))
    return rows, raw
