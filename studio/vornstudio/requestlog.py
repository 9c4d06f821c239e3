"""The log of everything that happened in the studio: connections, requests, actions, opened pages."""

import json
import sys
import time


class RequestLog:
    """Entries are dictionaries with "t", the seconds of the monotonic clock, and "event". They stay in memory and go
    to the file as JSON lines.

    A request's entry appears when its header is complete. It gets its "status" when the answer is decided. So the
    file has the entry only from that moment, unlike the memory.
    """

    def __init__(self, file=None):
        self.entries = []
        self._file = file

    def add(self, event, **fields):
        entry = {"t": time.monotonic(), "event": event, **fields}
        self.entries.append(entry)
        if event != "request":
            self.write(entry)
        return entry

    def write(self, entry):
        if self._file:
            try:
                print(json.dumps(entry, ensure_ascii=False), file=self._file, flush=True)
            except OSError as error:
                print(f"studio: the log cannot be written: {error}", file=sys.stderr)
                self._file = None
