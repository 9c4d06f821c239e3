"""The figures that need a network with a real responder, measured in the studio."""

import json
import statistics
import subprocess
import time

from vornstudio import mdns
from vornstudio.client import Studio

from .report import Row

TYPE = "_http._tcp"
SETTLE = 3.0  # seconds until the last announcements are over,
SETTLE_EACH = 0.006  # and as many for each unit
PAUSE = 2.0  # seconds until both responders have forgotten the questions and answers of an earlier program
PATIENCE = 60
COLD_BARS = {10: 0.25, 100: 0.45, 300: 0.6, 1000: 0.8}
WARM_BARS = {10: 1.1, 100: 1.1, 300: 1.1}
NEWCOMER_BARS = {0: 0.6, 60: 0.6, 150: 0.6, 300: 0.6, 900: 5.0}
NEWCOMER_AFTER = 3.0  # seconds from the engine's start to the good unit's announcement
THREADS_BAR = 3  # the client's, the engine's and the session's
DESTRUCTION_BAR = 200


def _studio(count):
    units = {"count": count, "name": "Unit {n}", "announcer": "avahi"}
    return Studio({"many": [units]})


def _wait_until_announced(studio, count):
    """Each unit is a service and a host. The far responder reports when it has claimed a name."""
    def claimed():
        return sum("successfully established" in line for line in studio.responder_lines("far"))

    studio.wait_until(lambda: claimed() >= 2 * count, 120, "the announcements")
    time.sleep(SETTLE + SETTLE_EACH * count)


class Reader:
    """A program in the studio. Each line that it prints is read with its time since the start."""

    def __init__(self, studio, argv):
        self._start = time.monotonic()
        self._process = studio.popen(argv, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self._rest = b""

    def lines(self):
        while True:
            while b"\n" in self._rest:
                line, self._rest = self._rest.split(b"\n", 1)
                yield line.decode(errors="replace"), self.now()
            piece = self._process.stdout.read(65536)
            if not piece:
                return
            self._rest += piece

    def end(self):
        """Waits for the program's end and returns the time of the end."""
        self._process.wait(PATIENCE)
        self._process.stdout.close()
        return self.now()

    def stop(self):
        self._process.terminate()
        self.end()

    def now(self):
        return time.monotonic() - self._start


def _browse(studio):
    reader = Reader(studio, ["avahi-browse", "-rtpk", TYPE])
    seen = [when for line, when in reader.lines() if line.startswith("=;")]
    return {"exit": reader.end(), "last": seen[-1] if seen else None, "found": len(seen)}


def _engine(programs, studio, count, *destroy_after):
    reader = Reader(studio, [programs.path("bench_discovery"), count, PATIENCE, *destroy_after])
    results = [(json.loads(line), when) for line, when in reader.lines()]
    reader.end()
    (resolved, when), (destroyed, _) = results
    return {
        "seconds": when, "own": resolved["seconds"], "found": resolved["resolved"],
        "destructor": destroyed["destructorSeconds"], "abandoned": destroyed["abandonedThreads"],
        "connections": resolved["connections"], "threads": resolved["threads"],
        "processor": resolved["processorSeconds"],
    }


def _pairs(programs, studio, count, cold, repetitions):
    """Runs of both programs, in turns. For a cold run, the responder was started just before.

    The responders must forget one run before the next one begins. A question that is still open for another program
    makes avahi-browse exit at once. And the far responder does not repeat what it has multicast within the last
    second, so a responder that was just started would hear nothing.
    """
    ours, theirs = [], []
    for repetition in range(repetitions):
        runs = [
            lambda: ours.append(_engine(programs, studio, count)),
            lambda: theirs.append(_browse(studio)),
        ]
        for run in runs if repetition % 2 == 0 else reversed(runs):
            time.sleep(PAUSE)
            if cold:
                studio.do("responder", op="restart")
            run()
    return {"engine": ours, "browse": theirs}


def _row(count, kind, pairs):
    ours = min(run["found"] for run in pairs["engine"])
    whole = [run for run in pairs["browse"] if run["found"] >= count] or pairs["browse"]
    least = min(run["found"] for run in pairs["browse"])
    notes = [f"its last line after {statistics.median(run['last'] or 0 for run in whole):.2f} s"]
    if least < count:
        notes.append(f"it found {least} of {count} in one run")
    if ours < count:
        notes.append(f"WE FOUND {ours} of {count} within {PATIENCE} s in one run")
    return Row(
        f"{count} services resolved, {kind} / avahi-browse -rt",
        statistics.median(run["seconds"] for run in pairs["engine"]), "s",
        statistics.median(run["exit"] for run in whole), bar=(COLD_BARS if kind == "cold" else WARM_BARS).get(count),
        compared="ratio", note="; ".join(notes),
    )


def _newcomer(programs, studio):
    """The seconds from a good unit's announcement until the engine has resolved it, and the engine's own figures."""
    reader = Reader(studio, [programs.path("bench_discovery"), 1, PATIENCE])
    time.sleep(NEWCOMER_AFTER)
    studio.do("announce", unit="good")
    announced = reader.now()
    (resolved, when), *_ = [(json.loads(line), at) for line, at in reader.lines()]
    reader.end()
    studio.do("goodbye", unit="good")
    time.sleep(PAUSE)
    if not resolved["resolved"]:
        raise RuntimeError(f"the good unit was not found within {PATIENCE} s")
    return {**resolved, "seconds": when - announced}


def _newcomers(programs):
    rows, raw = [], {}
    for count in programs.pick((0, 60, 150, 300, 900), (0, 60, 300)):
        with Studio({"unit": [{"name": "Good", "announced": False}]}) as studio:
            mdns.send(studio, *mdns.dead(*(f"Dead {n}" for n in range(count))))
            time.sleep(PAUSE)
            runs = raw[f"newcomer among {count}"] = [_newcomer(programs, studio) for _ in range(programs.pick(5, 2))]
        rows.append(Row(
            f"a good unit among {count} dead services seen, longest", max(run["seconds"] for run in runs), "s",
            bar=NEWCOMER_BARS[count],
        ))
    return rows, raw


def discovery(programs):
    rows, raw, destructors = [], {}, []
    for count in programs.pick((10, 100, 300, 1000), (10, 100, 300)):
        with _studio(count) as studio:
            _wait_until_announced(studio, count)
            for kind in ("cold", "warm"):
                pairs = _pairs(programs, studio, count, kind == "cold", programs.pick(5, 2))
                raw[f"{count} {kind}"] = pairs
                rows.append(_row(count, kind, pairs))
                destructors += [run["destructor"] for run in pairs["engine"]]
                processor = statistics.median(run["processor"] for run in pairs["engine"])
                rows.append(Row(f"{count} services resolved, {kind}, own processor time", processor * 1e3, "ms"))
            if count == 300:
                studio.do("responder", op="restart")
                midst = [_engine(programs, studio, count, 0.1 * (i + 1)) for i in range(programs.pick(10, 4))]
                raw["destroyed in the midst of 300"] = midst
    rows.append(Row("engine's destructor, idle, longest", max(destructors) * 1e3, "ms", bar=DESTRUCTION_BAR))
    longest = max(run["destructor"] for run in midst) * 1e3
    rows.append(Row("engine's destructor, in the midst of 300, longest", longest, "ms", bar=DESTRUCTION_BAR))
    rows.append(Row("connections to the bus, in the midst of 300", max(run["connections"] for run in midst), "", bar=1))
    rows.append(Row("threads, in the midst of 300", max(run["threads"] for run in midst), "", bar=THREADS_BAR))
    newcomers, raw_newcomers = _newcomers(programs)
    return rows + newcomers, {**raw, **raw_newcomers}


def _watch(programs, studio, count):
    """The times of three lists: the first one, the first one with a unit, and the first one with every unit's
    firmware.
    """
    tool = programs.folder / "bin" / "vorn-device-list"
    reader = Reader(studio, [tool, "--watch", "--json"])
    times = {}
    for line, when in reader.lines():
        units = json.loads(line)["units"]
        times.setdefault("list", when)
        if units:
            times.setdefault("unit", when)
        if len([unit for unit in units if unit["firmwareVersion"]]) >= count:
            times["complete"] = when
            break
        if when > PATIENCE:
            raise RuntimeError(f"the list is not complete after {when:.0f} s: {line}")
    reader.stop()
    return times


def first_list(programs):
    count = 10
    ours, theirs = [], []
    with Studio({"many": [{"count": count, "name": "Unit {n}"}]}) as studio:
        time.sleep(SETTLE)
        for _ in range(programs.pick(10, 3)):
            time.sleep(PAUSE)
            ours.append(_watch(programs, studio, count))
            time.sleep(PAUSE)
            theirs.append(_browse(studio))
    reference = statistics.median(run["exit"] for run in theirs)
    last = statistics.median(run["last"] or 0 for run in theirs)
    names = {"list": "first list", "unit": "first list with a unit", "complete": f"all {count} units with firmware"}
    rows = [
        Row(
            f"start to {name} / avahi-browse -rt", statistics.median(run[key] for run in ours), "s", reference,
            note=f"its last line after {last:.2f} s" if key == "complete" else "",
        )
        for key, name in names.items()
    ]
    return rows, {"vorn-device-list": ours, "browse": theirs}
