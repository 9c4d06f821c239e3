"""Waiting for what must come, by looking again and again: no wait is longer than what it waits for."""

import time

PACE = 0.03  # seconds between two looks
PATIENCE = 30.0  # seconds to wait for an event, on a busy machine


class DesktopError(RuntimeError):
    """A part of the desktop did not start, or did not do what it was asked."""


def _looks(seconds):
    """Yields at once, then again and again, and for the last time when the seconds are over."""
    end = time.monotonic() + seconds
    while time.monotonic() < end:
        yield
        time.sleep(PACE)
    yield


def eventually(condition, seconds=PATIENCE):
    """Waits for a true value of `condition()` and returns it; returns the last value when the time is over."""
    value = None
    for _ in _looks(seconds):
        value = condition()
        if value:
            break
    return value


def wait_until(condition, what, timeout=PATIENCE):
    """Waits for a true value of `condition()` and returns it. Raises DesktopError."""
    value = eventually(condition, timeout)
    if not value:
        raise DesktopError(f"waited {timeout:g} s in vain for {what}")
    return value


def stays(condition, seconds=1.0):
    """Whether the condition holds at every look for so long."""
    return all(condition() for _ in _looks(seconds))


def wait_until_still(look, what, seconds=0.3, timeout=PATIENCE):
    """Waits until `look()` has returned the same for so long, and returns that; None never counts."""
    seen, since = look(), time.monotonic()

    def is_still():
        nonlocal seen, since
        now = look()
        if now != seen:
            seen, since = now, time.monotonic()
        return seen is not None and time.monotonic() - since >= seconds

    wait_until(is_still, what, timeout)
    return seen
