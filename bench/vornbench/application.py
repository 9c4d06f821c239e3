"""The figures of the application, beside those of the smallest Qt program with a status item.

Both run on the same virtual desktop, in the same studio, in turns.
"""

import contextlib
import json
import os
import pathlib
import re
import select
import signal
import statistics
import subprocess
import tempfile
import time

from vorndesktop import Application, VirtualDesktop, wait_until
from vornstudio.client import Studio

from .core import write_large_settings
from .report import Row

WATCHER = "org.kde.StatusNotifierWatcher"
ITEM = "org.kde.StatusNotifierItem"
PATIENCE = 60.0  # seconds
# How much more than the minimal tray. This is a difference, because both contain the toolkit's share. That share
# depends on the desktop's theme, and so a ratio would depend on it too.
START_BAR = 15  # ms
MEMORY_BAR = 10  # MiB
SETTINGS_BAR = 100  # ms more with the largest settings
FEW, MANY = 30, 300
MOST = 2000  # units, whose names are as long as they can be and change with each poll
STALL_BAR = 50  # ms
REST = 6.0  # seconds until the start has settled: two polls of every unit

# The moment of the exec, reported by the process itself. So the time that the studio needs does not count.
TELL_AND_BECOME = 'echo "$EPOCHREALTIME"; exec "$0"'


class Bar:
    """The part of a desktop's session bus that the bar and its items use."""

    def __init__(self, desktop):
        import dbus  # imported here, so that the other figures do not need it
        import dbus.bus

        self._error = dbus.DBusException
        self._bus = dbus.bus.BusConnection(desktop.bus_address)
        self._monitor = desktop.start(
            ["dbus-monitor", "--address", desktop.bus_address, "--profile",
             f"type='method_call',interface='{WATCHER}',member='RegisterStatusNotifierItem'"],
            stdout=subprocess.PIPE,
        )
        self._rest = b""
        time.sleep(1)  # the object's own calls, until it listens

    def next_registration(self):
        """When the next item registered with the bar, in seconds of the epoch."""
        end = time.monotonic() + PATIENCE
        while True:
            while b"\n" in self._rest:
                line, self._rest = self._rest.split(b"\n", 1)
                if b"RegisterStatusNotifierItem" in line:
                    return float(line.split()[1])
            if not select.select([self._monitor.stdout], [], [], max(0.0, end - time.monotonic()))[0]:
                raise RuntimeError("no item has come into the bar")
            self._rest += os.read(self._monitor.stdout.fileno(), 65536)

    def item(self):
        """The connection and the path of the one item; None if there is none."""
        known = self._property(WATCHER, "/StatusNotifierWatcher", WATCHER, "RegisteredStatusNotifierItems")
        return str(known[0]).partition("/")[::2] if known else None

    def units(self):
        """How many units the item's menu lists. If it does not name all of them, it says how many there are."""
        try:
            connection, path = self.item()
            menu = str(self._property(connection, "/" + path, ITEM, "Menu"))
            _, (_, _, entries) = self._bus.call_blocking(
                connection, menu, "com.canonical.dbusmenu", "GetLayout", "iias", (0, -1, [])
            )
            shown = [str(properties.get("label", "")) for _, properties, _ in entries if properties.get("visible", True)]
            counts = [int(found[1]) for label in shown if (found := re.match(r"All Devices \((\d+)\)", label))]
            return counts[0] if counts else sum("Unit " in label for label in shown)
        except (self._error, TypeError):
            return 0  # the item is still being made

    def click(self):
        connection, path = self.item()
        self._bus.call_blocking(connection, "/" + path, ITEM, "Activate", "ii", (0, 0))

    def _property(self, service, path, interface, name):
        return self._bus.call_blocking(
            service, path, "org.freedesktop.DBus.Properties", "Get", "ss", (interface, name)
        )


class Stage:
    """A desktop with a bar and a studio of units; one program at a time runs on it."""

    def __init__(self, desktop, bar, studio):
        self.desktop, self.bar, self.studio = desktop, bar, studio
        self._process = None

    @contextlib.contextmanager
    def running(self, program):
        """Starts a program, ends it, and returns the seconds from its exec to its item."""
        self._process = self.studio.popen(
            ["bash", "-c", TELL_AND_BECOME, program], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL, env={**self.desktop.environment, "QT_QPA_PLATFORMTHEME": ""},
        )
        try:
            started = float(self._process.stdout.read(64).split()[0])
            yield self.bar.next_registration() - started
            if self._process.poll() is not None:
                raise RuntimeError(f"{program} has ended with {self._process.poll()} while it was measured")
        finally:
            self._process.send_signal(signal.SIGTERM)
            self._process.wait(PATIENCE)
            self._process.stdout.close()
            wait_until(lambda: not self.bar.item(), "the item's end", PATIENCE)

    def use_settings(self, path):
        """The next program starts with a copy of that file."""
        copy = 'folder=$HOME/.config/vorn-device-finder; mkdir -p "$folder" && cp "$0" "$folder/settings.conf"'
        if self.studio.run(["sh", "-c", copy, path]).returncode != 0:
            raise RuntimeError("the settings cannot be written")

    def wait_for_units(self, count):
        wait_until(lambda: self.bar.units() >= count, f"{count} units in the menu", PATIENCE)

    def panel_is_open(self):
        return any(
            (self.desktop.geometry(window) or (0, 0, 0, 0))[3] > 100
            for window in self.desktop.windows("^Vorn Device Finder$")
        )

    def memory(self):
        """The memory of the process, in KiB."""
        text = self._read("smaps_rollup")
        return {key.lower(): int(value) for key, value in re.findall(r"^(\w+):\s+(\d+) kB$", text, re.M)}

    def wakeups(self, seconds):
        """Voluntary switches of all threads together, per second."""
        before, start = self._switches(), time.monotonic()
        time.sleep(seconds)
        after, end = self._switches(), time.monotonic()
        return sum(count - before.get(thread, 0) for thread, count in after.items()) / (end - start)

    def processor(self, seconds):
        """Percent of one core."""
        before, start = self._ticks(), time.monotonic()
        time.sleep(seconds)
        after, end = self._ticks(), time.monotonic()
        return 100 * (after - before) / os.sysconf("SC_CLK_TCK") / (end - start)

    def _switches(self):
        tasks = self.studio.run(["ls", f"/proc/{self._process.pid}/task"]).stdout.split()
        done = self.studio.run(["sh", "-c", f"cat /proc/{self._process.pid}/task/*/status"])
        pairs = re.findall(r"^Pid:\s+(\d+).*?^voluntary_ctxt_switches:\s+(\d+)", done.stdout, re.M | re.S)
        if not tasks or len(pairs) < len(tasks) / 2:
            raise RuntimeError("the threads' counters cannot be read")
        return {thread: int(count) for thread, count in pairs}

    def _ticks(self):
        fields = self._read("stat").rpartition(")")[2].split()
        return int(fields[11]) + int(fields[12])

    def _read(self, name):
        return self.studio.ask("read_process", pid=self._process.pid, name=name)


@contextlib.contextmanager
def _desktop(finder):
    with VirtualDesktop(1280, 800) as desktop:
        desktop.start_screen()
        desktop.start_bus()
        desktop.start_window_manager()
        finder.install_icons(desktop)
        desktop.start_xfce_panel()
        yield desktop


def _announced(count):
    """A studio whose responder has announced all its units."""
    units = {"count": count, "name": "Unit {n:03}", "model": "Vorn 16A", "firmware": "1.4.2+311", "announcer": "avahi"}
    return Studio({"releases": {"Vorn 16A": "1.4.2+311"}, "many": [units]} if count else {})


def _in_turns(ours, theirs, rounds):
    for number in range(rounds):
        pair = [("ours", ours), ("theirs", theirs)]
        if number % 2:
            pair.reverse()
        for side, program in pair:
            yield number, side, program


def _alternately(stage, ours, theirs, programs):
    """Starts and memory of both programs with some units, and the wake-ups of the last run."""
    starts, memory, wakeups = {"ours": [], "theirs": []}, {"ours": [], "theirs": []}, {}
    # The first runs do not count: they fill the page cache and write the first run's files.
    for number, who, program in _in_turns(ours, theirs, 1 + programs.pick(20, 6)):
        with stage.running(program) as seconds:
            time.sleep(0.5 if number else 1)
            if number:
                starts[who].append(seconds)
    repetitions = programs.pick(5, 2)
    for repetition, who, program in _in_turns(ours, theirs, repetitions):
        with stage.running(program):
            if who == "ours":
                stage.wait_for_units(FEW)
            time.sleep(REST)
            memory[who].append(stage.memory())
            if repetition == repetitions - 1:
                wakeups[who] = stage.wakeups(programs.pick(10, 5))
    return {"startSeconds": starts, "memoryKiB": memory, f"wakeups{FEW}": wakeups}


def _with_large_settings(stage, ours, programs):
    """Starts with few settings and with the most that strangers may have added in years, in turns."""
    starts = {"few": [], "large": []}
    with tempfile.TemporaryDirectory() as folder:
        files = {kind: pathlib.Path(folder, kind) for kind in starts}
        files["few"].write_text("[General]\nAlreadyRun=true\n")
        write_large_settings(files["large"])
        for number in range(2 * programs.pick(20, 6)):
            kind = "large" if number % 2 else "few"
            stage.use_settings(files[kind])
            with stage.running(ours) as seconds:
                time.sleep(0.5)
                starts[kind].append(seconds)
        stage.use_settings(files["few"])
    return starts


def _with_many(stage, ours, programs):
    with stage.running(ours):
        stage.wait_for_units(MANY)
        time.sleep(REST)
        raw = {"memoryKiB": stage.memory(), "closed": stage.processor(programs.pick(15, 6))}
        stage.bar.click()
        wait_until(stage.panel_is_open, "the panel")
        time.sleep(1)
        raw["open"] = stage.processor(programs.pick(15, 6))
        if not stage.panel_is_open():
            raise RuntimeError("the panel has closed while it was measured")
        return raw


def _idle(stage, program, programs):
    with stage.running(program):
        time.sleep(REST)
        return stage.wakeups(programs.pick(10, 5))


def _take(programs):
    finder = Application(programs.folder)
    ours, theirs = finder.program.resolve(), (programs.folder / "bench" / "app" / "minimal-tray").resolve()
    with _desktop(finder) as desktop:
        bar = Bar(desktop)
        with _announced(FEW) as studio:
            raw = _alternately(Stage(desktop, bar, studio), ours, theirs, programs)
        with _announced(0) as studio:
            stage = Stage(desktop, bar, studio)
            raw["settingsStartSeconds"] = _with_large_settings(stage, ours, programs)
            raw["wakeups0"] = {"ours": _idle(stage, ours, programs), "theirs": _idle(stage, theirs, programs)}
        with _announced(MANY) as studio:
            raw["many"] = _with_many(Stage(desktop, bar, studio), ours, programs)
    return raw


def figures(programs):
    raw = _take(programs)

    def median(who, key):
        return statistics.median(run[key] for run in raw["memoryKiB"][who]) / 1024

    starts = {who: 1e3 * statistics.median(times) for who, times in raw["startSeconds"].items()}
    rows = [
        Row("start to icon / minimal tray", starts["ours"], "ms", starts["theirs"], bar=START_BAR,
            compared="difference"),
        Row(
            f"resident, {FEW} units / minimal tray", median("ours", "rss"), "MiB", median("theirs", "rss"),
            bar=MEMORY_BAR, compared="difference",
        ),
        Row(f"proportional share of that, {FEW} units / minimal tray", median("ours", "pss"), "MiB",
            median("theirs", "pss")),
        Row(f"anonymous memory of that, {FEW} units / minimal tray", median("ours", "anonymous"), "MiB",
            median("theirs", "anonymous")),
        Row(f"resident, {MANY} units", raw["many"]["memoryKiB"]["rss"] / 1024, "MiB"),
    ]
    with_settings = {kind: 1e3 * statistics.median(times) for kind, times in raw["settingsStartSeconds"].items()}
    rows.append(Row("start to icon with 14 MB of settings / with few", with_settings["large"], "ms",
                    with_settings["few"], bar=SETTINGS_BAR, compared="difference"))
    for count in (0, FEW):
        wakeups = raw[f"wakeups{count}"]
        rows.append(Row(f"wake-ups, {count} units / minimal tray", wakeups["ours"], "a second", wakeups["theirs"]))
    for state in ("closed", "open"):
        rows.append(Row(f"processor, {MANY} units, panel {state}", raw["many"][state], "% of a core"))
    return rows, raw


def stall(programs):
    """How long the main loop does nothing else while a full network changes. The program measures itself."""
    command = [programs.folder / "bench" / "app" / "loop-stall", MOST, programs.pick(30, 10)]
    with _desktop(Application(programs.folder)) as desktop:
        desktop.start_notification_server()
        done = subprocess.run(
            [str(word) for word in command], env={**desktop.environment, "QT_QPA_PLATFORMTHEME": ""},
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=300, check=False,
        )
    if done.returncode != 0:
        raise RuntimeError(f"loop-stall: {done.stderr.strip() or done.returncode}")
    raw = json.loads(done.stdout)
    # Processor time, because other programs on the machine take the processor from the loop too.
    rows = [
        Row(f"loop's longest stall, {MOST} units under change, panel open, processor time",
            raw["change"]["processor"], "ms", bar=STALL_BAR, note=f"elapsed: {raw['change']['elapsed']:.0f} ms"),
        Row(f"the same while the {MOST} units are found", raw["found"]["processor"], "ms",
            note=f"elapsed: {raw['found']['elapsed']:.0f} ms"),
        Row(f"the same while the panel opens with {MOST} units", raw["opening"]["processor"], "ms",
            note=f"elapsed: {raw['opening']['elapsed']:.0f} ms"),
    ]
    return rows, raw
