"""The terminal program at work in a studio: its JSON lines as they come."""

import json
import os
import signal
import subprocess
import threading
import time

BINARY = os.environ.get("VORN_DEVICE_LIST", "")
PATIENCE = 40.0  # seconds to wait for an event, on a busy machine


class ListProgram:
    """`vorn-device-list --watch --json` running in a studio.

    `lists` has (time of arrival, units by URL) for each line so far. A line that is not the expected JSON object
    fails the test that reads it.
    """

    def __init__(self, studio, *options, stderr=subprocess.PIPE):
        self._studio = studio
        self.lists = []
        self.errors = []
        self._problem = None
        command = [BINARY, "--watch", "--json", *options]
        self.process = studio.popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=stderr)
        self._readers = [threading.Thread(target=self._read_lists), threading.Thread(target=self._read_errors)]
        for reader in self._readers:
            reader.start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        for reader in self._readers:
            reader.join(PATIENCE)
        self.process.stdout.close()
        self.process.stderr.close()

    def _read_lists(self):
        for line in _lines(self.process.stdout):
            try:
                units = json.loads(line)["units"]
                self.lists.append((time.monotonic(), {unit["url"]: unit for unit in units}))
            except (ValueError, KeyError, TypeError) as error:
                self._problem = f"not a list: {line!r}: {error}"

    def _read_errors(self):
        for line in _lines(self.process.stderr):
            self.errors.append(line.decode(errors="replace").rstrip())

    def latest(self):
        """The units of the newest list by URL; empty before the first list."""
        assert self._problem is None, self._problem
        assert self.process.poll() is None, f"the program has ended with {self.process.poll()}: {self.errors}"
        return self.lists[-1][1] if self.lists else {}

    def names(self):
        return sorted(unit["name"] for unit in self.latest().values())

    def unit(self, name):
        return next((unit for unit in self.latest().values() if unit["name"] == name), None)

    def wait_for(self, condition, what, timeout=PATIENCE):
        """Waits until `condition()` is true. A failure shows the newest list."""
        try:
            return self._studio.wait_until(condition, timeout, what)
        except TimeoutError as error:
            names = self.names()
            shown = f"{len(names)} units, {names[:20]}"
            raise AssertionError(f"{error}; the newest list has {shown}; it said {self.errors}") from None

    def wait_for_names(self, *names):
        self.wait_for(lambda: self.names() == sorted(names), f"the names {sorted(names)}")

    def end(self, number=signal.SIGTERM):
        """Sends the signal. Returns the time until the program ended, and its exit status.

        The time that the busy machine adds is subtracted. It is the longer one of two: a program that dies at once is
        timed just before and just after.
        """
        simple = [self._studio.popen(["sleep", "1000"]) for _ in range(2)]
        before, _ = _end(simple[0], number)
        seconds, code = _end(self.process, number)
        after, _ = _end(simple[1], number)
        return max(0.0, seconds - max(before, after)), code


def _end(process, number):
    started = time.monotonic()
    process.send_signal(number)
    code = process.wait(PATIENCE)
    return time.monotonic() - started, code


def _lines(stream):
    buffer = b""
    while chunk := stream.read(65536):
        *lines, buffer = (buffer + chunk).split(b"\n")
        yield from lines
    if buffer:
        yield buffer


def header(request, name):
    """All values of a header field, as sent."""
    return [value for key, value in request["headers"] if key.lower() == name.lower()]


def paths(requests):
    return [request["path"] for request in requests]


def gaps(requests):
    """The seconds between the answer to a request and the arrival of the next."""
    return [after["t"] - before["answered"] for before, after in zip(requests, requests[1:])]


def assert_pace(requests, period=3.0):
    """The pause is never shorter than the period, and usually not much longer."""
    pauses = gaps(requests)
    assert len(pauses) >= 2, requests
    assert min(pauses) > period - 0.02, pauses
    assert sorted(pauses)[len(pauses) // 2] < period + 0.7, pauses
