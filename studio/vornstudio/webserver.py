"""A small HTTP/1.1 server on asyncio. It keeps connections open and logs every request."""

import asyncio
import http
import socket
import struct
import time

from .answers import Request

MAX_HEADER = 64 * 1024
SEGMENT_GAP = 0.02  # seconds after which the next bytes are a separate segment
END_CHECK = 0.1  # seconds between checks whether the client has gone


class WebServer:
    """Serves one address and port for a site, an object with `id` and `async respond(request, record, writer)`.

    `respond` returns an Answer, or None if it has used the connection up itself.
    """

    _next_connection = 1

    def __init__(self, address, port, site, log):
        self.address = address
        self.port = port
        self._site = site
        self._log = log
        self._server = None
        self._writers = set()
        self._tasks = set()

    @property
    def listening(self):
        return self._server is not None

    async def open(self):
        if self._server is None:
            self._server = await asyncio.start_server(
                self._connection, self.address, self.port, limit=MAX_HEADER, backlog=128
            )

    async def close(self):
        """Stops listening and resets every connection, like a unit that loses its power or its process."""
        if self._server is not None:
            self._server.close()
            self._server = None
        for writer in list(self._writers):
            if not writer.is_closing():  # else its socket may have gone already
                linger = struct.pack("ii", 1, 0)
                writer.get_extra_info("socket").setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, linger)
            writer.transport.abort()
        for task in list(self._tasks):
            task.cancel()

    def close_connections(self):
        """Closes the kept connections properly and continues to listen."""
        for writer in list(self._writers):
            writer.close()

    async def _connection(self, reader, writer):
        number = WebServer._next_connection
        WebServer._next_connection += 1
        peer = "%s:%d" % writer.get_extra_info("peername")[:2]
        self._log.add("connect", unit=self._site.id, connection=number, peer=peer)
        self._writers.add(writer)
        self._tasks.add(asyncio.current_task())
        try:
            while await self._exchange(reader, writer, number):
                pass
        except (OSError, asyncio.IncompleteReadError, asyncio.LimitOverrunError, ValueError):
            pass  # a client may leave in the middle of a request
        except asyncio.CancelledError:
            pass
        finally:
            self._tasks.discard(asyncio.current_task())
            self._writers.discard(writer)
            writer.close()
            self._log.add("close", unit=self._site.id, connection=number)

    async def _exchange(self, reader, writer, number):
        head = await reader.readuntil(b"\r\n\r\n")
        request = parse(head)
        record = self._log.add(
            "request", unit=self._site.id, connection=number, method=request.method, path=request.path,
            headers=request.headers, status=None,
        )
        respond = asyncio.create_task(self._site.respond(request, record, writer))
        try:
            # An endless answer ends when the waiting client goes.
            while not (await asyncio.wait({respond}, timeout=END_CHECK))[0]:
                if reader.at_eof() or reader.exception():
                    return False
            answer = respond.result()
            record["status"] = answer.status if answer else None
        finally:
            respond.cancel()
            await asyncio.gather(respond, return_exceptions=True)
            record["answered"] = time.monotonic()
            self._log.write(record)
        if answer is None:
            return False
        closing = (request.header("connection") or "").lower() == "close"
        writer.write(render(answer, closing))
        await writer.drain()
        if answer.behind:
            await asyncio.sleep(SEGMENT_GAP)
            writer.write(answer.behind)
            await writer.drain()
        return not closing


def parse(head):
    lines = head.decode("latin-1").split("\r\n")
    method, path, _ = lines[0].split(" ", 2)
    headers = []
    for line in lines[1:]:
        name, colon, text = line.partition(":")
        if colon:
            headers.append([name, text.strip()])
    return Request(method, path, headers)


def render(answer, closing):
    try:
        phrase = http.HTTPStatus(answer.status).phrase
    except ValueError:
        phrase = "Unknown"
    lines = [f"HTTP/1.1 {answer.status} {phrase}"]
    lines += [f"{name}: {value}" for name, value in answer.headers]
    if answer.status != 304:
        lines.append(f"Content-Length: {len(answer.body)}")
    if closing:
        lines.append("Connection: close")
    return ("\r\n".join(lines) + "\r\n\r\n").encode("latin-1") + answer.body
