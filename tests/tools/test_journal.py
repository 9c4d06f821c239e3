"""Messages carry the journal's priority if standard error is the journal, and only then."""

import os
import pathlib
import subprocess

import pytest

BIN = pathlib.Path(os.environ["VORN_BIN"])
PROGRAMS = [name for name in ("vorn-device-list", "vorn-device-finder") if (BIN / name).exists()]


def name_of(descriptor):
    """How systemd names a descriptor in JOURNAL_STREAM."""
    status = os.fstat(descriptor)
    return f"{status.st_dev}:{status.st_ino}"


def said(program, journal_stream):
    """What the program writes to a pipe when its argument is wrong; the variable comes from the pipe."""
    reading, writing = os.pipe()
    environment = {name: value for name, value in os.environ.items() if name != "JOURNAL_STREAM"} | {"LC_ALL": "C"}
    value = journal_stream(writing)
    if value is not None:
        environment["JOURNAL_STREAM"] = value
    result = subprocess.run([BIN / program, "--nonsense"], stderr=writing, env=environment, check=False)
    os.close(writing)
    with open(reading, encoding="utf-8") as pipe:
        text = pipe.read()
    assert result.returncode == 2 and text.endswith("--nonsense'; see --help\n"), text
    return text


@pytest.mark.parametrize("program", PROGRAMS)
def test_a_message_to_the_journal_has_a_priority(program):
    assert said(program, name_of).startswith(f"<4>{program}: ")


@pytest.mark.parametrize("program", PROGRAMS)
@pytest.mark.parametrize("other", [
    lambda _: None, lambda _: "", lambda _: "journal", lambda _: name_of(0), lambda one: name_of(one) + "0",
    lambda one: name_of(one).split(":")[0], lambda one: "0" + name_of(one),
])
def test_a_message_to_anything_else_has_none(program, other):
    assert said(program, other).startswith(f"{program}: ")
