"""What appears in the list, and what leaves it."""

import os
import subprocess

import pytest
from program import PATIENCE, ListProgram, paths
from vornstudio import mdns

SEAM_FORMS = os.environ.get("VORN_SEAM_FORMS", "")
KIND = b"vorn.mdns.type=plexadevice"


def test_units_appear_and_leave(make_studio):
    studio = make_studio({"unit": [{"name": "Stays"}, {"name": "Comes", "announced": False}, {"name": "Leaves"}]})
    with ListProgram(studio) as program:
        program.wait_for_names("Leaves", "Stays")
        studio.do("announce", unit="comes")
        program.wait_for_names("Comes", "Leaves", "Stays")
        studio.do("drop", unit="leaves", how="goodbye")
        program.wait_for_names("Comes", "Stays")
        seen, before = (len(studio.requests(name)) for name in ("leaves", "stays"))
        program.wait_for(lambda: len(studio.requests("stays")) >= before + 2, "two more polls")
        assert len(studio.requests("leaves")) == seen, "a unit that has left is not asked any more"


def test_an_empty_network_gives_one_empty_list(studio):
    with ListProgram(studio) as program:
        program.wait_for(lambda: program.lists, "the first list")
        studio.add({"name": "Desk"})
        program.wait_for_names("Desk")
        assert [len(units) for _, units in program.lists] == [0, 1]


def test_each_line_differs_from_the_line_before(make_studio):
    studio = make_studio({"many": [{"count": 8, "name": "Unit {n}"}]})
    with ListProgram(studio) as program:
        program.wait_for(lambda: len(program.latest()) == 8, "eight units")
        program.wait_for(lambda: len(studio.requests("unit-8")) >= 6, "another poll")
        contents = [units for _, units in program.lists]
        assert all(before != after for before, after in zip(contents, contents[1:]))


def test_other_web_servers_and_nameless_kinds_are_no_units(make_studio):
    studio = make_studio({"unit": [
        {"name": "Printer", "txt": {"vorn.mdns.type": None, "uid": None}},
        {"name": "Empty Kind", "txt": {"vorn.mdns.type": ""}},
        {"name": "Other Kind", "txt": {"vorn.mdns.type": "plexatoaster"}},
        {"name": "Other Case", "txt": {"vorn.mdns.type": None, "VORN.mdns.type": "plexadevice"}},
        {"name": "Hosts Nobody", "kind": "plexahost", "txt": {"uid_list": ""}},
        {"name": "Desk"},
    ]})
    with ListProgram(studio) as program:
        program.wait_for_names("Desk")
        program.wait_for(lambda: len(studio.requests("desk")) >= 6, "another poll")
        assert program.names() == ["Desk"]
        assert {request["unit"] for request in studio.requests()} == {"desk", "update-server"}


def test_a_device_hides_the_host_entry_of_the_same_uid(make_studio):
    studio = make_studio({"unit": [
        {"name": "Rack", "kind": "plexahost", "device": [{"uid": "a1", "name": "L"}, {"uid": "a2", "name": "R"}]},
        {"name": "Left Itself", "uid": "a1", "announced": False},
    ]})
    with ListProgram(studio) as program:
        program.wait_for_names("L", "R")
        studio.do("announce", unit="left-itself")
        program.wait_for_names("Left Itself", "R")
        studio.do("drop", unit="left-itself", how="goodbye")
        program.wait_for_names("L", "R")


def test_two_announcements_of_one_address_are_one_unit(make_studio):
    studio = make_studio({"unit": [
        {"name": "Desk", "uid": "1"},
        {"name": "Desk Again", "host": "desk", "uid": "1", "announced": False},
    ]})

    def starts():
        return paths(studio.requests("desk")).count("/apiversion")

    with ListProgram(studio) as program:
        program.wait_for(lambda: program.latest(), "the unit")
        studio.do("announce", unit="desk-again")
        before = len(studio.requests("desk"))
        program.wait_for(lambda: len(studio.requests("desk")) >= before + 2, "two more polls")
        assert list(program.latest()) == ["http://desk.local/"]
        assert starts() == 1, "the first announcement is the unit, the second is not polled beside it"
        studio.do("goodbye", unit="desk")
        program.wait_for(lambda: starts() == 2, "the second announcement's turn")
        program.wait_for(lambda: list(program.latest()) == ["http://desk.local/"], "the unit by it")


def test_a_unit_that_changes_its_port_is_a_new_unit(make_studio):
    studio = make_studio({"unit": [
        {"name": "Desk", "uid": "1"},
        {"name": "Desk", "id": "moved", "host": "desk", "uid": "1", "port": 8000, "announced": False},
    ]})
    with ListProgram(studio) as program:
        program.wait_for(lambda: list(program.latest()) == ["http://desk.local/"], "the first address")
        studio.do("drop", unit="desk", how="goodbye")
        program.wait_for(lambda: not program.latest(), "the empty list")
        studio.do("announce", unit="moved")
        program.wait_for(lambda: list(program.latest()) == ["http://desk.local:8000/"], "the second address")


def test_switches_can_be_left_out(make_studio):
    studio = make_studio({"unit": [{"name": "Desk"}, {"name": "Switch", "kind": "plexaswitch"}]})
    with ListProgram(studio, "--no-switches") as program:
        program.wait_for_names("Desk")
        program.wait_for(lambda: studio.requests("switch"), "the switch's poll")
        program.wait_for(lambda: len(studio.requests("desk")) >= 6, "another poll")
        assert all("Switch" not in str(units) for _, units in program.lists)


def test_names_are_sorted_and_bytes_that_are_no_text_are_kept_apart(make_studio):
    studio = make_studio({"unit": [
        {"name": "beta"}, {"name": "Alpha"}, {"name": "alpha2"}, {"name": "Ürgh"},
        {"name": "x", "txt": {"uid": {"hex": "ff01"}}, "api": "1.0"},
        {"name": "y", "txt": {"uid": {"hex": "fe01"}}, "api": "1.0"},
    ]})
    with ListProgram(studio) as program:
        program.wait_for(lambda: len(program.latest()) == 6, "six units")
        shown = [unit["name"] for unit in program.latest().values()]
        assert shown == ["Ürgh", "Alpha", "alpha2", "beta", "x", "y"]
        assert [program.unit(name)["uid"] for name in "xy"] == ["\ufffd\x01", "\ufffd\x01"]


@pytest.mark.parametrize("ipv6", [False, True])
def test_three_hundred_units_are_found_and_polled_at_their_pace(make_studio, ipv6):
    count = 300
    studio = make_studio({
        "network": {"ipv6": ipv6},
        "releases": {"Vorn 16A": "1.4.2+311"},
        "many": [{"count": count, "name": "Unit {n:03}", "announcer": "avahi", "model": "Vorn 16A"}],
    })
    with ListProgram(studio) as program:
        program.wait_for(lambda: len(program.latest()) == count, "all units", 2 * PATIENCE)
        names = program.names()
        assert names == [f"Unit {n:03}" for n in range(1, count + 1)]
        program.wait_for(lambda: len(studio.requests("unit-300")) >= 7, "more polls")
        by_unit = {}
        for request in studio.requests():
            by_unit.setdefault(request["unit"], []).append(request)
        assert len(by_unit.pop("update-server")) == 1
        assert len(by_unit) == count
        pauses = sorted(
            after["t"] - before["answered"]
            for requests in by_unit.values() for before, after in zip(requests[4:], requests[5:])
        )
        assert pauses[0] > 2.98
        assert pauses[len(pauses) // 2] < 3.7
        assert {len({request["connection"] for request in requests}) for requests in by_unit.values()} == {1}
        assert program.names() == names
        seconds, code = program.end()
        assert (code, seconds < 1.0) == (0, True), seconds


def unannounced(studio, unit):
    """A unit that exists and answers, but only handmade packets announce it. Returns the packet of its service."""
    added, = studio.add({**unit, "announced": False})
    host = added["url"].removeprefix("http://").removesuffix(".local/")
    return lambda instance, *items: mdns.announcement(instance, host, added["address"], [KIND, *items])


def test_the_first_of_repeated_txt_keys_counts(studio):
    packet = unannounced(studio, {"name": "Desk"})
    with ListProgram(studio) as program:
        mdns.send(studio, packet("Desk", b"uid=first", b"vorn.mdns.type=plexaswitch", b"uid", b"uid=last"))
        program.wait_for_names("Desk")
        assert (program.unit("Desk")["uid"], program.unit("Desk")["type"]) == ("first", "plexadevice")


def test_a_newcomer_does_not_wait_for_services_that_never_answer(studio):
    with ListProgram(studio) as program:
        mdns.send(studio, *mdns.dead(*(f"Dead {n}" for n in range(900))))
        studio.add({"name": "Desk"})
        program.wait_for_names("Desk")


def test_a_unit_that_was_off_when_it_was_looked_up_appears_once_it_is_on(studio):
    packet = unannounced(studio, {"name": "Desk"})
    failures = "type='signal',interface='org.freedesktop.Avahi.ServiceResolver',member='Failure'"
    monitor = studio.popen(["dbus-monitor", "--system", failures], stdout=subprocess.PIPE)
    with ListProgram(studio) as program, monitor.stdout:
        mdns.send(studio, *mdns.dead("Desk"))
        while b"member=Failure" not in monitor.stdout.read(65536):  # the responder gives it up
            assert monitor.poll() is None
        assert not program.latest()
        mdns.send(studio, packet("Desk", b"uid=1"))
        program.wait_for_names("Desk")
        monitor.kill()


def test_a_responder_with_little_room_is_asked_for_everything_in_turn(make_studio):
    count = 60
    studio = make_studio({
        "near": {"objects": 10}, "many": [{"count": count, "name": "Unit {n:03}", "announcer": "avahi"}],
    })
    with ListProgram(studio) as program:
        program.wait_for(lambda: len(program.latest()) == count, "all units")


def test_names_come_in_the_forms_of_the_published_interface(studio):
    names = [
        "Dots. and \\ and ..", "Gr\u00f6\u00dfe \u2603", b"Bell\x07 and\ttab", " blanks ", "<&>\"'%s", "x" * 63,
    ]
    hosts = ["dots", "mein ger\u00e4t", "blank s", "Upper", "h" * 63, "a"]
    packets = [
        mdns.announcement(instance, host, "10.77.1.1", [b"key=value", b"flag", b"=none", b"empty="], 8000 + n)
        for n, (instance, host) in enumerate(zip(names, hosts))
    ]
    packets.append(mdns.announcement("No Items", "dots", "10.77.1.1", []))

    def forms(library):
        process = studio.popen(
            [SEAM_FORMS, library, len(packets)], stdout=subprocess.PIPE, env={"AVAHI_COMPAT_NOWARN": "1"})
        with process.stdout:
            text = b"".join(iter(lambda: process.stdout.read(65536), b"")).decode()
        assert process.wait(PATIENCE) == 0
        return sorted(text.splitlines())

    mdns.send(studio, *packets)
    lines = forms("session")
    assert lines == forms("compatibility")
    assert len(lines) == len(packets) and not any("error" in line or "refused" in line for line in lines)
