"""Handmade multicast DNS packets, for cases that no library sends.

As a program, on the side that announces: sends each packet to the multicast group. The arguments are packets as
hexadecimal digits.
"""

import socket
import struct
import sys

GROUP, PORT = "224.0.0.251", 5353
FAR_ADDRESS = "10.77.0.2"
TYPE = ("_http", "_tcp", "local")
A, PTR, TXT, SRV = 1, 12, 16, 33
IN, CACHE_FLUSH = 1, 0x8000
SECONDS = 4500
PTR_EACH = 20  # records that always fit into a packet


def name(*labels):
    encoded = b""
    for label in labels:
        data = label if isinstance(label, bytes) else label.encode()
        encoded += bytes([len(data)]) + data
    return encoded + b"\0"


def record(owner, kind, data, unique=True):
    return owner + struct.pack("!HHIH", kind, IN | (CACHE_FLUSH if unique else 0), SECONDS, len(data)) + data


def response(records):
    return struct.pack("!HHHHHH", 0, 0x8400, 0, len(records), 0, 0) + b"".join(records)


def pointer(instance):
    return record(name(*TYPE), PTR, name(instance, *TYPE), unique=False)


def announcement(instance, host, address, items, port=80):
    """The packet of a service. `items` are those of its TXT record, in order."""
    owner, target = name(instance, *TYPE), name(host, "local")
    data = b"".join(bytes([len(item)]) + item for item in items)
    return response([
        pointer(instance),
        record(owner, SRV, struct.pack("!HHH", 0, 0, port) + target),
        record(owner, TXT, data or b"\0"),
        record(target, A, socket.inet_aton(address)),
    ])


def dead(*instances):
    """The packets of services that are announced but never answer."""
    return [
        response([pointer(instance) for instance in instances[first:first + PTR_EACH]])
        for first in range(0, len(instances), PTR_EACH)
    ]


def send(studio, *packets):
    """Multicasts the packets from the far side of the studio."""
    command = ["/usr/bin/python3", __file__, *(packet.hex() for packet in packets)]
    result = studio.run(command, side="far")
    assert result.returncode == 0, result.stderr


def main():
    sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    sender.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    sender.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEPORT, 1)
    sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 255)
    sender.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(FAR_ADDRESS))
    sender.bind((FAR_ADDRESS, PORT))
    for packet in sys.argv[1:]:
        sender.sendto(bytes.fromhex(packet), (GROUP, PORT))


if __name__ == "__main__":
    main()
