"""The studio from outside: a context manager that starts one, changes it live and runs programs in it."""

import os
import select
import signal
import socket
import subprocess
import sys
import threading
import time

from . import requirements, scenario, wire

PACKAGE_FOLDER = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


class StudioError(RuntimeError):
    """The studio could not do what the caller asked."""


class StudioUnavailable(StudioError):
    """The machine lacks something that a studio needs; `missing` has one line for each."""

    def __init__(self, missing):
        super().__init__("; ".join(missing))
        self.missing = missing


class Process:
    """A program that runs in the studio. `stdout` and `stderr` are binary files if the caller asked for them."""

    def __init__(self, studio, pid, told, stdout, stderr):
        self.pid = pid
        self.stdout = stdout
        self.stderr = stderr
        self.returncode = None
        self._studio = studio
        self._told = told

    def poll(self):
        """The exit status, negative for a signal; None while it runs; -9 if the studio died with it."""
        return self._read(0)

    def wait(self, timeout=None):
        """Waits for the end; raises subprocess.TimeoutExpired."""
        if self._read(timeout) is None:
            raise subprocess.TimeoutExpired(f"process {self.pid} in the studio", timeout)
        return self.returncode

    def send_signal(self, number):
        if self.poll() is None:
            self._studio.ask("signal", pid=self.pid, number=int(number))

    def terminate(self):
        self.send_signal(signal.SIGTERM)

    def kill(self):
        self.send_signal(signal.SIGKILL)

    def _read(self, timeout):
        if self.returncode is None and select.select([self._told], [], [], timeout)[0]:
            text = os.read(self._told, 64)
            os.close(self._told)
            self.returncode = int(text) if text else -signal.SIGKILL
        return self.returncode


class Studio:
    """A studio that exists from `__enter__` to `__exit__`.

    `source` is a scenario's name or file, a table of the same form, or None for an empty network. Any thread may
    call. Calls block until done.
    """

    def __init__(self, source=None, log=None):
        self._table = source if isinstance(source, dict) else scenario.read(source) if source else {}
        self._scenario = scenario.build(self._table)
        self._log = log
        self._lock = threading.Lock()
        self._control = None
        self._holder = None

    def __enter__(self):
        lacking = requirements.missing()
        if lacking:
            raise StudioUnavailable(lacking)
        self._control, theirs = socket.socketpair()
        passed, arguments = [theirs.fileno()], [str(theirs.fileno())]
        if self._log:
            passed.append(os.open(self._log, os.O_WRONLY | os.O_CREAT | os.O_TRUNC | os.O_CLOEXEC, 0o666))
            arguments.append(str(passed[1]))
        command = requirements.isolation() + [sys.executable or "/usr/bin/python3", "-m", "vornstudio.inside"]
        environment = {
            **os.environ, "PYTHONPATH": PACKAGE_FOLDER, "PATH": requirements.SEARCH_PATH, "PYTHONUNBUFFERED": "1",
        }
        self._holder = subprocess.Popen(
            command + arguments, pass_fds=passed, env=environment, cwd="/", stdin=subprocess.DEVNULL
        )
        theirs.close()
        for descriptor in passed[1:]:
            os.close(descriptor)
        try:
            wire.send(self._control, self._table)
            self._check(wire.receive(self._control))
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Ends the studio with everything in it. Returns when nothing is left."""
        if self._control is not None:
            self._control.close()
            self._control = None
        if self._holder is not None:
            try:
                self._holder.wait(10)
            except subprocess.TimeoutExpired:
                self._holder.kill()
                self._holder.wait()

    def ask(self, op, descriptors=(), **fields):
        """Sends one operation and returns its result. Raises StudioError with the studio's own message."""
        with self._lock:
            try:
                wire.send(self._control, {"op": op, "descriptors": len(descriptors), **fields}, descriptors)
                answer = wire.receive(self._control)
            except (OSError, AttributeError):
                answer = None
        return self._check(answer)

    @staticmethod
    def _check(answer):
        if answer is None:
            raise StudioError("the studio has gone")
        if "error" in answer:
            raise StudioError(answer["error"])
        return answer["result"]

    def do(self, verb, **fields):
        """Performs one action of a scenario's timeline now."""
        self.ask("do", action={"do": verb, **fields})

    def add(self, *units):
        """Adds units, given as in a scenario's [[unit]]. Returns their ids, URLs and addresses."""
        return self.ask("add", units=list(units))

    def units(self):
        return self.ask("units")

    def play(self):
        """Starts the scenario's timeline."""
        self.ask("play")

    def ended(self):
        """Whether the timeline has ended."""
        return self.ask("ended")

    @property
    def length(self):
        return self._scenario.length

    def log(self, since=0):
        """All log entries from an index on."""
        return self.ask("log", since=since)

    def requests(self, unit=None, since=0):
        """The requests logged so far, of one unit or of all."""
        return [
            entry for entry in self.log(since)
            if entry["event"] == "request" and unit in (None, entry["unit"])
        ]

    def opened(self):
        """The pages that the replacement for the browser opened."""
        return [entry for entry in self.log() if entry["event"] == "opened"]

    def responder_lines(self, side="near"):
        return self.ask("responder_lines", side=side)

    def wait_until(self, condition, timeout=30.0, what="a condition", interval=0.05):
        """Waits until `condition()` returns something true, and returns that. Raises TimeoutError."""
        deadline = time.monotonic() + timeout
        while True:
            result = condition()
            if result:
                return result
            if time.monotonic() > deadline:
                raise TimeoutError(f"waited {timeout} s in vain for {what}")
            time.sleep(interval)

    def popen(self, argv, stdin=None, stdout=None, stderr=None, env=None, cwd=None, side="near"):
        """Starts a program inside. The streams are descriptors, subprocess.PIPE (not for stdin) or None for ours."""
        files = {}
        opened = []

        def stream(name, given, ours):
            if given == subprocess.PIPE:
                reading, writing = os.pipe()
                files[name] = os.fdopen(reading, "rb", 0)
                opened.append(writing)
                return writing
            if given == subprocess.DEVNULL:
                opened.append(os.open(os.devnull, os.O_RDWR))
                return opened[-1]
            return ours if given is None else given if isinstance(given, int) else given.fileno()

        told, telling = os.pipe()
        opened.append(telling)
        try:
            streams = [stream("stdin", stdin, 0), stream("stdout", stdout, 1), stream("stderr", stderr, 2)]
            pid = self.ask(
                "spawn", descriptors=(*streams, telling), argv=[str(word) for word in argv],
                env={**os.environ, **(env or {})}, directory=str(cwd or os.getcwd()), side=side,
            )
        finally:
            for descriptor in opened:
                os.close(descriptor)
        return Process(self, pid, told, files.get("stdout"), files.get("stderr"))

    def run(self, argv, timeout=60, **options):
        """Runs a program inside to its end. Returns subprocess.CompletedProcess with text output."""
        process = self.popen(
            argv, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **options
        )
        texts = {}

        readers = [threading.Thread(target=_read_all, args=(process, name, texts)) for name in ("stdout", "stderr")]
        for reader in readers:
            reader.start()
        try:
            process.wait(timeout)
        except subprocess.TimeoutExpired:
            process.kill()
            raise
        finally:
            for reader in readers:
                reader.join(timeout)
        return subprocess.CompletedProcess(argv, process.returncode, texts.get("stdout"), texts.get("stderr"))


def _read_all(process, name, texts):
    with getattr(process, name) as stream:
        texts[name] = b"".join(iter(lambda: stream.read(65536), b"")).decode(errors="replace")
