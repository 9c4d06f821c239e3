"""The first process inside the studio's namespaces. It builds the two sides, serves the units and runs programs.

client.py starts it as `python3 -m vornstudio.inside CONTROL [LOG]` with two inherited descriptors. When the other end
of the control channel is closed, it ends, and everything inside ends with it.
"""

import asyncio
import contextlib
import os
import signal
import socket
import sys

from . import environment, namespaces, scenario, wire
from .browser import Receiver
from .bus import Bus
from .children import Children
from .director import Director
from .requestlog import RequestLog
from .responder import Responder


class World:
    """Both sides with their buses and responders."""

    def __init__(self, far, near, children, ipv6, objects):
        self.far = far
        self.near = near
        self.far_bus = Bus(far, children)
        self.near_bus = Bus(near, children)
        self.far_responder = Responder(far, children, "far0", ipv6)
        self.near_responder = Responder(near, children, "near0", ipv6, objects)

    async def open(self, near_bus, near_responder):
        async def near():
            if near_bus:
                await self.near_bus.start()
            if near_bus and near_responder:
                await self.near_responder.start()

        await asyncio.gather(self.far_bus.start(), near())


class Inside:
    """Answers the messages of the control channel."""

    def __init__(self, table, sides, log):
        self._scenario = scenario.build(table)
        self._log = log
        self._children = Children()
        self._programs = {}
        self._world = World(*sides, self._children, self._scenario.ipv6, self._scenario.objects)
        self._director = Director(self._scenario, self._world, log)
        self._receiver = Receiver(log)
        self._ended = asyncio.Event()
        self._tasks = set()

    async def open(self):
        environment.prepare()
        self._receiver.open()
        await self._world.open(self._scenario.bus, self._scenario.responder)
        await self._director.open()
        await self._world.far_responder.start()  # the static services exist by now

    async def handle(self, message, descriptors):
        name = "_op_" + message.get("op", "")
        if not hasattr(self, name):
            raise ValueError(f"no operation {message.get('op')}")
        fields = {key: value for key, value in message.items() if key not in ("op", "descriptors")}
        return await getattr(self, name)(descriptors, **fields)

    async def _op_play(self, _):
        async def play():
            try:
                await self._director.play()
            except Exception as error:
                self._log.add("error", text=f"the timeline broke off: {error}")
                print(f"studio: the timeline broke off: {error}", file=sys.stderr)
            self._ended.set()

        self._keep(play())

    def _keep(self, coroutine):
        """Runs the coroutine as a task. The loop itself holds tasks only weakly."""
        task = asyncio.create_task(coroutine)
        self._tasks.add(task)
        task.add_done_callback(self._tasks.discard)

    async def _op_ended(self, _):
        return self._ended.is_set()

    async def _op_do(self, _, action):
        await self._director.perform(action)

    async def _op_add(self, _, units):
        return await self._director.add_tables(units)

    async def _op_units(self, _):
        return self._director.describe()

    async def _op_log(self, _, since):
        return self._log.entries[since:]

    async def _op_responder_lines(self, _, side):
        return getattr(self._world, f"{side}_responder").lines

    async def _op_spawn(self, descriptors, argv, env, directory, side):
        """Starts a program. The descriptors are its input, output, error, and the one that reports its end."""
        stdin, stdout, stderr, told = descriptors
        try:
            command, inherited = getattr(self._world, side).command(argv, directory)
            child = self._children.start(
                command, stdin=stdin, stdout=stdout, stderr=stderr, pass_fds=inherited, env=environment.of(env)
            )
        except BaseException:
            os.close(told)
            raise
        finally:
            for descriptor in (stdin, stdout, stderr):
                os.close(descriptor)
        self._programs[child.pid] = child
        self._keep(self._tell_end(child, told))
        return child.pid

    async def _tell_end(self, child, told):
        await child.ended.wait()
        os.write(told, str(child.status).encode())
        os.close(told)

    async def _op_signal(self, _, pid, number):
        self._programs[pid].send(number)

    async def _op_read_process(self, _, pid, name):
        """A file of a program's folder in the process table."""
        with open(f"/proc/{pid}/{name}", errors="replace") as file:
            return file.read()

    async def _op_thread_names(self, _, pid):
        names = []
        for task in os.listdir(f"/proc/{pid}/task"):
            with contextlib.suppress(OSError):  # it has just ended
                with open(f"/proc/{pid}/task/{task}/comm", errors="replace") as file:
                    names.append(file.read().rstrip("\n"))
        return names

    async def _op_count_descriptors(self, _, pid):
        return len(os.listdir(f"/proc/{pid}/fd"))


async def run(control, table, sides, log):
    gone = asyncio.Event()
    inside = Inside(table, sides, log)
    await inside.open()
    wire.send(control, {"result": "open"})
    server = wire.Server(control, inside.handle, gone.set)
    await gone.wait()
    del server
    os._exit(0)  # everything inside ends with this process; nothing here needs an orderly end


def main():
    control = socket.socket(fileno=int(sys.argv[1]))
    log = RequestLog(os.fdopen(int(sys.argv[2]), "w")) if len(sys.argv) > 2 else RequestLog()
    # A terminal's interrupt reaches every process in the foreground. The caller decides what it means here.
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: None)
    table = wire.receive(control)
    if table is None:
        return
    try:
        sides = namespaces.lay_out(scenario.build(table).nss_mdns)
        asyncio.run(run(control, table, sides, log))
    except Exception as error:
        try:
            control.setblocking(True)
            wire.send(control, {"error": f"{type(error).__name__}: {error}"})
        except OSError:
            pass
    os._exit(1)


if __name__ == "__main__":
    main()
