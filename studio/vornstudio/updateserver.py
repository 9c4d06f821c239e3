"""The update server: the newest release of each model, as an array of release objects."""

import asyncio
import json
import urllib.parse

from .answers import Answer
from .faults import FAULTS
from .namespaces import FAR_ADDRESS, UPDATE_SERVER_NAME
from .webserver import WebServer

PORT = 8080
ROOT = f"http://{FAR_ADDRESS}:{PORT}/api/"
DEFAULT_CHANNEL = "release"


class UpdateServer:
    """Answers GET /api/[CHANNEL/]device/MODEL/firmware, at ROOT and under the default name of each build.

    The programs ask once in ten minutes. A scenario of half a minute must show a release that is published during it.
    So a request for a model without a release can wait for up to `wait` seconds until one is published.
    """

    id = "update-server"
    away = f"http://{UPDATE_SERVER_NAME}/api/device/Moved/firmware"

    def __init__(self, log, releases, wait=0.0):
        self.releases = {}
        self.wait = wait
        self.faults = {}
        self.statuses = {}
        self.bodies = {}
        self._published = asyncio.Condition()
        self._servers = [WebServer(FAR_ADDRESS, port, self, log) for port in (PORT, 80)]
        for model, version in releases.items():
            self._insert(model, version, DEFAULT_CHANNEL)

    async def open(self):
        for server in self._servers:
            await server.open()

    async def close(self):
        for server in self._servers:
            await server.close()

    async def publish(self, model, version, channel=DEFAULT_CHANNEL):
        """Puts a release before all others of its model."""
        self._insert(model, version, channel)
        async with self._published:
            self._published.notify_all()

    def _insert(self, model, version, channel):
        self.releases.setdefault((channel, model), []).insert(0, version)

    async def respond(self, request, record, writer):
        channel, model = self._parse(request.path)
        fault = self.faults.get(model) or self.faults.get("*")
        if fault:
            record["fault"] = fault
            await FAULTS[fault](writer, self, request)
            return None
        status = self.statuses.get(model) or self.statuses.get("*")
        if status:
            return Answer(status, b"studio says so")
        body = self.bodies.get(model, self.bodies.get("*"))
        if body is not None:
            return Answer(200, body.encode())
        if model is None:
            return Answer(404, b"not found")
        return await self._release(channel, model)

    async def _release(self, channel, model):
        key = (channel, model)
        if key not in self.releases and self.wait:
            async with self._published:
                try:
                    await asyncio.wait_for(self._published.wait_for(lambda: key in self.releases), self.wait)
                except asyncio.TimeoutError:
                    pass
        if key not in self.releases:
            return Answer(404, b"no release")
        body = json.dumps([{"version": version, "channel": channel} for version in self.releases[key]])
        return Answer(200, body.encode(), (("Content-Type", "application/json"),))

    @staticmethod
    def _parse(path):
        parts = path.split("/")
        if parts[:2] != ["", "api"] or parts[-1] != "firmware" or "device" not in parts[2:4]:
            return None, None
        at = parts.index("device", 2)
        if at + 3 != len(parts):
            return None, None
        channel = urllib.parse.unquote(parts[2]) if at == 3 else DEFAULT_CHANNEL
        return channel, urllib.parse.unquote(parts[at + 1])
