"""The demonstration for machines without a display, as `run` plays it."""

import os
import pathlib
import signal
import struct
import subprocess
import time

import pytest

from conftest import ROOT
from vorndesktop import wait_until

BUILD = os.environ["VORN_BUILD"]
SIZE = (960, 600)


def start(folder):
    """Starts it with its temporary files in a folder, which identifies every process that it starts."""
    return subprocess.Popen(
        [ROOT / "studio" / "demo", BUILD, folder / "pictures"], env={**os.environ, "TMPDIR": str(folder)},
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
    )


def processes_of(folder):
    """The processes that have the folder in their environment."""
    found = []
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            if str(folder).encode() in (process / "environ").read_bytes():
                found.append(process.name)
        except OSError:
            pass  # it has gone in the meantime
    return found


def size_of(png):
    data = png.read_bytes()
    assert data.startswith(b"\x89PNG\r\n\x1a\n")
    return struct.unpack(">II", data[16:24])


def test_it_plays_to_its_end_and_leaves_pictures(tmp_path):
    demo = start(tmp_path)
    listed, told = demo.communicate(timeout=180)
    assert demo.returncode == 0, told
    assert "Control Room A" in listed and "update" in listed
    pictures = {name: tmp_path / "pictures" / f"{name}.png" for name in ("item", "panel", "notification")}
    for name, path in pictures.items():
        assert f"{name}.png" in told
        assert size_of(path) == SIZE
    assert len({path.read_bytes() for path in pictures.values()}) == 3
    assert processes_of(tmp_path) == []
    assert list(tmp_path.glob("vorn-desktop-*")) == []


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGKILL])
def test_nothing_stays_when_it_is_interrupted(tmp_path, number):
    demo = start(tmp_path)
    assert demo.stdout.readline()  # now the desktop exists and the programs run
    assert len(processes_of(tmp_path)) > 5
    demo.send_signal(number)
    started = time.monotonic()
    demo.communicate(timeout=60)
    assert demo.returncode == (-number if number == signal.SIGKILL else 128 + number)
    wait_until(lambda: not processes_of(tmp_path), "the end of everything that it started")
    assert time.monotonic() - started < 30
    if number != signal.SIGKILL:
        assert list(tmp_path.glob("vorn-desktop-*")) == []
