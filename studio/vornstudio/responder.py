"""A real avahi-daemon for one side."""

import asyncio
import os
import signal

from .bus import ADDRESS
from .namespaces import STATE

CONFIGURATION = """[server]
host-name={host}
use-ipv4=yes
use-ipv6={ipv6}
allow-interfaces={interface}
enable-dbus=yes
objects-per-client-max={objects}
[wide-area]
enable-wide-area=no
[publish]
publish-addresses={addresses}
publish-hinfo=no
publish-workstation=no
"""

READY = "Network interface enumeration completed."


class Responder:
    """The responder of a side. It can be stopped, killed, started, stopped in its tracks and continued."""

    def __init__(self, side, children, interface, ipv6=False, objects=1024):
        self._side = side
        self._children = children
        self._child = None
        self._ready = None
        self._reading = None  # the loop itself holds tasks only weakly
        self.lines = []
        self._path = f"{STATE}/{side.name}-responder.conf"
        with open(self._path, "w") as file:
            # The far side's addresses belong to the units, and the static hosts file has the units' names.
            addresses = "yes" if side.name == "near" else "no"
            ipv6_word = "yes" if ipv6 else "no"
            file.write(CONFIGURATION.format(
                host=side.name, interface=interface, ipv6=ipv6_word, addresses=addresses, objects=objects))

    @property
    def running(self):
        return self._child is not None and self._child.status is None

    async def start(self):
        """Starts the responder. Returns when it has its interface and its name on the bus."""
        if self.running:
            return
        program = ["avahi-daemon", "-f", self._path, "--no-drop-root", "--no-chroot", "--no-rlimits"]
        clean = 'rm -f /run/avahi-daemon/pid /run/avahi-daemon/socket; exec "$@"'
        argv, descriptors = self._side.command(["sh", "-c", clean, "sh", *program])
        reading, writing = os.pipe()
        environment = {**os.environ, "DBUS_SYSTEM_BUS_ADDRESS": ADDRESS}
        self._child = self._children.start(
            argv, pass_fds=descriptors, stderr=writing, start_new_session=True, env=environment
        )
        os.close(writing)
        self._ready = asyncio.Event()
        self._reading = asyncio.create_task(self._read_lines(reading, self._ready))
        await asyncio.wait_for(self._ready.wait(), 30)
        if not self.running:
            raise RuntimeError(f"the {self._side.name} responder did not start: " + "; ".join(self.lines[-5:]))

    async def _read_lines(self, descriptor, ready):
        reader = asyncio.StreamReader()
        transport, _ = await asyncio.get_running_loop().connect_read_pipe(
            lambda: asyncio.StreamReaderProtocol(reader), os.fdopen(descriptor, "rb", 0)
        )
        while line := await reader.readline():
            self.lines.append(line.decode(errors="replace").rstrip())
            if READY in self.lines[-1]:
                ready.set()
        if not ready.is_set():
            await self._child.ended.wait()
            ready.set()
        transport.close()

    async def stop(self):
        if self.running:
            self._child.send(signal.SIGCONT)
            await self._child.end()

    async def kill(self):
        if self.running:
            await self._child.end(signal.SIGKILL)

    def pause(self):
        """Makes it hang. It keeps its sockets and its name on the bus."""
        self._child.send(signal.SIGSTOP)

    def resume(self):
        self._child.send(signal.SIGCONT)

    def reload(self):
        """Makes it read its static services and hosts again."""
        self._child.send(signal.SIGHUP)
