"""The replacement for the browser: fetches the page inside the studio and reports what was opened.

As a program (`xdg-open` in the studio) it takes the address. As a receiver it belongs to the studio's first process,
which logs and shows each report.
"""

import asyncio
import http.client
import json
import re
import socket
import sys
import urllib.parse

from .namespaces import STATE

SOCKET = f"{STATE}/browser.sock"
ADDRESSES = f"{STATE}/addresses"


class Receiver:
    """Receives the reports of the replacement, logs each as "opened" and shows it on standard error."""

    def __init__(self, log):
        self._log = log
        self._sock = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)

    def open(self):
        self._sock.bind(SOCKET)
        asyncio.get_running_loop().add_reader(self._sock, self._receive)

    def _receive(self):
        report = json.loads(self._sock.recv(65536))
        self._log.add("opened", **report)
        outcome = report.get("error") or f"{report['status']}, \"{report['title']}\""
        print(f"studio: the browser opened {report['url']} ({outcome})", file=sys.stderr, flush=True)


def fetch(url):
    """Fetches a page from a unit or any other address of the studio."""
    parts = urllib.parse.urlsplit(url)
    if parts.scheme not in ("http", "https") or not parts.hostname:
        return {"error": "not a web address"}
    with open(ADDRESSES) as file:
        addresses = dict(line.split() for line in file)
    host = addresses.get(parts.hostname.lower(), parts.hostname)
    connection = http.client.HTTPConnection(host, parts.port or 80, timeout=10)
    try:
        target = urllib.parse.urlunsplit(("", "", parts.path or "/", parts.query, ""))
        connection.request("GET", target, headers={"Host": parts.netloc})
        answer = connection.getresponse()
        body = answer.read(1 << 20).decode("utf-8", "replace")
        title = re.search(r"<title>([^<]*)", body)
        return {"status": answer.status, "title": title.group(1) if title else ""}
    except (OSError, http.client.HTTPException) as error:
        return {"error": str(error) or type(error).__name__}
    finally:
        connection.close()


def main():
    if len(sys.argv) != 2:
        print("usage: xdg-open ADDRESS", file=sys.stderr)
        return 1
    report = {"url": sys.argv[1], **fetch(sys.argv[1])}
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sock:
        sock.sendto(json.dumps(report).encode(), SOCKET)
    return 0 if report.get("status") == 200 else 4


if __name__ == "__main__":
    sys.exit(main())
