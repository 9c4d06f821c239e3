"""The announcements of the units: python3-zeroconf for some, static files of the far avahi-daemon for hundreds."""

import asyncio
import os
import xml.sax.saxutils

from zeroconf import IPVersion, ServiceInfo
from zeroconf.asyncio import AsyncZeroconf

from .namespaces import FAR_ADDRESS, STATE

TYPE = "_http._tcp.local."
AVAHI = f"{STATE}/etc-avahi"
LATEST_ANSWER = 1.5  # seconds


class ZeroconfAnnouncer:
    def __init__(self):
        self._zeroconf = None
        self._infos = {}
        self._repeats = {}

    async def open(self):
        self._zeroconf = AsyncZeroconf(interfaces=[FAR_ADDRESS], ip_version=IPVersion.V4Only)
        await self._zeroconf.zeroconf.async_wait_for_start()

    @staticmethod
    def _info(unit):
        return ServiceInfo(
            TYPE, f"{unit.name}.{TYPE}", port=unit.port, properties=unit.txt_record(),
            server=f"{unit.host}.local.", parsed_addresses=[unit.address],
        )

    async def announce(self, unit):
        info = self._infos[unit.id] = self._info(unit)
        # Announcements and goodbyes are repeated for a while. An earlier one must not undo a later one.
        await self._quieten(unit)
        self._repeats[unit.id] = await self._zeroconf.async_register_service(info, cooperating_responders=True)
        await asyncio.sleep(0)  # the first one is out when this returns

    async def move(self, unit, told):
        """Answers with the unit's new address from now on. With `told`, announces it at once."""
        old = self._infos.get(unit.id)
        if old is None:
            return
        await self._quieten(unit)
        info = self._infos[unit.id] = self._info(unit)
        if told:
            self._repeats[unit.id] = await self._zeroconf.async_update_service(info)
            await asyncio.sleep(0)
        else:
            self._zeroconf.zeroconf.registry.async_update(info)

    async def goodbye(self, unit):
        info = self._infos.pop(unit.id, None)
        if info is not None:
            await self._quieten(unit)
            first = await self._zeroconf.async_unregister_service(info)
            self._repeats[unit.id] = asyncio.create_task(self._repeat_goodbye(first, info))
            await asyncio.sleep(0)

    async def _repeat_goodbye(self, first, info):
        """The library sends some answers up to a second late. One that follows the goodbye would undo it."""
        await first
        await asyncio.sleep(LATEST_ANSWER)
        sender = self._zeroconf.zeroconf
        sender.async_send(sender.generate_service_broadcast(info, 0, broadcast_addresses=False))

    async def fall_silent(self, unit):
        """Answers no more questions about the unit, without a goodbye."""
        info = self._infos.pop(unit.id, None)
        if info is not None:
            await self._quieten(unit)
            self._zeroconf.zeroconf.registry.async_remove(info)

    async def _quieten(self, unit):
        task = self._repeats.pop(unit.id, None)
        if task is not None:
            task.cancel()
            await asyncio.gather(task, return_exceptions=True)

    async def close(self):
        if self._zeroconf is not None:
            await self._zeroconf.async_close()


class AvahiAnnouncer:
    """Announces through static service and host files. Changes take effect when the far responder reads them."""

    def __init__(self, responder, ipv6):
        self._responder = responder
        self._ipv6 = ipv6
        self._hosts = {}

    async def announce_all(self, units):
        for unit in units:
            self._write(unit)
        await self._reload()

    async def announce(self, unit):
        await self.announce_all([unit])

    async def goodbye(self, unit):
        try:
            os.unlink(self._path(unit))
        except FileNotFoundError:
            return
        self._hosts.pop(unit.id, None)
        await self._reload()

    async def move(self, unit, told):
        raise ValueError(f"unit {unit.id} is announced by avahi, which gives a host one address for good")

    async def fall_silent(self, unit):
        raise ValueError(f"unit {unit.id} is announced by avahi, which never leaves without a goodbye")

    async def _reload(self):
        with open(f"{AVAHI}/hosts.new", "w") as file:
            file.writelines(sorted(set(self._hosts.values())))
        os.rename(f"{AVAHI}/hosts.new", f"{AVAHI}/hosts")
        if self._responder.running:
            self._responder.reload()

    def _write(self, unit):
        addresses = [unit.address, unit.address6] if self._ipv6 else [unit.address]
        self._hosts[unit.id] = "".join(f"{address} {unit.host}.local\n" for address in addresses)
        escape = xml.sax.saxutils.escape
        items = "".join(
            f"<txt-record>{escape(key)}={escape(value)}</txt-record>" for key, value in unit.txt_record().items()
        )
        text = (
            f'<?xml version="1.0" standalone="no"?><!DOCTYPE service-group SYSTEM "avahi-service.dtd">'
            f"<service-group><name>{escape(unit.name)}</name><service><type>_http._tcp</type>"
            f"<host-name>{unit.host}.local</host-name><port>{unit.port}</port>{items}</service></service-group>"
        )
        with open(self._path(unit), "w") as file:
            file.write(text)

    @staticmethod
    def _path(unit):
        return f"{AVAHI}/services/{unit.id}.service"
