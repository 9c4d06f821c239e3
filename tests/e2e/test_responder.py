"""The responder comes and goes: the program finds units whenever there is one, and never waits for it."""

import time

import pytest
from program import BINARY, ListProgram

UNITS = [
    {"name": "Desk"}, {"name": "Booth"}, {"name": "Switch", "kind": "plexaswitch"},
    {"name": "Rack", "kind": "plexahost", "device": [{"uid": "a1", "name": "Left"}, {"uid": "a2", "name": "Right"}]},
]
NAMES = ("Booth", "Desk", "Left", "Right", "Switch")
HOLD = 5.0  # seconds from a responder's return on for which units are shown that were not found anew


def assert_nothing_blinked(program, since, back, extra=()):
    """No list from an index on lacks a unit or has one beside `extra`, and in the end all are there.

    `back` is a moment before the responder's return: a loaded machine may not
    find every unit within the hold, and what came after that is not judged.
    """
    for arrival, units in program.lists[since:]:
        if arrival < back + HOLD:
            assert {unit["name"] for unit in units.values()} - set(extra) == set(NAMES)
    program.wait_for_names(*NAMES, *extra)


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


@pytest.mark.parametrize("op", ["stop", "kill"])
def test_a_responder_that_ends_and_comes_back_is_used_again(make_studio, op):
    studio = make_studio({"unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        complete = len(program.lists) - 1
        studio.do("responder", op=op)
        polls = len(studio.requests("desk"))
        program.wait_for(lambda: len(studio.requests("desk")) > polls + 1, "polls without a responder")
        back = time.monotonic()
        studio.do("responder", op="start")
        studio.add({"name": "New"})
        program.wait_for(lambda: program.unit("New"), "the unit that came meanwhile")
        assert_nothing_blinked(program, complete, back, {"New"})


def test_units_that_left_while_there_was_no_responder_leave_the_list(make_studio):
    studio = make_studio({"unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        studio.do("responder", op="stop")
        studio.do("drop", unit="desk", how="goodbye")
        studio.do("responder", op="start")
        program.wait_for_names(*(name for name in NAMES if name != "Desk"))


def test_a_responder_restarted_many_times_is_followed(make_studio):
    studio = make_studio({"unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        complete = len(program.lists) - 1
        back = time.monotonic()
        for _ in range(6):
            studio.do("responder", op="restart")
        studio.add({"name": "New"})
        program.wait_for(lambda: program.unit("New"), "the new unit")
        assert_nothing_blinked(program, complete, back, {"New"})
        threads = studio.ask("read_process", pid=program.process.pid, name="status")
        count = int(threads.split("Threads:")[1].split()[0])
        assert count < 40, "the lists of before are gone"


def test_a_hung_responder_keeps_the_list_and_is_used_again(make_studio):
    studio = make_studio({"unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        studio.do("responder", op="pause")
        polls = len(studio.requests("desk"))
        program.wait_for(lambda: len(studio.requests("desk")) > polls + 2, "polls beside the hung responder")
        studio.do("rename", unit="desk", name="Desk 2")
        program.wait_for(lambda: program.unit("Desk 2"), "the rename beside the hung responder")
        studio.do("rename", unit="desk", name="Desk")
        program.wait_for_names(*NAMES)
        complete = len(program.lists) - 1
        back = time.monotonic()
        studio.do("responder", op="resume")
        studio.add({"name": "New"})
        program.wait_for(lambda: program.unit("New"), "a new unit after the responder went on")
        assert_nothing_blinked(program, complete, back, {"New"})


def test_a_responder_that_hangs_from_the_start_is_used_once_it_goes_on(make_studio):
    studio = make_studio({"unit": UNITS})
    studio.do("responder", op="pause")
    with ListProgram(studio) as program:
        program.wait_for(lambda: program.errors, "the message")
        studio.do("responder", op="resume")
        program.wait_for_names(*NAMES)


@pytest.mark.parametrize("when", ["from the start", "later", "with units to resolve", "no responder", "no bus"])
def test_it_ends_within_a_second_whatever_the_responder_does(make_studio, when):
    studio = make_studio({"unit": UNITS})
    before = {"from the start": ("responder", "pause"), "no responder": ("responder", "stop"), "no bus": ("bus", "stop")}
    if when in before:
        studio.do(before[when][0], op=before[when][1])
    with ListProgram(studio) as program:
        if when in before:
            # It is up once it waits: on a probe that hangs, or having said that there is nobody to talk to.
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
