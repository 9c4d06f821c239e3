"""The child processes of the studio's first process.

This process is number 1 of its process namespace, so every orphan inside becomes its child. One handler reaps them
all, and gives the status of each started process to its waiter.
"""

import asyncio
import os
import signal
import subprocess


class Child:
    """A process started by `Children.start`. `status` is None while it runs."""

    def __init__(self, popen):
        self.pid = popen.pid
        self.popen = popen
        self.status = None
        self.ended = asyncio.Event()

    def send(self, number):
        """Sends a signal. Does nothing after the process has ended."""
        if self.status is None:
            os.kill(self.pid, number)

    async def end(self, number=signal.SIGTERM, grace=5):
        """Ends the process: sends the given signal, and SIGKILL after the grace time in seconds."""
        self.send(number)
        try:
            await asyncio.wait_for(self.ended.wait(), grace)
        except asyncio.TimeoutError:
            self.send(signal.SIGKILL)
            await self.ended.wait()


class Children:
    def __init__(self):
        self._children = {}
        asyncio.get_running_loop().add_signal_handler(signal.SIGCHLD, self._reap)

    def start(self, argv, **options):
        """Starts a program. The options are those of subprocess.Popen."""
        child = Child(subprocess.Popen(argv, **options))
        self._children[child.pid] = child
        return child

    def _reap(self):
        while True:
            try:
                pid, status = os.waitpid(-1, os.WNOHANG)
            except ChildProcessError:
                return
            if pid == 0:
                return
            child = self._children.pop(pid, None)
            if child is not None:
                child.status = os.waitstatus_to_exitcode(status)
                child.popen.returncode = child.status
                child.ended.set()
