"""A wall of hostile and broken units beside a good one, which must not notice."""

import re
import time

import pytest
from program import BINARY, PATIENCE, ListProgram, assert_pace, paths
from vornstudio.faults import FAULTS

# What a unit is at once shown for, under its announced name: it answers, but with what is no datastore.
ANSWERING = {"deep-json", "bad-text", "wrong-types", "control-characters"}
# Those that speak until the client stops them or its 30 seconds are over.
SLOW = {"drip", "drip-header", "silence"}

GOOD = {"name": "Good", "model": "Vorn 16A", "firmware": "1.4.0+290"}


def wall(resource="*", copies=1, first="bad"):
    return [
        {"name": f"{first} {fault} {copy}", "faults": {resource: fault}}
        for fault in FAULTS for copy in range(copies)
    ]


def resident_kilobytes(studio, program):
    status = studio.ask("read_process", pid=program.process.pid, name="status")
    return int(re.search(r"VmRSS:\s*(\d+)", status).group(1))


def test_a_good_unit_keeps_its_pace_beside_a_wall_of_hostile_ones(make_studio):
    studio = make_studio({"unit": [GOOD, *wall(copies=2)], "releases": {"Vorn 16A": "1.4.2+311"}})
    with ListProgram(studio) as program:
        program.wait_for(lambda: program.unit("Good"), "the good unit")
        program.wait_for(
            lambda: {request["unit"] for request in studio.requests()} >= {f"bad-{fault}-1" for fault in FAULTS},
            "a request to every hostile unit",
        )
        program.wait_for(lambda: len(studio.requests("good")) >= 4 + 7, "seven polls")
        good = studio.requests("good")
        assert paths(good).count("/apiversion") == 1, "the good unit was never thought lost"
        assert len({request["connection"] for request in good}) == 1
        assert_pace(good[4:])
        assert program.unit("Good")["latestVersion"] == "1.4.2+311"
        assert "/stolen" not in paths(studio.requests()), "a redirect to another host was followed"
        shown = {unit["name"] for _, units in program.lists for unit in units.values()} - {"Good"}
        assert {name.split()[1] for name in shown} <= ANSWERING, "an answer beyond its bounds counts as none"
        assert resident_kilobytes(studio, program) < 150_000
        assert studio.ask("count_descriptors", pid=program.process.pid) < 20 + 5 * (2 * len(FAULTS) + 1)
        seconds, code = program.end()
        assert code == 0 and seconds < 1.0, seconds


def test_hostile_values_behind_the_first_gates_are_survived(make_studio):
    bad = wall("caps") + wall("entity_name", first="late")
    studio = make_studio({"unit": [GOOD, *bad]})
    with ListProgram(studio) as program:
        program.wait_for(lambda: program.unit("Good"), "the good unit")
        program.wait_for(
            lambda: {request["unit"] for request in studio.requests() if "fault" in request}
            == {unit["name"].replace(" ", "-") for unit in bad}, "every fault",
        )
        program.wait_for(lambda: len(studio.requests("good")) >= 4 + 4, "four polls")
        assert_pace(studio.requests("good")[4:])
        assert "/stolen" not in paths(studio.requests())
        seconds, code = program.end()
        assert code == 0 and seconds < 1.0, seconds


def test_an_endless_answer_is_broken_off_at_its_bound(make_studio):
    endless = ["endless-body", "endless-chunks", "endless-header", "endless-line", "gzip-bomb"]
    studio = make_studio({"unit": [{"name": name, "faults": {"*": name}} for name in endless]})
    with ListProgram(studio) as program:
        for name in endless:
            program.wait_for(lambda: len(studio.requests(name)) >= 2, f"a second try of {name}")
            first, second = studio.requests(name)[:2]
            assert first["answered"] - first["t"] < 15, "broken off long before the 30 seconds"
            assert second["t"] - first["answered"] > 2.8
        assert program.latest() == {}


def test_a_slow_answer_is_given_up_after_thirty_seconds(make_studio):
    studio = make_studio({"unit": [{"name": name, "faults": {"*": name}} for name in SLOW] + [
        {"name": "redirect-loop", "faults": {"*": "redirect-loop"}}
    ]})
    with ListProgram(studio) as program:
        for name in SLOW:
            program.wait_for(lambda: "answered" in (studio.requests(name) or [{}])[0], f"the end of {name}", 60)
            first = studio.requests(name)[0]
            assert 29.0 < first["answered"] - first["t"] < 35.0
        assert program.latest() == {}
        loops = [request["path"] for request in studio.requests("redirect-loop")]
        starts = [index for index, path in enumerate(loops) if path == "/apiversion"]
        assert len(starts) >= 2
        assert {after - before for before, after in zip(starts, starts[1:])} == {6}, "five redirects are followed"


@pytest.mark.parametrize("trouble", sorted(SLOW) + ["endless-body"])
def test_it_ends_within_a_second_while_units_hang(make_studio, trouble):
    studio = make_studio({"many": [{"count": 12, "name": "Hangs {n}", "faults": {"*": trouble}}]})
    with ListProgram(studio) as program:
        program.wait_for(lambda: len({request["unit"] for request in studio.requests()}) == 12, "all requests")
        seconds, code = program.end()
        assert code == 0 and seconds < 1.0, seconds


def test_it_ends_within_a_second_while_units_are_unplugged(make_studio):
    studio = make_studio({"many": [{"count": 5, "name": "Gone {n}"}]})
    for number in range(1, 6):
        studio.do("drop", unit=f"gone-{number}", how="unplug")
    studio.add({"name": "Good"})
    with ListProgram(studio) as program:
        program.wait_for_names("Good")
        seconds, code = program.end()
        assert code == 0 and seconds < 1.0, seconds


def test_a_name_cannot_command_the_terminal(make_studio):
    evil = "E\x1b]0;owned\x07vil\x1b[2J\r\n\x9b31m\u202e"
    studio = make_studio({"unit": [{"name": "Desk", "entity_name": evil, "model": "\x1b[31mRed"}]})
    deadline = time.monotonic() + PATIENCE
    while True:
        result = studio.run([BINARY, "--wait", "2"])
        if result.returncode == 0 or time.monotonic() > deadline:
            break
    assert "vil" in result.stdout and "Red" in result.stdout
    assert not set(result.stdout) & {"\x1b", "\x07", "\r", "\x9b", "\u202e"}, repr(result.stdout)
    assert len(result.stdout.splitlines()) == 2, "a name stays on its line"
