"""What a program under stress costs: memory, threads and descriptors, and how long its main loop is busy."""

import pathlib
import re
import statistics
import threading
import time

import dbus
import dbus.bus

WORKERS = ("vorn-high", "vorn-default")
PACE = 0.05  # seconds between two questions to the main loop
LONGEST_ANSWER = 60.0  # seconds


class Figures:
    """The memory, threads and descriptors of a process of the studio at one moment."""

    def __init__(self, studio, pid):
        status = studio.ask("read_process", pid=pid, name="status")
        self.memory = int(re.search(r"^RssAnon:\s+(\d+)", status, re.M).group(1))  # KiB
        names = studio.ask("thread_names", pid=pid)
        # The number of workers depends on chance: it is the most that ever worked at the same time. It has its own
        # limit.
        self.threads = sum(name not in WORKERS for name in names)
        self.descriptors = studio.ask("count_descriptors", pid=pid)

    def __str__(self):
        return f"{self.memory} KiB, {self.threads} threads, {self.descriptors} descriptors"


def growth(values):
    """How much the last third of the values is more than the first third, by their medians.

    From nine values on, a single high or low one cannot decide. With fewer values, a third has one or two, and each of
    them counts: the bound must leave room for it.
    """
    third = len(values) // 3
    return statistics.median(values[-third:]) - statistics.median(values[:third])


class Heartbeat:
    """Asks the application's main loop for a property on the bus, again and again.

    `longest` is the longest time, in seconds, that an answer took. The time in which the busy machine let the threads
    on its way wait for a processor does not count: the main thread and the bus thread of the program, the bus itself,
    and the thread that asks. If one of them waits for another thread, that thread's time counts. `failure` is what
    ended the questions too early.
    """

    def __init__(self, address, name, path, interface, member):
        self.longest = 0.0
        self.count = 0
        self.failure = None
        self._address, self._name, self._path = address, name, path
        self._question = (interface, member)
        self._stop = threading.Event()
        self._thread = threading.Thread(target=self._run)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._stop.set()
        self._thread.join(2 * LONGEST_ANSWER)

    def _run(self):
        try:
            bus = dbus.bus.BusConnection(self._address)
            self._waiting = [
                *_schedules(self._pid(bus, self._name), "QDBusConnection"),
                f"/proc/{self._pid(bus, self._name)}/schedstat", f"/proc/{self._pid(bus, dbus.BUS_DAEMON_NAME)}/schedstat",
                f"/proc/self/task/{threading.get_native_id()}/schedstat",
            ]
            while not self._stop.wait(PACE):
                self._ask(bus)
            bus.close()
        except Exception as error:
            self.failure = error

    @staticmethod
    def _pid(bus, name):
        return bus.call_blocking(dbus.BUS_DAEMON_NAME, dbus.BUS_DAEMON_PATH, dbus.BUS_DAEMON_IFACE,
                                 "GetConnectionUnixProcessID", "s", (name,))

    def _ask(self, bus):
        waited, before = self._waited(), time.monotonic()
        bus.call_blocking(self._name, self._path, dbus.PROPERTIES_IFACE, "Get", "ss", self._question,
                          timeout=LONGEST_ANSWER)
        took = time.monotonic() - before
        self.longest = max(self.longest, took - (self._waited() - waited))
        self.count += 1

    def _waited(self):
        """The seconds that the threads on the way of an answer could run and had no processor."""
        return sum(int(pathlib.Path(path).read_text().split()[1]) for path in self._waiting) / 1e9


def _schedules(pid, name):
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        if (task / "comm").read_text().strip().startswith(name[:15]):
            yield task / "schedstat"
