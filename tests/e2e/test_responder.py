"""The responder comes and goes. The program finds units whenever there is one, and never waits for it."""

import contextlib
import time

import pytest
from program import BINARY, ListProgram, gaps, header, paths

UNITS = [
    {"name": "Desk"}, {"name": "Booth"}, {"name": "Switch", "kind": "plexaswitch"},
    {"name": "Rack", "kind": "plexahost", "device": [{"uid": "a1", "name": "Left"}, {"uid": "a2", "name": "Right"}]},
]
NAMES = ("Booth", "Desk", "Left", "Right", "Switch")
RELEASES = {"Vorn 16A": "1.4.2+311", "avbswitch": "3.0.4+12"}
HOLD = 5.0  # seconds of an answering responder before units leave that it has not named again
PERIOD = 3.0


def wait_for_whole_list(program):
    """Waits until each unit's newest version is listed too; returns the list."""
    program.wait_for_names(*NAMES)
    program.wait_for(lambda: all(unit["latestVersion"] for unit in program.latest().values()), "the newest versions")
    return program.latest()


@contextlib.contextmanager
def nothing_happens(studio, program):
    """Nothing inside this block changes the list of the present units, or costs one request more.

    The requests that continue are polls over the same connections at the same pace. They ask only for the name, and
    only for a new one.
    """
    before, first_list, first_entry = program.latest(), len(program.lists) - 1, len(studio.log())
    connections = {request["connection"] for request in studio.requests()}
    units = {request["unit"] for request in studio.requests()} - {"update-server"}
    yield
    requests = [request for request in studio.requests(since=first_entry) if request["unit"] in units]
    for _, listed in program.lists[first_list:]:
        assert {url: listed.get(url) for url in before} == before
    assert {request["connection"] for request in requests} <= connections
    assert studio.requests("update-server", since=first_entry) == []
    for path in set(paths(requests)):
        polls = [request for request in requests if request["path"] == path and "answered" in request]
        assert path.endswith("/entity_name") or path == "/firmware_version", path
        assert all(header(poll, "If-None-Match") for poll in polls if path != "/firmware_version")
        for unit in units:
            pauses = gaps([poll for poll in polls if poll["unit"] == unit])
            assert not pauses or min(pauses) > PERIOD - 0.02, (unit, pauses)


def polls_of_all(studio, program, count):
    """Waits until each unit was polled this many more times."""
    before = {name: len(studio.requests(name)) for name in ("desk", "booth", "switch")}
    program.wait_for(
        lambda: all(len(studio.requests(name)) >= polls + count for name, polls in before.items()), "polls")


@pytest.mark.parametrize("bus", [True, False])
def test_it_waits_for_a_responder_that_is_absent_at_its_start(make_studio, bus):
    studio = make_studio({"near": {"responder": False, "bus": bus}, "unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for(lambda: program.errors, "the message")
        assert program.lists == [] or program.latest() == {}
        if not bus:
            studio.do("bus", op="start")
        studio.do("responder", op="start")
        program.wait_for_names(*NAMES)
        assert len(program.errors) == 1 and "responder" in program.errors[0], program.errors
        with nothing_happens(studio, program):
            polls_of_all(studio, program, 2)


@pytest.mark.parametrize("op", ["stop", "kill"])
def test_a_responder_that_ends_and_comes_back_changes_nothing(make_studio, op):
    studio = make_studio({"unit": UNITS, "releases": RELEASES})
    with ListProgram(studio) as program:
        wait_for_whole_list(program)
        studio.do("update-server", fault="reset")
        with nothing_happens(studio, program):
            studio.do("responder", op=op)
            polls_of_all(studio, program, 2)
            studio.do("responder", op="start")
            studio.add({"name": "New"})
            program.wait_for(lambda: program.unit("New"), "the unit that came meanwhile")
            polls_of_all(studio, program, 3)


def test_a_responder_that_hangs_for_22_seconds_and_goes_on_changes_nothing(make_studio):
    studio = make_studio({"unit": UNITS, "releases": RELEASES})
    with ListProgram(studio) as program:
        wait_for_whole_list(program)
        studio.do("update-server", fault="reset")
        with nothing_happens(studio, program):
            studio.do("responder", op="pause")
            polls_of_all(studio, program, 8)
            studio.do("responder", op="resume")
            studio.add({"name": "New"})
            program.wait_for(lambda: program.unit("New"), "the unit that came meanwhile")
            polls_of_all(studio, program, 3)


def test_ten_restarts_in_a_row_change_nothing(make_studio):
    studio = make_studio({"unit": UNITS, "releases": RELEASES})
    with ListProgram(studio) as program:
        wait_for_whole_list(program)
        threads = studio.ask("thread_names", pid=program.process.pid)
        with nothing_happens(studio, program):
            for _ in range(10):
                studio.do("responder", op="restart")
            studio.add({"name": "New"})
            program.wait_for(lambda: program.unit("New"), "the unit that came meanwhile")
            polls_of_all(studio, program, 3)
        beside = 1  # the new unit's own
        assert len(studio.ask("thread_names", pid=program.process.pid)) <= len(threads) + beside


def test_names_are_followed_while_there_is_no_responder(make_studio):
    studio = make_studio({"unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        studio.do("responder", op="stop")
        studio.do("rename", unit="desk", name="Desk 2")
        program.wait_for_names("Desk 2", *(name for name in NAMES if name != "Desk"))


def test_a_unit_that_left_while_there_was_no_responder_goes_after_five_seconds(make_studio):
    studio = make_studio({"unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        studio.do("responder", op="stop")
        studio.do("goodbye", unit="desk")
        back = time.monotonic()
        studio.do("responder", op="start")
        program.wait_for_names(*(name for name in NAMES if name != "Desk"))
        assert program.lists[-1][0] > back + HOLD


ALL_THREE = {"name": "Desk Two", "host": "desk-two", "port": 8000}


@pytest.mark.parametrize(("change", "ipv6"), [
    ({"port": 8000}, False), ({"uid": "0001f2fffe999999"}, False), ({"name": "Desk Two"}, False),
    ({"host": "desk-two"}, False), (ALL_THREE, False), (ALL_THREE, True),
])
def test_a_unit_whose_announcement_changed_meanwhile_is_a_new_unit_and_listed_once(make_studio, change, ipv6):
    before = {
        "name": "Desk", "uid": "0001f2fffe111111", "host": "desk", "announcer": "avahi" if ipv6 else "zeroconf",
    }
    studio = make_studio({"network": {"ipv6": ipv6}, "unit": [before, {"name": "Gone"}]})

    def starts():
        return paths(studio.requests("desk") + studio.requests("changed")).count("/apiversion")

    with ListProgram(studio) as program:
        program.wait_for_names("Desk", "Gone")
        if ipv6:  # at its second poll, both of its records were resolved long ago
            program.wait_for(lambda: len(studio.requests("desk")) >= 6, "polls of the unit")
        first, started = len(program.lists), starts()
        studio.do("responder", op="stop")
        for unit in ("desk", "gone"):
            studio.do("goodbye", unit=unit)
        [changed] = studio.add({**before, "id": "changed", **change})
        studio.do("responder", op="start")
        program.wait_for(lambda: starts() > started, "the first question to the changed unit")
        program.wait_for(lambda: set(program.latest()) == {changed["url"]}, "the changed unit, and the end of the hold")
        assert all(len(listed) <= 2 for _, listed in program.lists[first:]), program.lists[first:]
        assert program.latest()[changed["url"]]["uid"] == change.get("uid", before["uid"])


def test_a_hung_responder_keeps_the_list_and_is_used_again(make_studio):
    studio = make_studio({"unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        studio.do("responder", op="pause")
        polls_of_all(studio, program, 2)
        studio.do("rename", unit="desk", name="Desk 2")
        program.wait_for(lambda: program.unit("Desk 2"), "the rename beside the hung responder")
        with nothing_happens(studio, program):
            studio.do("responder", op="resume")
            studio.add({"name": "New"})
            program.wait_for(lambda: program.unit("New"), "a new unit after the responder went on")


def test_a_responder_that_hangs_from_the_start_is_used_once_it_goes_on(make_studio):
    studio = make_studio({"unit": UNITS})
    studio.do("responder", op="pause")
    with ListProgram(studio) as program:
        program.wait_for(lambda: program.errors, "the message")
        studio.do("responder", op="resume")
        program.wait_for_names(*NAMES)
        with nothing_happens(studio, program):
            polls_of_all(studio, program, 2)


@pytest.mark.parametrize("when", ["from the start", "later", "with units to resolve", "no responder", "no bus"])
def test_it_ends_within_a_second_whatever_the_responder_does(make_studio, when):
    studio = make_studio({"unit": UNITS})
    before = {"from the start": ("responder", "pause"), "no responder": ("responder", "stop"), "no bus": ("bus", "stop")}
    if when in before:
        studio.do(before[when][0], op=before[when][1])
    with ListProgram(studio) as program:
        if when in before:
            # The program is ready when it waits: for a probe that hangs, or after the message that there is no
            # responder.
            threads = "Threads:\t1\n"
            program.wait_for(
                lambda: program.errors or threads not in studio.ask(
                    "read_process", pid=program.process.pid, name="status"), "the start")
        else:
            program.wait_for_names(*NAMES)
            if when == "with units to resolve":
                studio.add(*({"name": f"More {n}"} for n in range(40)))
            studio.do("responder", op="pause")
        seconds, code = program.end()
        assert code == 0 and seconds < 1.0, seconds


def test_the_terminal_form_waits_within_its_time(make_studio):
    studio = make_studio({"near": {"responder": False}})
    started = time.monotonic()
    result = studio.run([BINARY, "--wait", "2"])
    assert result.returncode == 3
    assert 1.9 < time.monotonic() - started < 12
    assert "No Local Devices Found." in result.stdout
    assert result.stderr.count("responder") == 1
