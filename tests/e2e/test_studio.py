"""The studio itself: what a program finds in it, what its units answer, and that nothing of it is left."""

import contextlib
import json
import os
import pathlib
import select
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

import pytest
from vornstudio import requirements, scenario

ROOT = pathlib.Path(__file__).resolve().parents[2]
STUDIO = ROOT / "studio" / "studio"
BROWSE = ["avahi-browse", "-rtp", "_http._tcp"]
# Things that a studio makes where only its own processes may see them.
MADE = ("/sys/class/net/near0", "/sys/class/net/far0", "/run/vorn-studio", "/run/avahi-daemon", "/run/dbus")

CLIENT = """
import http.client, json, sys
host, requests = sys.argv[1], json.loads(sys.argv[2])
connection = http.client.HTTPConnection(host, timeout=20)
for path, headers in requests:
    connection.request("GET", path, headers=headers)
    answer = connection.getresponse()
    print(json.dumps([answer.status, answer.read().decode("latin-1"), answer.getheader("ETag")]))
"""


def get(studio, address, *requests):
    """Fetches (path, headers) pairs one after the other on one connection, on the near side."""
    result = studio.run([sys.executable, "-c", CLIENT, address, json.dumps(requests)])
    assert result.returncode == 0, result.stderr
    return [json.loads(line) for line in result.stdout.splitlines()]


def browse(studio):
    """What an ordinary browser of the near side resolves: name to (host, address, port, set of TXT items)."""
    found = {}
    for line in studio.run(BROWSE).stdout.splitlines():
        fields = line.split(";")
        if fields[0] == "=":
            name = fields[3].replace("\\032", " ")
            found[name] = (fields[6], fields[7], int(fields[8]), set(fields[9].replace('"', "").split()))
    return found


def wait_for_names(studio, names):
    return studio.wait_until(lambda: browse(studio).keys() == set(names) and browse(studio), what=str(names))


def descendants(pid):
    """A process and everything that descends from it."""
    parents = {}
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            try:
                status = pathlib.Path(f"/proc/{entry}/stat").read_text()
            except OSError:
                continue
            parents.setdefault(int(status.rpartition(")")[2].split()[1]), []).append(int(entry))
    found, todo = [], [pid]
    while todo:
        found.append(todo[0])
        todo += parents.get(todo.pop(0), [])
    return found


def hold(stack, descriptor):
    stack.callback(os.close, descriptor)
    return descriptor


def network_namespaces(pids, stack):
    """The network namespaces of these processes that are not ours. Each is held until the stack closes."""
    found = set()
    for pid in pids:
        with contextlib.suppress(OSError):
            found.add(os.fstat(hold(stack, os.open(f"/proc/{pid}/ns/net", os.O_RDONLY))).st_ino)
    return found - {os.stat("/proc/self/ns/net").st_ino}


def start_cli(*arguments, **options):
    return subprocess.Popen(
        ["/usr/bin/python3", str(STUDIO), *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
        **options,
    )


def run_cli(*arguments, timeout=60, **options):
    process = start_cli(*arguments, **options)
    out, err = process.communicate(timeout=timeout)
    return process.returncode, out, err


def test_a_stock_browser_sees_every_unit_with_its_txt_record(make_studio):
    studio = make_studio("default")
    found = wait_for_names(
        studio,
        ["Control Room", "Live Room", "Drum Booth", "Old Preamp", "Machine Room Host", "AVB Switch Attic"],
    )
    described = {unit["name"]: unit for unit in studio.units()}
    for name, (host, address, port, txt) in found.items():
        unit = described[name]
        assert (host, address, port) == (f"{unit['host']}.local", unit["address"], 80)
        key = "uid_list" if unit["kind"] == "plexahost" else "uid"
        assert txt == {f"vorn.mdns.type={unit['kind']}", f"{key}={':'.join(unit['uids'])}"}


def test_units_announced_by_static_files_look_like_the_others(make_studio):
    studio = make_studio({"many": [{"count": 20, "name": "Static {n}", "announcer": "avahi", "port": 8000}]})
    found = wait_for_names(studio, [f"Static {n}" for n in range(1, 21)])
    assert found["Static 7"] == (
        "static-7.local", "10.77.1.7", 8000, {"vorn.mdns.type=plexadevice", "uid=0001f2fffe000007"},
    )
    studio.do("goodbye", unit="static-7")
    studio.wait_until(lambda: "Static 7" not in browse(studio), what="the goodbye")


def test_units_come_and_go(make_studio):
    studio = make_studio({"unit": [{"name": "Stays"}, {"name": "Comes", "announced": False}, {"name": "Leaves"}]})
    wait_for_names(studio, ["Stays", "Leaves"])
    studio.do("announce", unit="comes")
    studio.do("drop", unit="leaves", how="goodbye")
    wait_for_names(studio, ["Stays", "Comes"])
    studio.add({"name": "Later"})
    wait_for_names(studio, ["Stays", "Comes", "Later"])
    assert {unit["id"]: unit["announced"] for unit in studio.units()} == {
        "stays": True, "comes": True, "leaves": False, "later": True,
    }


def test_the_datastore_of_a_device_answers(make_studio):
    studio = make_studio({"unit": [{"name": "Desk", "uid": "77", "model": "Vorn 8D", "firmware": "2.0.1+3"}]})
    address = studio.units()[0]["address"]
    base = "/datastore/avb/77/"
    answers = get(
        studio, address, ("/apiversion", {}), ("/datastore/ext/caps/avb", {}), (base + "model_name", {}),
        (base + "firmware_version", {}), (base + "entity_name", {}), ("/datastore/avb/78/entity_name", {}),
    )
    assert [answer[0] for answer in answers] == [200] * 5 + [404]
    assert answers[0][1] == "0.9.2"
    values = [json.loads(answer[1])["value"] for answer in answers[1:5]]
    assert values == ["0.4.0", "Vorn 8D", "2.0.1+3", "Desk"]


def test_a_name_is_not_sent_twice_and_a_rename_is(make_studio):
    studio = make_studio({"unit": [{"name": "Desk", "uid": "77"}]})
    address, path = studio.units()[0]["address"], "/datastore/avb/77/entity_name"
    tag = get(studio, address, (path, {}))[0][2]
    assert get(studio, address, (path, {"If-None-Match": tag}))[0] == [304, "", tag]
    studio.do("rename", unit="desk", name="Desk 2")
    status, body, new_tag = get(studio, address, (path, {"If-None-Match": tag}))[0]
    assert (status, json.loads(body)["value"]) == (200, "Desk 2")
    assert new_tag != tag


def test_hosts_and_switches_answer_under_their_own_paths(make_studio):
    studio = make_studio({"unit": [
        {"name": "Rack", "kind": "plexahost", "device": [{"uid": "a1", "name": "Left"}, {"uid": "a2", "name": "Right"}]},
        {"name": "Switch", "kind": "plexaswitch", "firmware": "3.0.4+12"},
    ]})
    rack, switch = (unit["address"] for unit in studio.units())
    answers = get(
        studio, rack, ("/a1/apiversion", {}), ("/a2/datastore/avb/a2/entity_name", {}), ("/a3/apiversion", {})
    )
    assert [answer[0] for answer in answers] == [200, 200, 404]
    assert json.loads(answers[1][1])["value"] == "Right"
    assert get(studio, switch, ("/firmware_version", {}))[0][:2] == [200, "3.0.4+12"]


def test_the_log_holds_every_request_with_time_headers_and_connection(make_studio, tmp_path):
    studio = make_studio({"unit": [{"name": "Desk"}]}, log=tmp_path / "log")
    address = studio.units()[0]["address"]
    before = time.monotonic()
    get(studio, address, ("/apiversion", {"X-Mixed-Case": "One Two"}), ("/nothing", {}))
    get(studio, address, ("/apiversion", {}))
    first, second, third = studio.wait_until(
        lambda: len(studio.requests("desk")) == 3 and studio.requests("desk"), what="three requests"
    )
    assert ["X-Mixed-Case", "One Two"] in first["headers"]
    assert [first["path"], second["path"]] == ["/apiversion", "/nothing"]
    assert [first["status"], second["status"]] == [200, 404]
    assert first["connection"] == second["connection"] != third["connection"]
    assert before < first["t"] < second["t"] < third["t"] < time.monotonic()
    lines = [json.loads(line) for line in (tmp_path / "log").read_text().splitlines()]
    assert [line for line in lines if line["event"] == "request"] == [first, second, third]


def test_the_update_server_names_the_newest_release_first(make_studio):
    studio = make_studio({"releases": {"Vorn 8D": "2.1.0+87"}})
    path = "/api/device/Vorn%208D/firmware"
    server = "10.77.0.2:8080"
    assert json.loads(get(studio, server, (path, {}))[0][1])[0]["version"] == "2.1.0+87"
    studio.do("publish", model="Vorn 8D", version="2.2.0+90")
    studio.do("publish", model="Vorn 8D", version="3.0.0+1", channel="beta")
    assert json.loads(get(studio, server, (path, {}))[0][1])[0]["version"] == "2.2.0+90"
    beta = "/api/beta/device/Vorn%208D/firmware"
    assert json.loads(get(studio, server, (beta, {}))[0][1])[0]["version"] == "3.0.0+1"
    assert [answer[0] for answer in get(studio, server, ("/api/device/other/firmware", {}), ("/api/", {}))] == [404, 404]
    by_name = get(studio, "updates.vorn.example", (path, {}))[0][1]
    assert json.loads(by_name)[0]["version"] == "2.2.0+90"


def test_a_held_question_is_answered_when_the_release_is_published(make_studio):
    studio = make_studio({
        "update_server": {"wait": 60},
        "timeline": [{"at": 1, "do": "publish", "model": "Vorn 8D", "version": "2.1.0+87"}],
    })
    studio.play()
    answer = get(studio, "10.77.0.2:8080", ("/api/device/Vorn%208D/firmware", {}))[0]
    assert json.loads(answer[1])[0]["version"] == "2.1.0+87"


@pytest.mark.parametrize("kind", ["crash", "unplug"])
def test_a_unit_that_drops_off_silently_is_still_announced_but_not_reached(make_studio, kind):
    studio = make_studio({"unit": [{"name": "Desk"}]})
    address = studio.units()[0]["address"]
    wait_for_names(studio, ["Desk"])
    get(studio, address, ("/apiversion", {}))
    studio.do("drop", unit="desk", how=kind)
    assert "Desk" in browse(studio)
    result = studio.run([sys.executable, "-c", CLIENT, address, '[["/apiversion", {}]]'])
    wanted = "ConnectionRefusedError" if kind == "crash" else "No route to host"
    assert result.returncode != 0 and wanted in result.stderr
    studio.do("heal", unit="desk")
    assert get(studio, address, ("/apiversion", {}))[0][0] == 200


def test_the_near_responder_can_be_stopped_hung_killed_and_brought_back(make_studio):
    studio = make_studio({"unit": [{"name": "Desk"}], "near": {"responder": False}})
    assert studio.run(BROWSE).returncode != 0
    studio.do("responder", op="start")
    wait_for_names(studio, ["Desk"])
    studio.do("responder", op="pause")
    hung = studio.popen(BROWSE, stdout=subprocess.DEVNULL)
    with pytest.raises(subprocess.TimeoutExpired):
        hung.wait(1)
    studio.do("responder", op="resume")
    assert hung.wait(30) == 0
    for op in ("kill", "start", "stop"):
        studio.do("responder", op=op)
    assert studio.run(BROWSE).returncode != 0
    studio.do("bus", op="stop")
    studio.do("bus", op="start")
    studio.do("responder", op="start")
    wait_for_names(studio, ["Desk"])


def test_a_program_has_folders_of_its_own_and_the_callers_user_id(make_studio, monkeypatch):
    monkeypatch.setenv("http_proxy", "http://127.0.0.1:1")
    studio = make_studio()
    script = 'id -u; echo "$HOME"; cat "$XDG_CONFIG_HOME/vorn-device-finder/settings.conf"; env | grep -ci _proxy'
    lines = studio.run(["sh", "-c", script]).stdout.splitlines()
    assert lines[0] == str(os.getuid())
    assert lines[1] != os.environ.get("HOME") and not os.path.exists(lines[1])
    assert lines[2:] == ["[General]", "updateServerRoot=http://10.77.0.2:8080/api/", "0"]


def test_a_trial_run_keeps_the_users_home_for_its_theme(make_studio, monkeypatch, tmp_path):
    monkeypatch.setenv("HOME", str(tmp_path))
    monkeypatch.setenv("XDG_CONFIG_HOME", f"{tmp_path}/settings")
    monkeypatch.setenv("VORN_DEVICE_FINDER_TRIAL", f"{tmp_path}/trial")
    script = 'echo "$HOME $XDG_CONFIG_HOME $VORN_DEVICE_FINDER_TRIAL"; grep updates.vorn.example /etc/hosts'
    lines = make_studio().run(["sh", "-c", script]).stdout.splitlines()
    assert lines[0] == f"{tmp_path} {tmp_path}/settings {tmp_path}/trial"
    assert lines[1:], "the default update server must be the studio's, because nothing else names it"


def test_a_socket_of_the_desktop_stays_reachable(make_studio):
    studio = make_studio()
    folder = tempfile.mkdtemp()
    try:
        with socket.socket(socket.AF_UNIX) as server:
            server.bind(f"{folder}/X0")
            server.listen()
            code = "import socket, sys; socket.socket(socket.AF_UNIX).connect(sys.argv[1])"
            assert studio.run([sys.executable, "-c", code, f"{folder}/X0"]).returncode == 0
    finally:
        shutil.rmtree(folder)


def test_the_replacement_for_the_browser_fetches_and_reports(make_studio):
    studio = make_studio({"unit": [{"name": "Desk & Co"}]})
    url = studio.units()[0]["url"] + "#device"
    assert studio.run(["xdg-open", url]).returncode == 0
    opened = studio.wait_until(studio.opened, what="the report")
    assert (opened[0]["url"], opened[0]["status"], opened[0]["title"]) == (url, 200, "Desk &amp; Co")
    assert studio.run(["sh", "-c", '"$BROWSER" file:///etc/passwd']).returncode != 0


def test_every_fault_ends_with_the_client_and_leaves_the_server_well(make_studio):
    from vornstudio.faults import FAULTS

    studio = make_studio({"unit": [{"name": f"Bad {name}", "faults": {"*": name}} for name in FAULTS]})
    hosts = [unit["address"] for unit in studio.units()]
    code = """
import socket, sys
for host in sys.argv[1:]:
    with socket.create_connection((host, 80), 5) as s:
        s.settimeout(0.3)
        s.sendall(b"GET /apiversion HTTP/1.1\\r\\nHost: x\\r\\n\\r\\n")
        try:
            s.recv(4096)
        except OSError:
            pass
"""
    assert studio.run([sys.executable, "-c", code, *hosts]).returncode == 0
    studio.wait_until(
        lambda: sum(entry["event"] == "close" for entry in studio.log()) == len(FAULTS), what="all closed"
    )
    assert {entry["fault"] for entry in studio.requests()} == set(FAULTS)
    studio.do("heal", unit="bad-silence")
    assert get(studio, hosts[list(FAULTS).index("silence")], ("/apiversion", {}))[0][0] == 200


def test_two_studios_run_side_by_side(make_studio):
    one = make_studio({"unit": [{"name": "One"}]})
    two = make_studio({"unit": [{"name": "Two"}]})
    assert wait_for_names(one, ["One"])["One"][1] == wait_for_names(two, ["Two"])["Two"][1]


def test_a_killed_studio_leaves_no_process_interface_or_file():
    before = [os.path.exists(path) for path in MADE]
    process = start_cli("--keep-open", "--", "sh", "-c", "echo up; sleep 1000")
    assert process.stdout.readline() == "up\n"
    family = descendants(process.pid)
    assert len(family) >= 7  # itself, the holder, both sides, two buses, two responders, the command
    # Held open, a network namespace keeps its number, and a pidfd its process: neither can pass to another studio.
    with contextlib.ExitStack() as held:
        spaces = network_namespaces(family, held)
        assert len(spaces) == 2
        ends = [hold(held, os.pidfd_open(pid)) for pid in family[1:]]
        process.kill()
        process.wait()
        deadline = time.monotonic() + 20
        for end in ends:
            assert select.select([end], [], [], max(0, deadline - time.monotonic()))[0], "processes are left"
        assert not network_namespaces(filter(str.isdigit, os.listdir("/proc")), held) & spaces
    assert [os.path.exists(path) for path in MADE] == before


def scenario_of(folder, seconds):
    path = folder / f"{seconds}-seconds.toml"
    path.write_text(f'length = {seconds}\n[[unit]]\nname = "Desk"\n')
    return path


def test_the_end_of_the_timeline_ends_the_command(tmp_path):
    assert run_cli("--scenario", scenario_of(tmp_path, 1), "--", "sleep", "1000")[0] == 0


@pytest.mark.parametrize("wanted", [0, 9])
def test_a_command_may_say_how_it_ended_with_the_timeline(tmp_path, wanted):
    trap = f"trap 'exit {wanted}' TERM; echo set; while :; do sleep 0.1; done"
    for seconds in (1, 4, 16):  # a loaded machine may take longer to set the trap
        code, out, _ = run_cli("--scenario", scenario_of(tmp_path, seconds), "--", "sh", "-c", trap)
        if out:
            break
    assert (code, out) == (wanted, "set\n")


def test_the_end_of_the_command_ends_the_studio(tmp_path):
    assert run_cli("--scenario", scenario_of(tmp_path, 1000), "--", "sh", "-c", "exit 7")[0] == 7


def test_a_signal_ends_the_command_and_the_studio():
    process = start_cli("--", "sh", "-c", "trap 'echo ended; exit 0' TERM; echo up; while :; do sleep 0.1; done")
    assert process.stdout.readline() == "up\n"
    process.send_signal(signal.SIGTERM)
    out, _ = process.communicate(timeout=30)
    assert (process.returncode, out) == (128 + signal.SIGTERM, "ended\n")


def test_a_scenario_with_a_fault_is_refused_with_its_place(tmp_path):
    cases = {
        '[[unit]]\nkind = "toaster"\n': "plexaswitch",
        '[[unit]]\nname = "A"\ncolour = "red"\n': "colour",
        '[[timeline]]\nat = 1\ndo = "goodbye"\nunit = "nobody"\n': "nobody",
        '[[timeline]]\nat = 1\ndo = "dance"\n': "dance",
        '[[unit]]\nname = "A"\n[[unit]]\nname = "A"\n': "two units",
        "title = \n": "line 1",
    }
    for text, word in cases.items():
        (tmp_path / "bad.toml").write_text(text)
        code, _, err = run_cli("--scenario", tmp_path / "bad.toml", "--", "true")
        assert code == 2 and word in err, err
    assert run_cli("--scenario", tmp_path / "none.toml", "--", "true")[0] == 2


def test_every_scenario_of_ours_can_be_played():
    code, out, _ = run_cli("--list-scenarios")
    assert code == 0
    for name, path in scenario.available().items():
        assert name in out
        scenario.build(scenario.read(path))


@pytest.fixture
def public_studio():
    """A copy of the studio that any user may read."""
    folder = tempfile.mkdtemp()
    os.chmod(folder, 0o755)
    shutil.copytree(ROOT / "studio", f"{folder}/studio", ignore=shutil.ignore_patterns("__pycache__"))
    yield folder
    shutil.rmtree(folder)


def test_a_user_without_privileges_gets_a_studio(public_studio):
    user = 12345 if os.getuid() == 0 else os.getuid()
    become = ["setpriv", f"--reuid={user}", f"--regid={user}", "--clear-groups", "--"] if os.getuid() == 0 else []
    script = """
        id -u
        while n=$(avahi-browse -rtp _http._tcp | grep -c ^=); [ "$n" != 6 ]; do sleep 0.2; done
        echo $n
        grep CapEff /proc/self/status"""
    result = subprocess.run(
        [*become, "/usr/bin/python3", f"{public_studio}/studio/studio", "--", "sh", "-c", script],
        capture_output=True, text=True, timeout=60, cwd="/",
    )
    assert result.returncode == 0, result.stderr
    assert result.stdout.split() == [str(user), "6", "CapEff:", "0" * 16]


def test_missing_namespaces_are_reported():
    command = [
        "unshare", "--user", "--map-root-user", "setpriv", "--bounding-set=-sys_admin", "--inh-caps=-all", "--",
        "/usr/bin/python3", str(STUDIO), "--", "true",
    ]
    result = subprocess.run(command, capture_output=True, text=True, timeout=60)
    assert result.returncode == 77
    assert "CAP_SYS_ADMIN" in result.stderr and "namespaces" in result.stderr


def test_missing_programs_are_named_with_their_packages(monkeypatch):
    monkeypatch.setitem(requirements.PROGRAMS, "no-such-responder", "no-such-package")
    assert requirements.missing() == ["the program no-such-responder (Debian package no-such-package)"]
