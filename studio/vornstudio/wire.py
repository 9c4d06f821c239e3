"""Messages between the studio's user and the process inside: JSON, each after its length.

The channel is a socket pair from before the namespaces. So nothing of it has a name in a file system or can stay
there. File descriptors travel with the first byte of a message.
"""

import asyncio
import json
import socket
import struct

LENGTH = struct.Struct("!I")
MAX_DESCRIPTORS = 8


def encode(message):
    body = json.dumps(message).encode()
    return LENGTH.pack(len(body)) + body


def send(sock, message, descriptors=()):
    """Sends one message, blocking, with copies of the given descriptors."""
    data = encode(message)
    sent = socket.send_fds(sock, [data], list(descriptors)) if descriptors else 0
    sock.sendall(data[sent:])


def receive(sock):
    """Receives one message, blocking. None if the peer has gone."""
    head = _read_exactly(sock, LENGTH.size)
    if head is None:
        return None
    body = _read_exactly(sock, LENGTH.unpack(head)[0])
    return None if body is None else json.loads(body)


def _read_exactly(sock, count):
    chunks = []
    while count:
        try:
            chunk = sock.recv(count)
        except ConnectionResetError:
            return None
        if not chunk:
            return None
        chunks.append(chunk)
        count -= len(chunk)
    return b"".join(chunks)


class Server:
    """The inner end of the channel on an asyncio loop. It makes one coroutine call for each message and answers in
    order.

    `handle(message, descriptors)` owns the descriptors that it gets. `on_gone` is called once when the other end was
    closed, also when the studio's user died.
    """

    def __init__(self, sock, handle, on_gone):
        self._sock = sock
        self._handle = handle
        self._on_gone = on_gone
        self._buffer = b""
        self._descriptors = []
        self._queue = asyncio.Queue()
        sock.setblocking(False)
        asyncio.get_running_loop().add_reader(sock, self._readable)
        self._worker = asyncio.create_task(self._work())

    def _readable(self):
        try:
            data, descriptors, _, _ = socket.recv_fds(self._sock, 65536, MAX_DESCRIPTORS)
        except BlockingIOError:
            return
        except OSError:
            data, descriptors = b"", []
        if not data:
            asyncio.get_running_loop().remove_reader(self._sock)
            self._on_gone()
            return
        self._buffer += data
        self._descriptors += descriptors
        self._split()

    def _split(self):
        while len(self._buffer) >= LENGTH.size:
            end = LENGTH.size + LENGTH.unpack_from(self._buffer)[0]
            if len(self._buffer) < end:
                return
            message = json.loads(self._buffer[LENGTH.size:end])
            self._buffer = self._buffer[end:]
            count = message.get("descriptors", 0)
            given, self._descriptors = self._descriptors[:count], self._descriptors[count:]
            self._queue.put_nowait((message, given))

    async def _work(self):
        loop = asyncio.get_running_loop()
        while True:
            message, descriptors = await self._queue.get()
            try:
                answer = {"result": await self._handle(message, descriptors)}
            except Exception as error:  # the caller decides about every error
                answer = {"error": f"{type(error).__name__}: {error}"}
            try:
                await loop.sock_sendall(self._sock, encode(answer))
            except OSError:
                return
