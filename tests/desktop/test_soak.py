"""The program runs alone on a restless network while its panel opens and closes. Nothing may grow."""

import collections
import os
import re
import time

SECONDS = float(os.environ.get("VORN_SOAK_SECONDS", "30"))
SETTLING = min(SECONDS / 3, 60.0)  # time for what is made once: fonts, icons, the allocator's arenas
STEADY = 20
FLAPPING = 3
MEMORY_ALLOWANCE = 2048  # KiB; a page of glyphs or an arena may still come
MEMORY_PER_MINUTE = 256  # KiB
WORKERS = ("vorn-high", "vorn-default")


class Figures:
    """The memory, threads and descriptors of the process at one moment."""

    def __init__(self, finder):
        pid = finder.process.pid
        status = finder.studio.ask("read_process", pid=pid, name="status")
        self.memory = int(re.search(r"^VmRSS:\s+(\d+)", status, re.M).group(1))
        names = finder.studio.ask("thread_names", pid=pid)
        # The number of workers depends on chance: it is the most that ever worked at the same time. It has its own
        # limit.
        self.threads = sum(name not in WORKERS for name in names)
        self.descriptors = finder.studio.ask("count_descriptors", pid=pid)

    def __str__(self):
        return f"{self.memory} KiB resident, {self.threads} threads, {self.descriptors} descriptors"


class Unrest:
    """Each step changes one thing on the network and restores another, so that the same units return."""

    def __init__(self, studio):
        self._studio = studio
        self._steps = 0

    def step(self):
        turn, away = divmod(self._steps, 2)
        unit = f"flapping-{turn % FLAPPING + 1}"
        self._studio.do("goodbye" if away == 0 else "announce", unit=unit)
        self._studio.do("rename", unit="steady-01", name=f"Steady 01 {'ab'[away]}")
        self._steps += 1

    def end(self):
        """Restores everything."""
        if self._steps % 2:
            self.step()


def wait_until_all_are_listed(finder):
    def count():
        return sum(entry["title"].startswith(("Steady ", "Flapping ")) for entry in finder.menu())

    finder.wait(lambda: count() == STEADY + FLAPPING, "all units", 90)


def wait_for_polls(finder, count):
    """Waits until every unit has been asked so many times more."""
    units = {unit["id"] for unit in finder.studio.units()}
    since = len(finder.studio.log())

    def asked():
        requests = collections.Counter(request["unit"] for request in finder.studio.requests(since=since))
        return min(requests[unit] for unit in units)

    finder.wait(lambda: asked() >= count, f"{count} polls of every unit", 90)


def rest(finder):
    """The figures with a closed panel and all units listed, when they no longer change."""
    wait_until_all_are_listed(finder)
    wait_for_polls(finder, 2)
    figures = [Figures(finder)]

    def still():
        wait_for_polls(finder, 1)
        figures.append(Figures(finder))
        return figures[-1].threads == figures[-2].threads and figures[-1].descriptors == figures[-2].descriptors

    finder.wait(still, "the program to come to rest", 90)
    return figures[-1]


def shake(finder, unrest, seconds):
    """Opens and closes the panel, as often as clicks are not double clicks, and lets the network change; returns how
    often it was open."""
    openings, end = 0, time.monotonic() + seconds
    while time.monotonic() < end:
        finder.activate_item()
        if openings % 2 == 0:
            unrest.step()
        finder.wait(lambda: finder.window() and finder.desktop.focused_window() == finder.window(), "the panel's focus")
        finder.desktop.key("Escape")
        finder.wait_until_closed()
        openings += 1
    unrest.end()
    return openings


def test_nothing_grows(finder):
    finder.studio.add(*[{"name": f"Steady {n:02}", "model": "Vorn 16A"} for n in range(1, STEADY + 1)])
    finder.studio.add(*[{"name": f"Flapping {n}", "model": "Vorn 16A"} for n in range(1, FLAPPING + 1)])
    finder.desktop.start_xfce_panel()
    finder.start_and_find(QT_LINUX_ACCESSIBILITY_ALWAYS_ON="0")
    unrest = Unrest(finder.studio)
    wait_until_all_are_listed(finder)
    shake(finder, unrest, SETTLING)
    before = rest(finder)
    openings = shake(finder, unrest, SECONDS)
    after = rest(finder)
    print(f"\nsoak of {SECONDS:g} s, {openings} openings: before {before}; after {after}")
    assert after.threads <= before.threads
    assert after.descriptors <= before.descriptors
    assert after.memory <= before.memory + MEMORY_ALLOWANCE + MEMORY_PER_MINUTE * SECONDS / 60
