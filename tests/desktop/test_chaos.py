"""Both programs among random faults of everything around them. Whenever the network rests, their lists must be true;
nothing may grow; and the main loop must never stand still.

VORN_CHAOS_SEED chooses what happens, VORN_CHAOS_SECONDS how long.
"""

import collections
import contextlib
import os
import random
import time

import pytest
from chaos import RELEASES, Chaos, scenario
from finder import BUILD, ITEM, Finder
from program import ListProgram
from vitals import Figures, Heartbeat, growth
from vorndesktop import DesktopError
from vornstudio import Studio

SEED = int(os.environ.get("VORN_CHAOS_SEED") or time.time())
SECONDS = float(os.environ.get("VORN_CHAOS_SECONDS", "60"))
STEPS = 8  # between two rests
FEWEST_RESTS = 4
PATIENCE = 240.0  # seconds until every list is true: an address that nobody withdrew is believed for 120 s
LONGEST_STALL = 2.0  # seconds
MOST_NAMED = 12  # the most devices that the status item's menu names
MORE_MEMORY = int(os.environ.get("VORN_CHAOS_MEMORY", "512"))  # KiB that the allocator may keep more
MORE_THREADS = 2
MORE_DESCRIPTORS = 3


@pytest.fixture
def programs(desktop):
    """Both programs, started, in a studio of units of every kind."""
    with Studio(scenario()) as studio, contextlib.closing(Finder(desktop, studio)) as finder:
        desktop.start_xfce_panel()
        finder.start_and_find(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="0")
        with ListProgram(studio) as terminal:
            yield Programs(finder, terminal)


class Programs:
    """Both programs, and the network that their lists must show."""

    def __init__(self, finder, terminal):
        self.finder, self.terminal, self.studio = finder, terminal, finder.studio
        self._log_size = 0

    def wait(self, condition, what):
        """Waits for the condition, as long as both programs live."""
        self.finder.wait(lambda: self.terminal.latest() is not None and condition(), what, PATIENCE)

    def wait_for_truth(self):
        try:
            self.wait(lambda: self._listed() == self._announced(), "a true list in the terminal")
        except DesktopError as error:
            listed, announced = set(self._listed().items()), set(self._announced().items())
            raise AssertionError(f"{error}: listed {listed - announced}, announced {announced - listed}") from None
        self.wait(self._newest_are_true, "true newest versions")
        try:
            self.wait(self._menu_is_true, "a true list in the menu")
        except DesktopError as error:
            shown, expected = self._menu()
            raise AssertionError(f"{error}: shown {sorted(shown)}, expected {sorted(expected.items())}") from None

    def _announced(self):
        """What the network announces, by URL: name, type, uid, model, firmware."""
        present = [unit for unit in self.studio.units() if unit["announced"]]
        own = {unit["uids"][0] for unit in present if unit["kind"] == "plexadevice"}
        return {
            unit["url"] + (f"{device['uid']}/" if unit["kind"] == "plexahost" else ""):
                (device["name"], unit["kind"], device["uid"], device["model"], device["firmware"])
            for unit in present for device in unit["devices"]
            if unit["kind"] != "plexahost" or device["uid"] not in own
        }

    def _listed(self):
        return {
            url: tuple(unit[member] for member in ("name", "type", "uid", "modelID", "firmwareVersion"))
            for url, unit in self.terminal.latest().items()
        }

    def _newest_are_true(self):
        """The programs ask once in ten minutes. So any release may be the newest that they know, but they know one."""
        return all(
            unit["latestVersion"] in RELEASES
            and unit["updateAvailable"] == (unit["firmwareVersion"] < unit["latestVersion"])
            for unit in self.terminal.latest().values()
        )

    def _menu_is_true(self):
        shown, expected = self._menu()
        count = [f"All Devices ({len(expected)})..."] if len(expected) > MOST_NAMED else []
        named = shown[:len(shown) - len(count)]
        outdated = ["(update " in title for title in named]
        return (
            shown == named + count
            and len(named) == min(len(expected), MOST_NAMED)
            and all(_is_entry_of(title, expected) for title in named)
            and outdated == sorted(outdated, reverse=True)
        )

    def _menu(self):
        """The titles of the units in the menu, and the firmware of those that must be there by name."""
        entries = {entry["title"]: entry for entry in self.finder.menu()}
        switches = entries["Show Switches"]["checked"]
        expected = {
            _short(name): firmware for name, kind, _, _, firmware in self._announced().values()
            if switches or kind != "plexaswitch"
        }
        return [title for title in entries if title.startswith(("Unit ", "All Devices "))], expected

    def wait_for_polls(self, count):
        """Waits until both programs have asked every unit so many times more."""
        self._log_size += len(self.studio.log(self._log_size))
        units = self.studio.units()
        paths = {(unit["id"], uid) for unit in units for uid in unit["uids"]}
        asked = collections.Counter()

        def all_asked():
            entries = self.studio.log(self._log_size)
            self._log_size += len(entries)
            asked.update(_unit_asked(entry, units) for entry in entries if entry["event"] == "request")
            return min(asked[path] for path in paths) >= 2 * count

        self.wait(all_asked, f"{count} polls of every unit")

    def end(self):
        """Ends both programs, which must have nothing to complain about."""
        self.finder.end()
        assert self.terminal.end()[1] == 0

    def figures(self):
        return [Figures(self.studio, process.pid) for process in (self.finder.process, self.terminal.process)]


def _unit_asked(request, units):
    """The unit and the uid that a request is about."""
    unit = next((unit for unit in units if unit["id"] == request["unit"]), None)
    uids = unit["uids"] if unit else []
    return request["unit"], next((uid for uid in uids if uid in request["path"]), uids[0] if uids else None)


def _short(name):
    """As the menu shows it."""
    return name if len(name) <= 60 else name[:59] + "\u2026"


def _is_entry_of(title, expected):
    name, _, update = title.partition(" (update ")
    if name not in expected:
        return False
    newer = {release.split("+")[0] for release in RELEASES if release > expected[name]}
    return update.removesuffix(" available)") in newer | ({""} if len(newer) < len(RELEASES) else set())


def rest(programs, chaos):
    """Lets the network rest twice, first without what has gone; returns the figures of both programs when they no
    longer change."""
    chaos.quieten()
    programs.wait_for_truth()
    chaos.return_all()
    programs.wait_for_truth()
    programs.wait_for_polls(2)
    figures = [programs.figures()]

    def still():
        programs.wait_for_polls(1)
        figures.append(programs.figures())
        return all(after.threads == before.threads and after.descriptors == before.descriptors
                   for before, after in zip(figures[-2], figures[-1]))

    programs.wait(still, "the programs to come to rest")
    del programs.terminal.lists[:-1]
    return figures[-1]


def shake(programs, chaos):
    """Returns the figures of both programs at each rest, without the first quarter, in which everything happens for the
    first time."""
    rest(programs, chaos)
    end, rests = time.monotonic() + SECONDS, []
    while time.monotonic() < end or len(rests) < FEWEST_RESTS:
        for _ in range(STEPS):
            chaos.step()
        rests.append(rest(programs, chaos))
        print(f"{chaos.count} things done; application {rests[-1][0]}; terminal {rests[-1][1]}", flush=True)
    return rests[len(rests) // 4:]


def judge(name, figures):
    """Nothing has grown by more than its bound between the first and the last third."""
    memory = growth([one.memory for one in figures])
    threads = growth([one.threads for one in figures])
    descriptors = growth([one.descriptors for one in figures])
    print(f"{name}: {memory:+g} KiB, {threads:+g} threads, {descriptors:+g} descriptors")
    assert memory <= MORE_MEMORY, f"{name}: memory grows: {[one.memory for one in figures]}"
    assert threads <= MORE_THREADS, f"{name}: threads grow: {[one.threads for one in figures]}"
    assert descriptors <= MORE_DESCRIPTORS, f"{name}: descriptors grow: {[one.descriptors for one in figures]}"


def test_chaos_costs_nothing_and_lists_stay_true(programs):
    print(f"\nchaos of {SECONDS:g} s, seed {SEED}, {BUILD}")
    chaos = Chaos(programs.finder, random.Random(SEED))
    name, path = programs.finder.item()
    with chaos.told(SEED), Heartbeat(programs.finder.desktop.bus_address, name, "/" + path, ITEM, "Id") as heartbeat:
        rests = shake(programs, chaos)
    print(f"longest stall {heartbeat.longest * 1000:.0f} ms in {heartbeat.count} answers")
    for number, program in enumerate(("application", "terminal program")):
        judge(program, [figures[number] for figures in rests])
    assert heartbeat.failure is None
    assert heartbeat.longest < LONGEST_STALL
    programs.end()
