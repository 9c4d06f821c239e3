"""The web servers of the units: healthy answers, or faults if the unit has some."""

import asyncio
import dataclasses

from . import answers
from .answers import Answer
from .faults import FAULTS
from .webserver import WebServer


class Site:
    """One unit as a site of a WebServer."""

    def __init__(self, unit):
        self.unit = unit
        self.id = unit.id

    async def respond(self, request, record, writer):
        unit = self.unit
        device, resource = answers.locate(unit, request.path)
        if unit.delay:
            await asyncio.sleep(unit.delay)
        fault = unit.fault_of(resource)
        if fault:
            record["fault"] = fault
            await FAULTS[fault](writer, unit, request)
            return None
        status = unit.status_of(resource)
        if status:
            return Answer(status, b"studio says so")
        answer = answers.healthy(unit, device, resource, request)
        headers = answer.headers + tuple(unit.headers.items())
        return dataclasses.replace(answer, headers=headers, behind=unit.behind.encode())


class UnitServers:
    """One server for each address and port. Units with the same address and port share a server."""

    def __init__(self, log):
        self._log = log
        self._servers = {}

    async def open(self, unit):
        key = (unit.address, unit.port)
        if key not in self._servers:
            self._servers[key] = WebServer(unit.address, unit.port, Site(unit), self._log)
        await self._servers[key].open()

    async def close(self, unit):
        await self._servers.pop((unit.address, unit.port)).close()

    def of(self, unit):
        return self._servers[(unit.address, unit.port)]

    async def close_all(self):
        for server in self._servers.values():
            await server.close()
