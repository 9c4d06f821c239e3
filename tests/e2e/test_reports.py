"""What the terminal program writes for other programs: CSV, OpenMetrics, and files that are replaced as a whole."""

import csv
import io
import json
import os
import re
import stat
import subprocess
import threading
import time

import pytest
from program import BINARY, PATIENCE

ODD = 'The "big" one, left\nhand \\'
UNITS = {
    "releases": {"Vorn 8D": "2.1.0+87"},
    "unit": [
        {"name": "Desk", "model": "Vorn 8D", "firmware": "2.0.9+80"},
        {"name": "Odd", "entity_name": ODD, "model": "Vorn 8D", "firmware": "2.1.0+87"},
    ],
}
FORMATS = ["table", "json", "csv", "openmetrics"]
LOOK = "6"  # seconds in which the responder answers, on a busy machine


class Writer:
    """`vorn-device-list --watch --output FILE` in a studio."""

    def __init__(self, studio, file, *options):
        self._studio = studio
        self._file = file
        self.process = studio.popen(
            [BINARY, "--watch", "--output", file, *options], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )

    def text(self):
        return self._file.read_bytes().decode() if self._file.exists() else ""

    def wait_for(self, condition, what):
        """Waits until the text of the file satisfies the condition. Returns the text."""
        try:
            return self._studio.wait_until(lambda: (text := self.text()) and condition(text) and text, PATIENCE, what)
        except TimeoutError as error:
            raise AssertionError(f"{error}; the file has:\n{self.text()}") from None

    def end(self):
        """Its exit status, output and messages."""
        self.process.terminate()
        status = self.process.wait(PATIENCE)
        with self.process.stdout as output, self.process.stderr as messages:
            return status, output.read(), messages.read()


def complete(studio, *options):
    """The output of a run that found both units and the newest version."""
    def run():
        result = studio.run([BINARY, "--wait", "2", *options])
        return result.stdout if result.stdout.count("2.1.0+87") == 3 else None

    return studio.wait_until(run, PATIENCE, "a complete list")


def test_a_reader_of_csv_gets_the_names_as_they_are(make_studio):
    studio = make_studio(UNITS)
    text = complete(studio, "--format=csv")
    rows = list(csv.DictReader(io.StringIO(text, newline=""), strict=True))
    assert [(row["name"], row["kind"], row["update"]) for row in rows] == [
        ("Desk", "device", "true"), (ODD, "device", "false")]
    assert rows[0] == {
        "name": "Desk", "kind": "device", "model": "Vorn 8D", "firmware": "2.0.9+80", "newest": "2.1.0+87",
        "url": "http://desk.local/", "uid": rows[0]["uid"], "update": "true",
    }
    assert re.fullmatch("[0-9a-f]{16}", rows[0]["uid"])


def test_interfaces_as_csv_are_those_of_json(studio):
    interfaces = json.loads(studio.run([BINARY, "--interfaces", "--json"]).stdout)["interfaces"]
    result = studio.run([BINARY, "--interfaces", "--format=csv"])
    rows = list(csv.DictReader(io.StringIO(result.stdout, newline=""), strict=True))
    assert result.returncode == 0 and len(rows) > 0
    assert [(row["name"], row["interface"]) for row in rows] == [(one["name"], one["interface"]) for one in interfaces]


@pytest.mark.parametrize("arguments", [
    ["--json", "--format=csv"], ["--format=openmetrics", "--format=table"], ["--interfaces", "--format=openmetrics"],
    ["--format=xml"], ["--format"], ["--output"], ["--output="],
])
def test_a_command_line_that_contradicts_itself_exits_with_2(studio, arguments):
    result = studio.run([BINARY, *arguments])
    assert (result.returncode, result.stdout) == (2, "")
    assert result.stderr.endswith("; see --help\n")


@pytest.mark.parametrize("form", FORMATS)
def test_a_file_gets_what_standard_output_would_have(make_studio, tmp_path, form):
    studio = make_studio(UNITS)
    file = tmp_path / "units"
    time_of = re.compile(r"(?<=^vorn_list_timestamp_seconds )\d+$", re.MULTILINE)
    expected = time_of.sub("T", complete(studio, f"--format={form}"))

    def run():
        result = studio.run(["sh", "-c", 'umask 077; exec "$@"', "sh", BINARY, f"--format={form}", "--output", file,
                             "--wait", "2"])
        assert result.stdout == ""
        return result.returncode == 0 and time_of.sub("T", file.read_bytes().decode().replace("\r\n", "\n")) == expected.replace("\r\n", "\n")

    studio.wait_until(run, PATIENCE, "the same text")
    assert stat.S_IMODE(file.stat().st_mode) == 0o644
    assert [path.name for path in tmp_path.iterdir()] == ["units"]


@pytest.mark.parametrize("form", FORMATS)
def test_a_watched_file_follows_each_change(make_studio, tmp_path, form):
    studio = make_studio(UNITS)
    writer = Writer(studio, tmp_path / "units", f"--format={form}")
    writer.wait_for(lambda text: text.count("2.1.0+87") == 3, "both units")
    studio.do("rename", unit="desk", name="Renamed")
    writer.wait_for(lambda text: "Renamed" in text and "Desk" not in text, "the new name")
    studio.do("goodbye", unit="desk")
    writer.wait_for(lambda text: "Renamed" not in text, "the list without the unit")
    assert writer.end() == (0, b"", b"")


def test_a_reader_never_sees_a_part_of_the_file(make_studio, tmp_path):
    studio = make_studio({"many": [{"count": 60, "name": "Unit {n:02}", "announcer": "avahi"}]})
    writer = Writer(studio, tmp_path / "units", "--format=json", "--wait", "0")
    writer.wait_for(bool, "the file")
    broken = []
    ended = threading.Event()

    def read():
        while not ended.is_set():
            try:
                json.loads(writer.text())
            except ValueError as error:
                broken.append(str(error))

    reader = threading.Thread(target=read)
    reader.start()
    for number in range(5):
        studio.do("rename", unit="unit-01", name=f"Round {number}")
        writer.wait_for(lambda text: f"Round {number}" in text, "the new name")
    ended.set()
    reader.join()
    assert writer.end()[0] == 0
    assert broken == []


@pytest.mark.parametrize("watch", [[], ["--watch"]])
@pytest.mark.parametrize("file", ["none/units", "folder", "pipe", "/dev/stdout"])
def test_a_file_that_cannot_be_written_is_named_and_the_program_exits_with_1(make_studio, tmp_path, file, watch):
    studio = make_studio(UNITS)
    (tmp_path / "folder").mkdir()
    os.mkfifo(tmp_path / "pipe")
    reason = "No such file or directory" if file == "none/units" else "it is no regular file"
    result = studio.run([BINARY, "--output", file, "--wait", LOOK, *watch], cwd=tmp_path)
    assert (result.returncode, result.stdout) == (1, "")
    assert result.stderr == f"vorn-device-list: cannot write to '{file}': {reason}\n"
    assert stat.S_ISFIFO((tmp_path / "pipe").stat().st_mode)


@pytest.mark.parametrize("options, reason", [
    ("size=4k", "No space left on device"), ("ro", "Read-only file system"),
])
def test_a_full_or_read_only_disk_leaves_the_old_file(make_studio, tmp_path, options, reason):
    """One page holds the old file, so that there is none for the new one."""
    studio = make_studio(UNITS)
    script = f"""
        mount -t tmpfs -o size=4k none {tmp_path} && echo before >{tmp_path}/units || exit 99
        mount -o remount,{options} {tmp_path} || exit 98
        {BINARY} --output {tmp_path}/units --wait {LOOK}
        echo "status $?"; cat {tmp_path}/units; ls {tmp_path}
    """
    rights = [] if os.getuid() == 0 else ["--user", "--map-current-user", "--keep-caps"]
    result = studio.run(["unshare", *rights, "--mount", "sh", "-c", script])
    assert result.stdout == "status 1\nbefore\nunits\n", result
    assert result.stderr == f"vorn-device-list: cannot write to '{tmp_path}/units': {reason}\n"


def test_a_file_stays_as_it_was_if_the_program_could_not_look(make_studio, tmp_path):
    studio = make_studio({**UNITS, "near": {"responder": False}})
    file = tmp_path / "units"
    file.write_text("before")
    result = studio.run([BINARY, "--output", file, "--wait", "1"])
    assert (result.returncode, result.stdout, file.read_text()) == (3, "", "before")
    writer = Writer(studio, file, "--wait", "0", "--format=csv")
    studio.do("responder", op="start")
    writer.wait_for(lambda text: "Desk" in text, "the list")
    assert writer.end()[0] == 0


def test_an_empty_network_is_an_empty_list_in_the_file(studio, tmp_path):
    result = studio.run([BINARY, "--output", tmp_path / "units", "--format=json", "--wait", LOOK])
    assert (result.returncode, (tmp_path / "units").read_text()) == (1, '{"units":[]}\n')


def time_in(text):
    return int(re.search(r"^vorn_list_timestamp_seconds (\d+)$", text, re.MULTILINE).group(1))


def test_the_time_in_the_metrics_goes_on_without_a_change(make_studio, tmp_path):
    studio = make_studio(UNITS)
    started = int(time.time())
    writer = Writer(studio, tmp_path / "units.prom", "--format=openmetrics", "--wait", "2")
    first = writer.wait_for(lambda text: "timestamp" in text, "the file")
    assert started <= time_in(first) <= time.time()
    later = writer.wait_for(lambda text: time_in(text) > time_in(first), "a later time")
    studio.wait_until(lambda: time_in(writer.text()) > time_in(later), PATIENCE, "a still later time")
    assert writer.end() == (0, b"", b"")


def test_the_time_in_the_metrics_stands_still_while_the_program_cannot_look(make_studio, tmp_path):
    studio = make_studio(UNITS)
    writer = Writer(studio, tmp_path / "units.prom", "--format=openmetrics", "--wait", "2")
    writer.wait_for(lambda text: "Desk" in text and "timestamp" in text, "the file")
    studio.do("responder", op="stop")
    told = writer.process.stderr.readline()
    stopped = time.time()
    assert b"no DNS-SD responder is running" in told
    studio.do("rename", unit="desk", name="Renamed")
    text = writer.wait_for(lambda text: "Renamed" in text, "the new name")
    assert time_in(text) <= stopped
    studio.do("responder", op="start")
    writer.wait_for(lambda text: time_in(text) > stopped, "a later time")
    assert writer.end()[0] == 0
