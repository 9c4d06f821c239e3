"""Performs what a scenario or a test asks for: the actions on units, update server, responder and bus."""

import asyncio
import subprocess

from . import scenario as scenarios
from .announcer import AvahiAnnouncer, ZeroconfAnnouncer
from .namespaces import NEAR_ADDRESS, PREFIX_LENGTH, STATE
from .unitserver import UnitServers
from .updateserver import UpdateServer


class Director:
    def __init__(self, scenario, world, log):
        self._world = world
        self._log = log
        self._units = {}
        self._servers = UnitServers(log)
        self._addresses = set()
        self._silent = set()  # units that disappeared without a goodbye
        self._announcers = {"zeroconf": ZeroconfAnnouncer(), "avahi": AvahiAnnouncer(world.far_responder, scenario.ipv6)}
        self._server = UpdateServer(log, scenario.releases, scenario.wait)
        self._scenario = scenario

    async def open(self):
        """Starts the servers and announces the first units."""
        await self._server.open()
        await self._announcers["zeroconf"].open()
        await self.add(self._scenario.units)

    async def play(self):
        """Plays the timeline to its end."""
        loop = asyncio.get_running_loop()
        start = loop.time()
        for action in self._scenario.timeline:
            await asyncio.sleep(max(0.0, start + action["at"] - loop.time()))
            await self.perform(action)
        if self._scenario.length is not None:
            await asyncio.sleep(max(0.0, start + self._scenario.length - loop.time()))
        self._log.add("end")

    async def add(self, units):
        """Adds units: addresses, web servers, announcements."""
        self._add_addresses({unit.address for unit in units})
        self._units.update((unit.id, unit) for unit in units)
        self._write_addresses()
        for unit in units:
            await self._servers.open(unit)
        coming = [unit for unit in units if unit.announced]
        await self._announcers["avahi"].announce_all([unit for unit in coming if unit.announcer == "avahi"])
        await asyncio.gather(
            *(self._announcers["zeroconf"].announce(unit) for unit in coming if unit.announcer == "zeroconf")
        )

    async def add_tables(self, tables):
        units = scenarios.make_units(tables, list(self._units.values()))
        await self.add(units)
        return [{"id": unit.id, "url": unit.url, "address": unit.address} for unit in units]

    async def perform(self, action):
        scenarios.check_action(action, self._units)
        fields = {key: value for key, value in action.items() if key not in ("at", "do")}
        self._log.add("action", do=action["do"], **fields)
        if "unit" in fields:
            fields["unit"] = self._units[fields["unit"]]
        await getattr(self, "_do_" + action["do"].replace("-", "_"))(**fields)

    def describe(self):
        return [
            {"id": unit.id, "kind": unit.kind, "name": unit.name, "host": unit.host, "address": unit.address,
             "url": unit.url, "uids": [device.uid for device in unit.devices], "announced": unit.announced,
             "devices": [{"uid": device.uid, "name": device.name, "model": device.model, "firmware": device.firmware}
                         for device in unit.devices]}
            for unit in self._units.values()
        ]

    async def _do_announce(self, unit):
        self._silent.discard(unit.id)
        self._add_addresses({unit.address})
        await self._servers.open(unit)
        await self._announcers[unit.announcer].announce(unit)
        unit.announced = True

    async def _do_goodbye(self, unit):
        await self._announcers[unit.announcer].goodbye(unit)
        unit.announced = False

    async def _do_drop(self, unit, how):
        """A goodbye and power off; a crash without a goodbye; or a pulled cable, where nothing answers."""
        if how == "goodbye":
            await self._do_goodbye(unit)
        else:
            await self._announcers[unit.announcer].fall_silent(unit)
            unit.announced = False
            self._silent.add(unit.id)
        if how == "unplug":
            self._remove_address(unit.address)
        else:
            await self._servers.of(unit).close()

    async def _do_move(self, unit, address, told=True):
        """The unit changes its address. It announces this, or lets the network find out."""
        await self._move([(unit, address)], told)

    async def _do_exchange(self, unit, other, told=True):
        """Two units exchange their addresses."""
        other = self._units[other]
        await self._move([(unit, other.address), (other, unit.address)], told)

    async def _move(self, moves, told):
        # In this order, only the new owner of an address can report that a connection has ended.
        for unit, _ in moves:
            self._remove_address(unit.address)
        for unit, _ in moves:
            await self._servers.close(unit)
        for unit, address in moves:
            unit.address = address
        self._add_addresses({address for _, address in moves})
        self._write_addresses()
        for unit, _ in moves:
            await self._servers.open(unit)
            await self._announcers[unit.announcer].move(unit, told)

    async def _do_near_address(self, address, gap=False):
        """The near side gets another address and loses its own; with `gap`, in the opposite order."""
        near, wide = self._world.near, PREFIX_LENGTH - 1  # in a separate subnet, so that neither address removes the other
        steps = [
            ["ip", "addr", "add", f"{address}/{wide}", "brd", "+", "dev", "near0"],
            ["ip", "addr", "del", f"{NEAR_ADDRESS}/{PREFIX_LENGTH}", "dev", "near0"],
        ]
        for step in reversed(steps) if gap else steps:
            near.setup(step)

    async def _do_near_link(self, op):
        """The near side's network goes down or comes up."""
        self._world.near.setup(["ip", "link", "set", "near0", op])

    async def _do_rename(self, unit, name, uid=None):
        self._device(unit, uid).rename(name)

    async def _do_set(self, unit, uid=None, **fields):
        device = self._device(unit, uid)
        for key, value in fields.items():
            setattr(device if key in ("model", "firmware") else unit, key, value)

    async def _do_status(self, unit, status, resource="*"):
        unit.statuses[resource] = status

    async def _do_fault(self, unit, fault, resource="*"):
        unit.faults[resource] = fault

    async def _do_heal(self, unit):
        """Ends every fault and status. A unit that had disappeared silently is back."""
        unit.faults.clear()
        unit.statuses.clear()
        unit.delay = 0.0
        if unit.id in self._silent:
            await self._do_announce(unit)

    async def _do_disconnect(self, unit):
        self._servers.of(unit).close_connections()

    async def _do_publish(self, model, version, channel="release"):
        await self._server.publish(model, version, channel)

    async def _do_update_server(self, model="*", status=None, fault=None, body=None):
        for table, value in (
            (self._server.statuses, status), (self._server.faults, fault), (self._server.bodies, body)
        ):
            if value is None:
                table.pop(model, None)
            else:
                table[model] = value

    async def _do_responder(self, op):
        responder = self._world.near_responder
        if op in ("pause", "resume"):
            getattr(responder, op)()
            return
        if op == "restart":
            await responder.stop()
            op = "start"
        await getattr(responder, op)()

    async def _do_bus(self, op):
        """The bus of the near side. Its stop also stops the responder; its start does not start the responder."""
        if op == "stop":
            await self._world.near_responder.stop()
        await getattr(self._world.near_bus, op)()

    async def _do_say(self, text):
        pass  # the log contains it

    def _device(self, unit, uid):
        device = unit.device if uid is None else unit.device_by_uid(uid)
        if device is None:
            raise scenarios.ScenarioError(f"unit {unit.id} has no device {uid}")
        return device

    def _add_addresses(self, addresses):
        new = sorted(addresses - self._addresses)
        if new:
            batch = "".join(f"addr add {address}/{PREFIX_LENGTH} brd + dev far0\n" for address in new)
            subprocess.run(["ip", "-batch", "-"], input=batch, text=True, check=True)
            self._addresses.update(new)

    def _remove_address(self, address):
        if address in self._addresses:
            subprocess.run(["ip", "addr", "del", f"{address}/{PREFIX_LENGTH}", "dev", "far0"], check=True)
            self._addresses.discard(address)
            self._world.near.setup(["ip", "neigh", "flush", "to", address])

    def _write_addresses(self):
        """The replacement for the browser finds the units' names here, whatever the responder does."""
        lines = {f"{unit.host}.local {unit.address}\n" for unit in self._units.values()}
        with open(f"{STATE}/addresses", "w") as file:
            file.writelines(sorted(lines))
