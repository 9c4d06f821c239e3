"""A wall of hostile and broken units beside a good one, which must not be affected."""

import re
import time
import types

import pytest
from program import BINARY, PATIENCE, ListProgram, assert_pace, paths
from vornstudio import Studio, mdns
from vornstudio.faults import FAULTS

# A unit that is shown at once under its announced name: it answers, but not with a datastore.
ANSWERING = {"deep-json", "bad-text", "wrong-types", "control-characters"}
# The faults that send until the client stops them or its 30 seconds are over.
SLOW = {"drip", "drip-header", "silence"}

GOOD = {"name": "Good", "model": "Vorn 16A", "firmware": "1.4.0+290"}


def wall(resource="*", copies=1, first="bad"):
    return [
        {"name": f"{first} {fault} {copy}", "faults": {resource: fault}}
        for fault in FAULTS for copy in range(copies)
    ]


@pytest.fixture(scope="module")
def beside_the_wall():
    """A run of about half a minute beside two of each hostile unit: requests by unit, lists, size and end."""
    table = {"unit": [GOOD, *wall(copies=2)], "releases": {"Vorn 16A": "1.4.2+311"}}
    with Studio(table) as studio, ListProgram(studio) as program:
        program.wait_for(lambda: program.unit("Good"), "the good unit")
        for name in SLOW:
            program.wait_for(
                lambda: "answered" in (studio.requests(f"bad-{name}-1") or [{}])[0], f"the end of {name}", 2 * PATIENCE
            )
        program.wait_for(lambda: len(studio.requests("good")) >= 4 + 7, "seven polls")
        status = studio.ask("read_process", pid=program.process.pid, name="status")
        run = types.SimpleNamespace(
            requests={}, lists=list(program.lists), good=program.unit("Good"),
            resident_kilobytes=int(re.search(r"VmRSS:\s*(\d+)", status).group(1)),
            descriptors=studio.ask("count_descriptors", pid=program.process.pid),
        )
        for request in studio.requests():
            run.requests.setdefault(request["unit"], []).append(request)
        run.seconds, run.code = program.end()
    return run


def test_a_good_unit_keeps_its_pace_beside_a_wall_of_hostile_ones(beside_the_wall):
    good = beside_the_wall.requests["good"]
    assert paths(good).count("/apiversion") == 1, "the good unit was never thought lost"
    assert len({request["connection"] for request in good}) == 1
    assert_pace(good[4:])
    assert beside_the_wall.good["latestVersion"] == "1.4.2+311"


def test_every_hostile_unit_is_asked_and_none_is_believed(beside_the_wall):
    assert set(beside_the_wall.requests) == {"good", "update-server"} | {
        f"bad-{fault}-{copy}" for fault in FAULTS for copy in (0, 1)
    }
    shown = {
        (unit["name"], unit["modelID"], unit["firmwareVersion"])
        for _, units in beside_the_wall.lists for unit in units.values() if unit["name"] != "Good"
    }
    assert shown == {(f"bad {fault} {copy}", None, None) for fault in ANSWERING for copy in (0, 1)}, (
        "an answer beyond its bounds counts as none, and one that is no datastore leaves the announced name"
    )


def test_a_redirect_leads_to_no_other_host(beside_the_wall):
    every = [request for requests in beside_the_wall.requests.values() for request in requests]
    assert len([request for request in every if request.get("fault") == "redirect-away"]) >= 4
    assert "/stolen" not in paths(every)


def test_five_redirects_are_followed(beside_the_wall):
    loops = paths(beside_the_wall.requests["bad-redirect-loop-0"])
    starts = [index for index, path in enumerate(loops) if path == "/apiversion"]
    assert len(starts) >= 2
    assert {after - before for before, after in zip(starts, starts[1:])} == {6}


@pytest.mark.parametrize("fault", ["endless-body", "endless-chunks", "endless-header", "endless-line", "gzip-bomb"])
def test_an_endless_answer_is_broken_off_at_its_bound(beside_the_wall, fault):
    for copy in (0, 1):
        first, second = beside_the_wall.requests[f"bad-{fault}-{copy}"][:2]
        assert first["answered"] - first["t"] < 15, "broken off long before the 30 seconds"
        assert second["t"] - first["answered"] > 2.8


@pytest.mark.parametrize("fault", sorted(SLOW))
def test_a_slow_answer_is_given_up_after_thirty_seconds(beside_the_wall, fault):
    first = beside_the_wall.requests[f"bad-{fault}-1"][0]
    # Many units start at once, so an arrival may be logged seconds late. 25 seconds still prove that the time ran
    # out, because an answer that breaks a size bound ends within 15.
    assert 25.0 < first["answered"] - first["t"] < 35.0


def test_the_wall_costs_neither_memory_nor_descriptors_without_end(beside_the_wall):
    assert beside_the_wall.resident_kilobytes < 150_000
    assert beside_the_wall.descriptors < 20 + 5 * (2 * len(FAULTS) + 1)


def test_it_ends_within_a_second_beside_the_wall(beside_the_wall):
    assert beside_the_wall.code == 0
    assert beside_the_wall.seconds < 1.0


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


def services_of_a_stranger(address_of):
    """The packets of 26 hosts that stand for 82 units each: more units than the program polls."""
    uids = b":".join(b"%02d" % uid for uid in range(82))
    items = [b"vorn.mdns.type=plexahost", b"uid_list=" + uids]
    return [mdns.announcement(f"Bad {n}", f"bad-{n}", address_of(n), items) for n in range(26)]


@pytest.mark.parametrize("where", ["at one address that answers", "at many addresses where nobody is"])
def test_a_unit_finds_its_place_beside_a_stranger_who_announces_thousands(make_studio, where):
    studio = make_studio({"releases": {GOOD["model"]: "1.4.2+311"}})
    stranger, = studio.add({"name": "Stranger", "announced": False})
    answers = where == "at one address that answers"
    with ListProgram(studio) as program:
        address_of = (lambda n: stranger["address"]) if answers else (lambda n: f"10.77.9.{n + 1}")
        mdns.send(studio, *services_of_a_stranger(address_of))
        told = "more than 128 units are announced at" if answers else "more units are announced than can be polled"
        program.wait_for(lambda: any("units are announced" in line for line in program.errors), "a refusal")
        studio.add(GOOD)
        program.wait_for(lambda: program.unit("Good"), "the good unit")
        program.wait_for(lambda: program.unit("Good")["latestVersion"] == "1.4.2+311", "the answer about its model")
        program.wait_for(lambda: len(studio.requests("good")) >= 4 + 4, "four polls")
        assert_pace(studio.requests("good")[4:])
        assert len([line for line in program.errors if told in line]) == 1
        times = [request["t"] for request in studio.requests("stranger")]
        assert bool(times) == answers
        assert len(times) <= 60 + 60 * (max(times, default=0) - min(times, default=0))


def test_a_units_model_is_asked_about_after_strangers_named_hundreds(make_studio):
    studio = make_studio({"releases": {GOOD["model"]: "1.4.2+311"}})
    with ListProgram(studio) as program:
        for number in range(5):  # in all more models than the program asks about
            racks = [{"kind": "plexahost", "name": f"Rack {number} {host}", "device": [
                {"uid": f"{slot:02}", "model": f"Bad {number} {host} {slot}"} for slot in range(15)
            ]} for host in range(8)]
            models = {device["model"] for rack in racks for device in rack["device"]}
            studio.add(*racks)
            program.wait_for(lambda: models <= {unit["modelID"] for unit in program.latest().values()}, "the models")
            for rack in racks:
                studio.do("goodbye", unit=rack["name"].lower().replace(" ", "-"))
        studio.add(GOOD)
        program.wait_for(lambda: program.unit("Good"), "the good unit")
        program.wait_for(lambda: program.unit("Good")["latestVersion"] == "1.4.2+311", "the answer about its model")
        asked = paths(studio.requests("update-server"))
        assert len(asked) == len(set(asked)) == 5 * 8 * 15 + 1, "each model is asked about once"


def test_units_that_could_not_be_polled_are_polled_when_the_limit_is_lifted(make_studio):
    count = 60
    rack = {"kind": "plexahost", "name": "Rack", "announced": False, "device": [
        {"uid": f"{number:02}", "name": f"Slot {number}"} for number in range(count)
    ]}
    studio = make_studio({"unit": [rack]})
    with ListProgram(studio) as program:
        process = str(program.process.pid)

        def limit(descriptors):
            done = studio.run(["prlimit", "--pid", process, f"--nofile={descriptors}:"])
            assert done.returncode == 0, done.stderr

        program.wait_for(lambda: program.lists, "the first list")
        limit(len(studio.run(["ls", f"/proc/{process}/fd"]).stdout.split()) + count // 3)  # each poller takes one at least
        studio.do("announce", unit="rack")
        program.wait_for(lambda: any("a unit cannot be polled" in line for line in program.errors), "a failure")
        limit(1024)
        program.wait_for(lambda: len(program.latest()) == count, "all units")
