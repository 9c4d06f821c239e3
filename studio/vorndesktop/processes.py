"""Processes that end with their starter, each with a separate log."""

import ctypes
import os
import pathlib
import signal
import subprocess

from .waiting import PATIENCE, DesktopError

PR_SET_PDEATHSIG = 1

_libc = ctypes.CDLL(None, use_errno=True)


def _end_with_parent():
    _libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM)


class Processes:
    """Starts programs in `environment`. `end` ends all of them, the youngest first.

    `user` is a user and group id for the programs, None for the caller's own.
    """

    def __init__(self, folder, environment, user=None):
        self._logs = pathlib.Path(folder)
        self._environment = environment
        self._user = user
        self._all = []

    def start(self, command, environment=None, **options):
        """Starts a program with `environment` added to the common one. A variable that is None is left out."""
        merged = {**self._environment, **(environment or {})}
        options.setdefault("stdin", subprocess.DEVNULL)
        with open(self.log_of(command[0]), "ab") as log:
            process = subprocess.Popen(
                self._as_user(command), stderr=log, preexec_fn=_end_with_parent,
                env={name: value for name, value in merged.items() if value is not None},
                **{"stdout": log, **options},
            )
        self._all.append(process)
        return process

    def run(self, command, timeout=PATIENCE, check=True):
        """Runs a program to its end and returns what it printed."""
        done = subprocess.run(
            self._as_user(command), env=self._environment, capture_output=True, timeout=timeout, check=False,
            stdin=subprocess.DEVNULL,
        )
        if check and done.returncode != 0:
            raise DesktopError(f"{command[0]} left with {done.returncode}: {done.stderr.decode(errors='replace')}")
        return done.stdout

    def _as_user(self, command):
        command = [str(word) for word in command]
        if self._user is None:
            return command
        number = str(self._user)
        return ["setpriv", f"--reuid={number}", f"--regid={number}", "--clear-groups", "--", *command]

    def log_of(self, program):
        return self._logs / f"{os.path.basename(str(program))}.log"

    def stop(self, process, number=signal.SIGTERM):
        """Ends one process and waits until it is gone."""
        if process in self._all:
            self._all.remove(process)
        if process.poll() is None:
            process.send_signal(number)
        try:
            process.wait(5)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()

    def end(self):
        for process in reversed(list(self._all)):
            self.stop(process)
