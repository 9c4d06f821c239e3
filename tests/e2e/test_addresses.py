"""Units that change their address, and a workstation that changes its own.

Polls follow, and every list contains all units.
"""

import contextlib

import pytest
from program import ListProgram

FOLLOWED = 5.0  # seconds from the announcement of an address to the first poll there
UNITS = [{"name": "Desk"}, {"name": "Booth"}]
NAMES = ("Booth", "Desk")


@pytest.fixture
def studio(make_studio):
    """A studio whose near side's resolver does not know .local names."""
    return make_studio({"near": {"nss_mdns": False}, "unit": UNITS})


@contextlib.contextmanager
def no_list_lacks_a_unit(program):
    first = len(program.lists) - 1
    yield
    for _, units in program.lists[first:]:
        assert {unit["name"] for unit in units.values()} >= set(NAMES), units


def polls(studio, unit, since=0):
    return [request for request in studio.requests(unit, since) if request["status"]]


def await_polls(studio, program, unit, count=1, since=0):
    """Waits for this many polls of a unit from now on, or from a place in the log, and returns them."""
    place = since or len(studio.log())
    program.wait_for(lambda: len(polls(studio, unit, place)) >= count, f"polls of {unit}")
    return polls(studio, unit, place)


def move(studio, **fields):
    """Moves a unit. Returns the place in the log and the time from which it has its new address."""
    place = len(studio.log())
    studio.do(fields.pop("do", "move"), **fields)
    action = next(entry for entry in studio.log(place) if entry["event"] == "action")
    return place, action["t"]


@pytest.mark.parametrize("nss_mdns", [True, False])
def test_a_unit_that_moves_is_polled_at_its_new_address(make_studio, nss_mdns):
    studio = make_studio({"near": {"nss_mdns": nss_mdns}, "unit": UNITS})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        for address in ("10.77.9.1", "10.77.9.2", "10.77.9.3"):
            await_polls(studio, program, "desk")  # in the gap before the next poll
            with no_list_lacks_a_unit(program):
                place, told = move(studio, unit="desk", address=address)
                first = await_polls(studio, program, "desk", since=place)[0]
                assert first["t"] < told + FOLLOWED
                await_polls(studio, program, "desk", 2)


def test_a_kept_connection_to_an_address_that_stays_is_kept(studio):
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        before = await_polls(studio, program, "booth")[0]["connection"]
        place, _ = move(studio, unit="desk", address="10.77.9.1")
        await_polls(studio, program, "desk", since=place)
        studio.do("responder", op="restart")
        after = await_polls(studio, program, "booth", 3)
        assert {poll["connection"] for poll in after} == {before}


def test_two_units_that_exchange_their_addresses_are_followed(make_studio):
    """Neither is ever taken for the other, or shown with a value that only the other has."""
    models = {"Desk": ("Vorn 16A", "1.4.0+290"), "Booth": ("Vorn 8D", "2.1.0+87")}
    units = [{"name": name, "model": model, "firmware": firmware} for name, (model, firmware) in models.items()]
    studio = make_studio({"near": {"nss_mdns": False}, "unit": units})
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        for unit in ("desk", "booth"):
            await_polls(studio, program, unit)
        first = len(program.lists) - 1
        place, told = move(studio, do="exchange", unit="desk", other="booth")
        for unit in ("desk", "booth"):
            assert await_polls(studio, program, unit, since=place)[0]["t"] < told + FOLLOWED
            await_polls(studio, program, unit, 2)
        for _, units in program.lists[first:]:
            shown = {unit["name"]: (unit["modelID"], unit["firmwareVersion"]) for unit in units.values()}
            assert shown == models


def test_a_move_while_there_is_no_responder_is_followed_when_it_is_back(studio):
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        studio.do("responder", op="stop")
        place, _ = move(studio, unit="desk", address="10.77.9.1")
        studio.do("responder", op="start")
        await_polls(studio, program, "desk", 2, since=place)
        program.wait_for_names(*NAMES)


def test_moves_are_followed_after_restarts_of_the_responder(studio):
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        for number in range(1, 4):
            studio.do("responder", op="restart")
            studio.add({"name": f"New {number}"})
            program.wait_for(lambda: program.unit(f"New {number}"), "a new unit")  # the responder is in use
            await_polls(studio, program, "desk")
            with no_list_lacks_a_unit(program):
                place, told = move(studio, unit="desk", address=f"10.77.9.{number}")
                assert await_polls(studio, program, "desk", since=place)[0]["t"] < told + FOLLOWED


def test_an_unannounced_move_is_noticed_when_the_record_ends(studio):
    record = 120.0
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        place, _ = move(studio, unit="desk", address="10.77.9.1", told=False)
        program.wait_for(lambda: polls(studio, "desk", place), "the first poll there", timeout=2 * record)
        program.wait_for_names(*NAMES)


def test_the_workstation_changes_its_own_address(studio):
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        await_polls(studio, program, "desk")
        with no_list_lacks_a_unit(program):
            place, _ = move(studio, do="near-address", address="10.77.0.9")
            for unit in ("desk", "booth"):
                await_polls(studio, program, unit, 2, since=place)


def test_the_workstation_is_without_an_address_for_a_moment(studio):
    """The responder withdraws every service at that moment."""
    with ListProgram(studio) as program:
        program.wait_for_names(*NAMES)
        place, _ = move(studio, do="near-address", address="10.77.0.9", gap=True)
        for unit in ("desk", "booth"):
            await_polls(studio, program, unit, 2, since=place)
        program.wait_for_names(*NAMES)
