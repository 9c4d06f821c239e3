"""The answers of a hostile or broken unit. Each fault takes the connection over and never returns it."""

import asyncio
import functools
import json
import os
import random
import socket
import struct
import threading
import zlib

OK = b"HTTP/1.1 200 OK\r\n"
CHUNK = 64 * 1024
PACE = 0.005  # seconds between pieces of an endless answer: fast enough to pass any bound, slow enough for the machine

_packing = threading.Lock()


async def endless_body(writer, unit, request):
    writer.write(OK + b"Content-Type: text/plain\r\n\r\n0.")
    while True:
        await _push(writer, b"x" * CHUNK)
        await asyncio.sleep(PACE)


async def endless_chunks(writer, unit, request):
    writer.write(OK + b"Transfer-Encoding: chunked\r\n\r\n")
    while True:
        await _push(writer, b"1000\r\n" + b"x" * 4096 + b"\r\n")
        await asyncio.sleep(PACE)


async def endless_header(writer, unit, request):
    writer.write(OK)
    number = 0
    while True:
        await _push(writer, b"".join(b"X-%d: %s\r\n" % (number + n, b"h" * 100) for n in range(20)))
        number += 20
        await asyncio.sleep(PACE)


async def endless_line(writer, unit, request):
    writer.write(OK + b"X-Long: ")
    while True:
        await _push(writer, b"h" * 4096)
        await asyncio.sleep(PACE)


async def drip(writer, unit, request):
    """Sends one byte of the body at a time, for hours."""
    writer.write(OK + b"Content-Length: 100000\r\n\r\n0.")
    while True:
        await _push(writer, b"1")
        await asyncio.sleep(0.3)


async def drip_header(writer, unit, request):
    writer.write(OK + b"X-Slow: ")
    while True:
        await _push(writer, b"1")
        await asyncio.sleep(0.3)


async def gzip_bomb(writer, unit, request):
    packed = await asyncio.to_thread(_bomb)  # the other units continue to answer
    writer.write(OK + b"Content-Encoding: gzip\r\nContent-Length: %d\r\n\r\n" % len(packed))
    await _push(writer, packed)


async def redirect_loop(writer, unit, request):
    await _redirect(writer, f"{request.path.split('?')[0]}?{random.randrange(10**6)}")


async def redirect_away(writer, unit, request):
    """Sends the client to the address in the unit's setting "away"."""
    await _redirect(writer, unit.away)


async def garbage(writer, unit, request):
    await _push(writer, os.urandom(3000) + b"\r\n\r\n")


async def silence(writer, unit, request):
    await asyncio.sleep(3600)


async def no_answer(writer, unit, request):
    """Closes without an answer."""


async def reset(writer, unit, request):
    """Breaks the connection in the middle of a body."""
    await _push(writer, OK + b"Content-Length: 1000\r\n\r\n0." + b"x" * 300)
    await asyncio.sleep(0.05)
    sock = writer.get_extra_info("socket")
    sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
    writer.transport.abort()


async def short_body(writer, unit, request):
    await _push(writer, OK + b"Content-Length: 1000\r\n\r\n0.9")


async def two_lengths(writer, unit, request):
    await _push(writer, OK + b"Content-Length: 3\r\nContent-Length: 300000000000\r\n\r\n0.9")


async def old_http(writer, unit, request):
    """A body with no header at all."""
    await _push(writer, b"0.9.2")


async def cut_header(writer, unit, request):
    """Closes within the header, before any field gives the length of the body."""
    await _push(writer, OK + b'ETag: "cut"\r\n')


async def deep_json(writer, unit, request):
    await _answer(writer, b'{"value":' + b"[" * 400000 + b"]" * 400000 + b"}")


async def bad_text(writer, unit, request):
    await _answer(writer, b'{"value":"0.\xff\xfe\xc3"}')


async def wrong_types(writer, unit, request):
    await _answer(writer, random.choice([b'{"value":12}', b'["value"]', b'{"value":null}', b'{"value":{}}', b"12"]))


async def control_characters(writer, unit, request):
    # It is a name like any other, so it has a tag of its own: the unit's real name must be news after it.
    await _answer(writer, json.dumps({"value": "0.\x1b]0;owned\x07\x1b[2J\u202e\r\n"}).encode(), b'ETag: "owned"\r\n')


@functools.cache
def _packed_zeros():
    """200 MB of zeros in about 200 KB."""
    packer = zlib.compressobj(9, zlib.DEFLATED, 31)
    megabyte = bytes(1 << 20)
    return b"".join(packer.compress(megabyte) for _ in range(200)) + packer.flush()


def _bomb():
    with _packing:  # made once for all units
        return _packed_zeros()


async def _push(writer, data):
    writer.write(data)
    await writer.drain()


async def _answer(writer, body, fields=b""):
    await _push(writer, OK + fields + b"Content-Length: %d\r\nConnection: close\r\n\r\n%s" % (len(body), body))


async def _redirect(writer, location):
    head = f"HTTP/1.1 302 Found\r\nLocation: {location}\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"
    await _push(writer, head.encode())


FAULTS = {
    name.replace("_", "-"): function
    for name, function in list(globals().items())
    if asyncio.iscoroutinefunction(function) and not name.startswith("_")
}
