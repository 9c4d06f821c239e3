"""A private D-Bus system bus for one side, with the stock limits of a system bus."""

import asyncio
import os

from .namespaces import STATE

ADDRESS = "unix:path=/run/dbus/system_bus_socket"

CONFIGURATION = f"""<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>{ADDRESS}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <allow own="*"/>
    <allow send_type="method_call"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_type="signal"/>
  </policy>
</busconfig>
"""


class Bus:
    """The system bus of a side; can be stopped and started again."""

    def __init__(self, side, children):
        self._side = side
        self._children = children
        self._child = None
        self._path = f"{STATE}/{side.name}-bus.conf"
        with open(self._path, "w") as file:
            file.write(CONFIGURATION)

    @property
    def running(self):
        return self._child is not None and self._child.status is None

    async def start(self):
        """Starts the bus and returns once it accepts connections."""
        if self.running:
            return
        ready, told = os.pipe()
        program = ["dbus-daemon", f"--config-file={self._path}", "--nofork", "--nopidfile", "--nosyslog"]
        argv, descriptors = self._side.command(
            ["sh", "-c", 'rm -f /run/dbus/system_bus_socket; exec "$@"', "sh", *program, f"--print-address={told}"]
        )
        with open(f"{STATE}/{self._side.name}-bus.log", "ab") as log:  # it complains about limits that it may not raise
            self._child = self._children.start(
                argv, pass_fds=(*descriptors, told), stderr=log, start_new_session=True
            )
        os.close(told)
        loop = asyncio.get_running_loop()
        try:
            address = await loop.run_in_executor(None, os.read, ready, 4096)
        finally:
            os.close(ready)
        if not address:
            raise RuntimeError(f"the {self._side.name} system bus did not start")

    async def stop(self):
        if self.running:
            await self._child.end()
