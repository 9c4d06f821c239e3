"""What the program asks, when and how: the requests of a quiet quarter of a minute, and its reactions to changes."""

import pytest
from program import ListProgram, assert_pace, gaps, header, paths
from vornstudio import Studio

UID = "0001f2fffe012345"
PLAIN_FIELDS = {"host", "accept", "accept-encoding"}

QUIET = {
    "releases": {"Vorn 8D": "2.1.0+87", "Vorn 16A": "1.4.2+311", "avbswitch": "3.0.4+12"},
    "unit": [
        {"name": "Desk", "uid": UID, "model": "Vorn 16A", "firmware": "1.4.0+290"},
        {"name": "Desk 8000", "host": "desk", "port": 8000, "model": "Vorn 16A", "firmware": "1.4.2+311"},
        {"name": "Rack", "kind": "plexahost", "device": [
            {"uid": "a1", "name": "Left", "model": "Vorn 8D", "firmware": "2.1.0+87"},
            {"uid": "a2", "name": "Right", "model": "Vorn 8D", "firmware": "2.0.9+80"},
        ]},
        {"name": "Switch", "kind": "plexaswitch", "firmware": "3.0.4+12"},
        {"name": "Old", "api": "1.0"},
        {"name": "Odd", "model": "No/Such Model", "etag": False},
    ],
}


@pytest.fixture(scope="module")
def quiet():
    """The requests by unit, and the last list, of a run in which nothing changed."""
    with Studio(QUIET) as studio, ListProgram(studio) as program:
        program.wait_for(lambda: len(program.latest()) == 7, "seven units")
        program.wait_for(lambda: len(studio.requests("desk")) >= 5 + 3, "three more polls")
        program.wait_for(lambda: len(studio.requests("switch")) >= 4, "polls of the switch")
        requests = [request for request in studio.requests() if "answered" in request]  # without the request that is still open
        units = {unit["name"]: unit for unit in program.latest().values()}
    by_unit = {name: [request for request in requests if request["unit"] == name]
               for name in {request["unit"] for request in requests}}
    return by_unit, units


def device_sequence(uid):
    base = f"/datastore/avb/{uid}/"
    return ["/apiversion", "/datastore/ext/caps/avb"] + [
        base + name for name in ("model_name", "firmware_version", "entity_name")
    ]


def test_a_device_is_asked_in_order_and_then_for_its_name_alone(quiet):
    requests = quiet[0]["desk"]
    name = f"/datastore/avb/{UID}/entity_name"
    assert paths(requests[:5]) == device_sequence(UID)
    assert set(paths(requests[5:])) == {name}
    assert_pace(requests[4:])
    assert gaps(requests[:5])[0] < 3, "the checks follow one another without a pause"
    assert [request["status"] for request in requests] == [200] * 5 + [304] * (len(requests) - 5)


def test_the_name_poll_is_conditional_from_the_second_on(quiet):
    requests = quiet[0]["desk"]
    tags = [header(request, "If-None-Match") for request in requests]
    assert tags[:5] == [[]] * 5
    assert tags[5:] == [[f'"{UID}-1"']] * (len(requests) - 5)


def test_a_unit_without_entity_tags_is_never_asked_conditionally(quiet):
    assert all(header(request, "If-None-Match") == [] for request in quiet[0]["odd"])
    assert {request["status"] for request in quiet[0]["odd"]} == {200}


def test_requests_carry_the_announced_name_and_nothing_of_the_user(quiet):
    for unit, host in (("desk", "desk.local"), ("desk-8000", "desk.local:8000"), ("switch", "switch.local")):
        for request in quiet[0][unit]:
            assert request["method"] == "GET"
            assert header(request, "Host") == [host]
            fields = {key.lower() for key, _ in request["headers"]} - {"if-none-match"}
            assert fields == PLAIN_FIELDS, request


def test_each_unit_is_polled_on_one_kept_connection(quiet):
    by_unit = quiet[0]
    for unit in ("desk", "desk-8000", "switch", "old", "odd"):
        assert len({request["connection"] for request in by_unit[unit]}) == 1, unit
    assert len({request["connection"] for request in by_unit["rack"]}) == 2


def test_each_device_behind_a_host_is_asked_below_its_own_path(quiet):
    requests = quiet[0]["rack"]
    for uid in ("a1", "a2"):
        own = [request for request in requests if request["path"].startswith(f"/{uid}/")]
        assert paths(own[:5]) == [f"/{uid}{path}" for path in device_sequence(uid)]
        assert set(paths(own[5:])) == {f"/{uid}/datastore/avb/{uid}/entity_name"}
        assert_pace(own[4:])


def test_a_switch_is_asked_for_its_firmware_alone_and_never_conditionally(quiet):
    requests = quiet[0]["switch"]
    assert set(paths(requests)) == {"/firmware_version"}
    assert all(header(request, "If-None-Match") == [] for request in requests)
    assert_pace(requests)


def test_a_unit_with_another_interface_is_asked_for_its_version_again_and_again(quiet):
    requests = quiet[0]["old"]
    assert set(paths(requests)) == {"/apiversion"}
    assert_pace(requests)


def test_the_update_server_is_asked_once_for_each_model(quiet):
    requests = quiet[0]["update-server"]
    prefix = "/api/device/"
    assert sorted(paths(requests)) == sorted(
        f"{prefix}{model}/firmware" for model in ("Vorn%2016A", "Vorn%208D", "No%2fSuch%20Model", "avbswitch")
    )
    for request in requests:
        assert {key.lower() for key, _ in request["headers"]} == PLAIN_FIELDS
        assert header(request, "Host") in (["10.77.0.2:8080"], ["updates.vorn.example"])


def test_the_published_list_says_what_was_learnt(quiet):
    units = quiet[1]
    assert set(units) == {"Desk", "Desk 8000", "Left", "Right", "Switch", "Old", "Odd"}
    assert units["Desk"] == {
        "name": "Desk", "type": "plexadevice", "url": "http://desk.local/", "uid": UID, "modelID": "Vorn 16A",
        "firmwareVersion": "1.4.0+290", "latestVersion": "1.4.2+311", "updateAvailable": True,
    }
    assert units["Right"] == {
        "name": "Right", "type": "plexahost", "url": "http://rack.local/a2/", "uid": "a2", "modelID": "Vorn 8D",
        "firmwareVersion": "2.0.9+80", "latestVersion": "2.1.0+87", "updateAvailable": True,
    }
    assert [units[name]["updateAvailable"] for name in ("Desk 8000", "Left", "Switch", "Odd")] == [False] * 4
    old, odd, switch = units["Old"], units["Odd"], units["Switch"]
    assert (old["modelID"], old["firmwareVersion"], old["latestVersion"]) == (None, None, None)
    assert (odd["modelID"], odd["latestVersion"]) == ("No/Such Model", None)
    assert (switch["modelID"], switch["firmwareVersion"]) == ("avbswitch", "3.0.4+12")
    assert units["Desk 8000"]["url"] == "http://desk.local:8000/"


def test_a_rename_is_seen_and_the_new_tag_used(make_studio):
    studio = make_studio({"unit": [{"name": "Desk", "uid": UID}]})
    with ListProgram(studio) as program:
        program.wait_for_names("Desk")
        before = len(program.lists)
        studio.do("rename", unit="desk", name="Bureau d'été")
        program.wait_for_names("Bureau d'été")
        assert [sorted(units["name"] for units in units.values()) for _, units in program.lists[before:]] == [
            ["Bureau d'été"]
        ]
        program.wait_for(
            lambda: header(studio.requests("desk")[-1], "If-None-Match") == [f'"{UID}-2"'], "the new tag"
        )


def test_a_name_that_is_gone_reverts_the_unit_and_starts_over(make_studio):
    studio = make_studio({"unit": [{"name": "Announced", "entity_name": "Own Name", "uid": UID, "model": "Vorn 8D"}]})
    with ListProgram(studio) as program:
        program.wait_for_names("Own Name")
        seen = len(studio.requests("announced"))
        studio.do("status", unit="announced", resource="entity_name", status=404)
        program.wait_for_names("Announced")
        unit = program.unit("Announced")
        assert (unit["modelID"], unit["firmwareVersion"]) == (None, None)
        studio.do("heal", unit="announced")
        program.wait_for_names("Own Name")
        assert program.unit("Own Name")["modelID"] == "Vorn 8D"
        requests = studio.requests("announced")[seen:]
        lost = next(index for index, request in enumerate(requests) if request["status"] == 404)
        restart = requests[lost + 1:lost + 6]
        assert paths(restart) == device_sequence(UID)
        assert restart[0]["t"] - requests[lost]["answered"] > 2.98
        assert all(header(request, "If-None-Match") == [] for request in restart)


def test_another_status_of_the_name_changes_nothing(make_studio):
    statuses = {"first": 500, "second": 503, "third": 204}
    studio = make_studio({"unit": [{"name": name} for name in statuses]})
    with ListProgram(studio) as program:
        program.wait_for_names(*statuses)
        lists = len(program.lists)
        for name, status in statuses.items():
            studio.do("status", unit=name, resource="entity_name", status=status)
        for name, status in statuses.items():
            program.wait_for(
                lambda: [request["status"] for request in studio.requests(name)].count(status) >= 2, "two answers"
            )
        assert len(program.lists) == lists
        for name in statuses:
            requests = studio.requests(name)
            assert set(paths(requests[5:])) == {requests[4]["path"]}


def test_a_refused_check_shows_the_announced_name_and_starts_over(make_studio):
    refused = {"caps": 2, "model_name": 3, "firmware_version": 4}  # resource: its place in the sequence
    studio = make_studio({"unit": [
        {"name": resource, "id": resource, "entity_name": "Own Name", "uid": UID, "statuses": {resource: 403}}
        for resource in refused
    ]})
    with ListProgram(studio) as program:
        program.wait_for_names(*refused)
        for resource, asked in refused.items():
            program.wait_for(lambda: len(studio.requests(resource)) >= 2 * asked, "a second round")
            # Each round learns the values before the refusal, and forgets them at the refusal.
            program.wait_for(lambda: (program.unit(resource)["modelID"], program.unit(resource)["firmwareVersion"])
                             == (None, None), "nothing but the announced name")
            requests = studio.requests(resource)[:2 * asked]
            assert paths(requests) == device_sequence(UID)[:asked] * 2
            assert gaps(requests)[asked - 1] > 2.98


def test_a_unit_that_cannot_be_reached_is_hidden_and_comes_back(make_studio):
    studio = make_studio({"unit": [
        {"name": "Desk", "uid": UID}, {"name": "Switch", "kind": "plexaswitch"}, {"name": "Stays"},
    ]})
    with ListProgram(studio) as program:
        program.wait_for_names("Desk", "Stays", "Switch")
        seen = len(studio.requests("desk"))
        studio.do("drop", unit="desk", how="crash")
        studio.do("drop", unit="switch", how="crash")
        program.wait_for_names("Stays")
        studio.do("heal", unit="desk")
        studio.do("heal", unit="switch")
        program.wait_for_names("Desk", "Stays", "Switch")
        requests = studio.requests("desk")[seen:]
        first = paths(requests).index("/apiversion")
        assert paths(requests[first:first + 5]) == device_sequence(UID)
        assert all(header(request, "If-None-Match") == [] for request in requests[first:first + 5])


def test_a_connection_that_the_unit_closed_costs_no_unit(make_studio):
    studio = make_studio({"unit": [{"name": "Desk"}]})
    with ListProgram(studio) as program:
        program.wait_for_names("Desk")
        lists = len(program.lists)
        for _ in range(2):
            seen = len(studio.requests("desk"))
            studio.do("disconnect", unit="desk")
            program.wait_for(lambda: len(studio.requests("desk")) > seen, "the next poll")
        requests = studio.requests("desk")
        assert len({request["connection"] for request in requests}) == 3
        assert paths(requests).count("/apiversion") == 1
        assert len(program.lists) == lists


def test_a_release_that_is_published_marks_the_units(make_studio):
    studio = make_studio({
        "update_server": {"wait": 28},
        "unit": [
            {"name": "Behind", "model": "Vorn 8D", "firmware": "2.0.9+80"},
            {"name": "Level", "model": "Vorn 8D", "firmware": "2.1.0+87"},
        ],
    })
    with ListProgram(studio) as program:
        program.wait_for_names("Behind", "Level")
        assert program.unit("Behind")["latestVersion"] is None
        studio.do("publish", model="Vorn 8D", version="2.1.0+87")
        program.wait_for(lambda: program.unit("Behind")["latestVersion"] == "2.1.0+87", "the release")
        assert program.unit("Behind")["updateAvailable"] is True
        assert program.unit("Level")["updateAvailable"] is False
        assert len(studio.requests("update-server")) == 1


def test_an_update_server_in_trouble_costs_the_newest_version_only(make_studio):
    troubles = {
        "A status": {"status": 500}, "A nothing": {"body": "[]"}, "An object": {"body": '{"version": "9.0.0+1"}'},
        "A number": {"body": '[{"version": 9}]'}, "A text": {"body": "not JSON"}, "A reset": {"fault": "reset"},
        "A noise": {"fault": "garbage"},
    }
    studio = make_studio({
        "unit": [{"name": model, "model": model} for model in troubles],
        "releases": {model: "9.0.0+1" for model in troubles},
    })
    for model, trouble in troubles.items():
        studio.do("update-server", model=model, **trouble)
    with ListProgram(studio) as program:
        program.wait_for_names(*troubles)
        program.wait_for(lambda: len(studio.requests("a-text")) >= 7, "two more polls")
        assert {unit["latestVersion"] for unit in program.latest().values()} == {None}
        answered = [request for request in studio.requests("update-server") if "fault" not in request]
        assert len(answered) == sum("fault" not in trouble for trouble in troubles.values())


def test_the_update_server_may_lead_to_another_host(make_studio):
    studio = make_studio({"unit": [{"name": "Desk", "model": "Vorn 8D"}], "releases": {"Moved": "2.1.0+87"}})
    studio.do("update-server", model="Vorn 8D", fault="redirect-away")
    with ListProgram(studio) as program:
        program.wait_for(lambda: (program.unit("Desk") or {}).get("latestVersion") == "2.1.0+87", "the release")
    hosts = [header(request, "Host") for request in studio.requests("update-server")]
    assert hosts == [["10.77.0.2:8080"], ["updates.vorn.example"]]


ODD = {
    "Late": {"behind": "\r\n"},
    "Wordy": {"behind": '{"value":"behind"}', "etag": False},
    "Bodies": {"behind": "a body behind a 304"},
    "None": {"headers": {"Content-Encoding": "none"}},
    "Charset": {"headers": {"Content-Encoding": "utf-8"}},
    "Dotted": {"faults": {"apiversion": "redirect-away"}, "away": "http://DOTTED.local.:8000/apiversion"},
    "Numbered": {"faults": {"apiversion": "redirect-away"}, "away": "http://10.77.1.77:8000/apiversion",
                 "address": "10.77.1.77"},
}


def name_polls(studio, name):
    return [request for request in studio.requests(name.lower()) if request["path"].endswith("/entity_name")]


def test_odd_answers_of_good_units_cost_nothing(make_studio):
    targets = [{"name": f"{name} 8000", "host": name.lower(), "port": 8000, "announced": False}
               for name in ("Dotted", "Numbered")]
    units = [{"name": name, **fields} for name, fields in ODD.items()]
    studio = make_studio({"unit": [*units, *targets]})
    with ListProgram(studio) as program:
        program.wait_for_names(*ODD)
        shown = len(program.lists)
        for name in ODD:
            program.wait_for(lambda: len(name_polls(studio, name)) >= 5, f"five polls of {name}")
        assert len(program.lists) == shown, "none blinks"
        for name in ODD:
            assert paths(studio.requests(name.lower())).count("/datastore/ext/caps/avb") <= 2, "at most made once more"
            assert_pace(name_polls(studio, name)[-3:])
