"""The terminal program as people and scripts use it: its forms, its exit statuses, its end."""

import fcntl
import json
import os
import pty
import select
import signal
import subprocess
import time

import pytest
from program import BINARY, PATIENCE, ListProgram

UNITS = {
    "releases": {"Vorn 8D": "2.1.0+87"},
    "unit": [
        {"name": "Desk", "model": "Vorn 8D", "firmware": "2.0.9+80"},
        {"name": "Booth", "model": "Vorn 8D", "firmware": "2.1.0+87"},
        {"name": "Switch", "kind": "plexaswitch", "firmware": "3.0.4+12"},
        {"name": "Old", "api": "1.0"},
    ],
}


def run_until_complete(studio, *options, program=(BINARY,)):
    """Runs the program until a run finds all of UNITS and its versions. A busy machine may need more than one run."""
    deadline = time.monotonic() + PATIENCE
    while True:
        result = studio.run([*program, *options])
        # One unit runs the newest version, and the table shows the newest version for two units.
        is_complete = result.stdout.count("2.1.0+87") == 3 and "3.0.4+12" in result.stdout and "Old" in result.stdout
        if is_complete or time.monotonic() > deadline:
            return result


def test_the_table_holds_what_is_known_and_marks_updates(make_studio):
    studio = make_studio(UNITS)
    result = run_until_complete(studio, "--wait", "2")
    assert (result.returncode, result.stderr) == (0, "")
    header, booth, desk, old, switch = (line.split() for line in result.stdout.splitlines())
    assert header == ["NAME", "KIND", "MODEL", "FIRMWARE", "NEWEST", "URL", "UPDATE"]
    assert booth[:6] == ["Booth", "device", "Vorn", "8D", "2.1.0+87", "2.1.0+87"]
    assert desk[:6] == ["Desk", "device", "Vorn", "8D", "2.0.9+80", "2.1.0+87"]
    assert len(desk) == len(booth) + 1, "the mark"
    assert old == ["Old", "device", "-", "-", "-", "http://old.local/"]
    assert switch == ["Switch", "switch", "avbswitch", "3.0.4+12", "-", "http://switch.local/"]
    lines = result.stdout.splitlines()
    column = lines[0].index("URL")
    assert all(line[column:].startswith("http://") for line in lines[1:]), "the columns are aligned"
    assert "\x1b" not in result.stdout


def test_the_table_is_in_the_users_language(make_studio, tmp_path):
    subprocess.run(["localedef", "-i", "de_DE", "-f", "UTF-8", tmp_path / "de_DE.UTF-8"], check=True)
    german = ("env", f"LOCPATH={tmp_path}", "LC_ALL=de_DE.UTF-8", BINARY)
    result = run_until_complete(make_studio(UNITS), "--wait", "2", program=german)
    header, booth, desk, old, switch = (line.split() for line in result.stdout.splitlines())
    assert header == ["NAME", "ART", "MODELL", "FIRMWARE", "NEUESTE", "URL", "UPDATE"]
    assert (booth[1], switch[1]) == ("Gerät", "Switch")
    assert (desk[-1], booth[-1]) == ("Update", "http://booth.local/")


def test_one_json_object_is_printed_without_watching(make_studio):
    studio = make_studio(UNITS)
    line, = run_until_complete(studio, "--json", "--wait", "2").stdout.splitlines()
    units = json.loads(line)["units"]
    assert [unit["name"] for unit in units] == ["Booth", "Desk", "Old", "Switch"]
    assert [unit["updateAvailable"] for unit in units] == [False, True, False, False]
    assert set(units[0]) == {
        "name", "type", "url", "uid", "modelID", "firmwareVersion", "latestVersion", "updateAvailable",
    }
    result = studio.run([BINARY, "--json", "--wait=2", "--no-switches"])
    assert "plexaswitch" not in result.stdout


def test_the_update_server_is_not_asked_offline_or_if_the_user_forbids_it(make_studio):
    studio = make_studio(UNITS)
    def newest(*options):
        while True:
            result = studio.run([BINARY, "--json", "--wait", "2", *options])
            units = json.loads(result.stdout)["units"]
            if [unit["firmwareVersion"] for unit in units].count(None) == 1:
                return {unit["latestVersion"] for unit in units}

    assert newest("--offline") == {None}
    settings = "/run/vorn-studio/home/.config/vorn-device-finder/settings.conf"
    studio.run(["mkdir", "-p", os.path.dirname(settings)])
    studio.run(["sh", "-c", f"printf '[General]\\ncheckForUpdates=false\\n' >{settings}"])
    assert newest() == {None}
    studio.run(["sh", "-c", f": >{settings}"])  # what the user has forbidden is lost
    assert newest() == {None}
    assert studio.requests("update-server") == []
    studio.run(["rm", settings])
    assert "2.1.0+87" in newest()


def test_an_empty_network_is_reported_and_exits_with_1(studio):
    started = time.monotonic()
    result = studio.run([BINARY, "--wait", "1"])
    assert (result.returncode, result.stdout) == (1, "No Local Devices Found.\n")
    assert time.monotonic() - started >= 1.0


@pytest.mark.parametrize("arguments, named", [
    (["--nonsense"], "'--nonsense'"), (["--wait"], "'--wait'"), (["--wait", "soon"], "'soon'"), (["stray"], "'stray'"),
    (["--", "--json"], "'--json'"), (["--wa", "1"], "'--wa'"), (["-x"], "'-x'"),
])
def test_bad_usage_exits_with_2_and_names_the_argument(studio, arguments, named):
    result = studio.run([BINARY, *arguments])
    assert (result.returncode, result.stdout) == (2, "")
    assert named in result.stderr, result.stderr


def test_options_may_be_short_abbreviated_and_ended(studio):
    assert studio.run([BINARY, "-h"]).stdout == studio.run([BINARY, "--help", "--"]).stdout
    assert studio.run([BINARY, "-V"]).stdout == studio.run([BINARY, "--ver"]).stdout
    result = studio.run([BINARY, "--js", "--wai=0.2", "--"])
    assert (result.returncode, result.stdout) in ((1, '{"units":[]}\n'), (3, '{"units":[]}\n'))


def test_interfaces_as_json_are_one_object_on_one_line(studio):
    result = studio.run([BINARY, "--interfaces", "--json"])
    line, = result.stdout.splitlines()
    assert list(json.loads(line)) == ["interfaces"]


# The message on standard error for each reason why it cannot look.
REASONS = {"absent": "no DNS-SD responder is running", "silent": "does not answer", "no network": "no network connection"}


@pytest.mark.parametrize("wait", ["1", "7"])
@pytest.mark.parametrize("why", REASONS)
def test_the_reason_why_it_cannot_look_is_printed_and_it_exits_with_3(make_studio, why, wait):
    studio = make_studio(UNITS)
    if why == "no network":
        studio.do("near-link", op="down")
    else:
        studio.do("responder", op="stop" if why == "absent" else "pause")
    result = studio.run([BINARY, "--wait", wait])
    assert (result.returncode, result.stdout) == (3, "No Local Devices Found.\n")
    told, = result.stderr.splitlines()
    assert REASONS[why] in told


class Tables:
    """The tables that `--watch` writes into a pipe, with the time of each."""

    def __init__(self, studio, *options):
        self._process = studio.popen([BINARY, "--watch", *options], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.text = ""

    def read_until(self, condition):
        deadline = time.monotonic() + PATIENCE
        while not condition(self.tables()):
            assert time.monotonic() < deadline, self.text[-2000:]
            if select.select([self._process.stdout], [], [], 0.1)[0]:
                self.text += self._process.stdout.read(65536).decode()

    def tables(self):
        return self.text.split("\n\n") if self.text else []

    def end(self):
        self._process.terminate()
        assert self._process.wait(PATIENCE) == 0
        self.text += self._process.stdout.read().decode()
        self._process.stdout.close()


def test_a_watched_table_in_a_pipe_comes_at_most_once_a_second(make_studio):
    count = 100
    units = {"count": count, "name": "Unit {n:03}", "model": "Vorn 8D", "firmware": "2.0.9+80", "announcer": "avahi"}
    studio = make_studio({"releases": {"Vorn 8D": "2.1.0+87"}, "many": [units]})
    started = time.monotonic()
    watch = Tables(studio)
    watch.read_until(lambda tables: tables and tables[-1].count("  update") == count)
    seconds = time.monotonic() - started
    watch.end()
    tables = watch.tables()
    assert all(table.startswith("NAME ") for table in tables), "none says that nothing is found"
    assert len(tables) <= seconds + 1, (len(tables), seconds)
    assert tables[-1].count("  update") == count


def test_a_watch_into_a_pipe_says_that_nothing_is_found_once_its_wait_is_over(studio):
    started = time.monotonic()
    watch = Tables(studio, "--wait", "2")
    watch.read_until(bool)
    assert time.monotonic() - started >= 2
    watch.end()
    assert watch.text == "No Local Devices Found.\n"


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_a_signal_ends_the_watch(make_studio, number):
    studio = make_studio(UNITS)
    with ListProgram(studio) as program:
        program.wait_for(lambda: len(program.latest()) == 4, "four units")
        seconds, code = program.end(number)
        assert code == 0 and seconds < 1.0, seconds
        assert program.errors == []


def test_a_closed_pipe_ends_it_quietly(make_studio):
    studio = make_studio(UNITS)
    reading, writing = os.pipe()
    process = studio.popen([BINARY, "--watch", "--json"], stdout=writing, stderr=subprocess.PIPE)
    os.close(writing)
    os.read(reading, 1)
    os.close(reading)
    assert process.wait(PATIENCE) == 0
    assert process.stderr.read() == b""
    process.stderr.close()


@pytest.mark.parametrize("options", [["--watch"], ["--watch", "--json"], ["--json", "--wait", "1"]])
def test_unwritable_output_is_reported_and_exits_with_1(make_studio, options):
    studio = make_studio(UNITS)
    with open("/dev/full", "wb") as full:
        process = studio.popen([BINARY, *options], stdout=full, stderr=subprocess.PIPE)
    assert process.wait(PATIENCE) == 1
    told = b"vorn-device-list: cannot write to standard output: No space left on device\n"
    assert process.stderr.read() == told
    process.stderr.close()


def ended_before_the_pipe_was_full(studio, process, writing):
    """Waits until the pipe takes nothing more or the program has ended; whether it has ended."""

    def is_full():
        return not select.select([], [writing], [], 0)[1]

    studio.wait_until(lambda: is_full() or process.poll() is not None, PATIENCE, "a full pipe or the end")
    return process.poll() is not None


def test_a_slow_reader_of_a_nonblocking_pipe_gets_everything(make_studio):
    many = {"unit": [{"name": f"{number:03} " + "x" * 40} for number in range(60)]}
    studio = make_studio(many)
    reading, writing = os.pipe()
    fcntl.fcntl(writing, fcntl.F_SETPIPE_SZ, 4096)
    os.set_blocking(writing, False)
    process = studio.popen([BINARY, "--json", "--wait", "8"], stdout=writing, stderr=subprocess.PIPE)
    text = b""
    # A piece at a time, and only while there is no room for more.
    while not ended_before_the_pipe_was_full(studio, process, writing):
        text += os.read(reading, 1024)
    os.close(writing)
    while piece := os.read(reading, 1024):
        text += piece
    os.close(reading)
    assert process.wait(PATIENCE) == 0
    assert process.stderr.read() == b""
    process.stderr.close()
    units = json.loads(text)["units"]
    assert len(text) > 2 * 4096 and len(units) > 20, len(text)


@pytest.mark.parametrize("plain", [False, True])
def test_a_terminal_is_redrawn_in_place_and_coloured_on_request_only(make_studio, plain):
    studio = make_studio(UNITS)
    ours, theirs = pty.openpty()
    env = {"TERM": "xterm", "NO_COLOR": "1" if plain else ""}
    process = studio.popen([BINARY, "--watch"], stdout=theirs, env=env)
    os.close(theirs)
    shown = b""
    deadline = time.monotonic() + PATIENCE
    while not (b"Desk" in shown and b"Switch" in shown) and time.monotonic() < deadline:
        shown += os.read(ours, 65536)
    process.terminate()
    assert process.wait(PATIENCE) == 0
    os.close(ours)
    assert b"Desk" in shown and b"\x1b[" in shown
    coloured = any(b"\x1b[%dm" % code in shown for code in (1, 2, *range(30, 38), *range(90, 98)))
    assert coloured is not plain


def test_nothing_is_written_into_the_users_folders(make_studio):
    studio = make_studio(UNITS)
    run_until_complete(studio, "--wait", "2")
    found = studio.run(["sh", "-c", 'cd "$HOME" && find . -type f']).stdout.split()
    assert found == ["./.config/vorn-device-finder/settings.conf"]


def test_damaged_settings_are_reported_and_stay_as_they_are(make_studio):
    studio = make_studio(UNITS)
    damage = "updateServerRoot: http://nowhere.example/api/\n[cut"
    settings = '"$HOME/.config/vorn-device-finder/settings.conf"'
    assert studio.run(["sh", "-c", f"printf '{damage}' > {settings}"]).returncode == 0
    result = run_until_complete(studio, "--wait", "2")
    assert result.returncode == 0 and "Desk" in result.stdout
    told, = result.stderr.splitlines()
    assert "settings.conf cannot be used (it is no settings file); the file stays as it is and counts as empty" in told
    found = studio.run(["sh", "-c", f'cd "$HOME" && find . -type f && cat {settings}']).stdout
    assert found == "./.config/vorn-device-finder/settings.conf\n" + damage
