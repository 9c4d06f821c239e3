"""The real program on a private session bus: one instance, starts by the bus, starts at login, its end."""

import fcntl
import os
import pathlib
import pwd
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import dbus
import pytest

from desktop import DEADLINE, LAUNCHER, NAME, PROGRAM, Desktop, eventually

PAGE = "http://192.0.2.1:8080/#device"
OTHER_PAGE = "http://192.0.2.2/#device"


def made(with_display):
    desktop = Desktop(pathlib.Path(tempfile.mkdtemp(prefix="vorn-app-")), with_display)
    yield desktop
    desktop.close()


@pytest.fixture
def desktop():
    yield from made(with_display=True)


@pytest.fixture
def bare():
    """A bus without a display."""
    yield from made(with_display=False)


# --- one instance -----------------------------------------------------------


def test_a_second_start_shows_the_panel_of_the_first_and_exits(desktop):
    first = desktop.start_and_wait_until_it_runs()
    assert not desktop.panel_is_visible()
    assert desktop.start().wait(10) == 0
    assert eventually(desktop.panel_is_visible), desktop.console()
    assert first.poll() is None


def test_a_second_start_without_a_display_does_so_too(desktop):
    desktop.start_and_wait_until_it_runs()
    assert desktop.start(DISPLAY=None).wait(10) == 0
    assert eventually(desktop.panel_is_visible), desktop.console()


def assert_fails_for_lack_of_an_answer(desktop, program):
    assert program.wait(10) == 1, desktop.console()
    assert desktop.console().count("The program is already running but does not answer") == 1


STARTS = {
    "with-display": lambda desktop: desktop.start(),
    "without-display": lambda desktop: desktop.start(DISPLAY=None),
    "at-login": lambda desktop: desktop.start(LAUNCHER),
}


@pytest.mark.parametrize("start", STARTS.values(), ids=STARTS)
def test_a_start_beside_a_hung_program_fails(desktop, start):
    desktop.start_and_wait_until_it_runs().send_signal(signal.SIGSTOP)
    assert_fails_for_lack_of_an_answer(desktop, start(desktop))


OWNER = f"""
import sys, dbus.bus, dbus.lowlevel, dbus.mainloop.glib, gi.repository.GLib
bus = dbus.bus.BusConnection(sys.argv[2], mainloop=dbus.mainloop.glib.DBusGMainLoop())
bus.request_name("{NAME}")
if sys.argv[1] == "deaf":
    sys.stdin.read()
if sys.argv[1] == "mute":
    bus.add_message_filter(lambda *_: dbus.lowlevel.HANDLER_RESULT_HANDLED)
gi.repository.GLib.MainLoop().run()
"""


def start_owner(desktop, manner):
    """A foreign program with the name of ours: it is deaf, mute, or refuses everything."""
    address = desktop.environment["DBUS_SESSION_BUS_ADDRESS"]
    owner = subprocess.Popen([sys.executable, "-c", OWNER, manner, address], stdin=subprocess.PIPE)
    desktop.started.append(owner)
    assert eventually(desktop.is_running)


@pytest.mark.parametrize("owner", ["deaf", "mute"])
@pytest.mark.parametrize("start", STARTS.values(), ids=STARTS)
def test_a_start_beside_a_silent_owner_of_its_name_fails(desktop, start, owner):
    start_owner(desktop, owner)
    assert_fails_for_lack_of_an_answer(desktop, start(desktop))


def test_a_start_beside_a_refusing_owner_of_its_name_fails(desktop):
    start_owner(desktop, "refusing")
    assert desktop.start().wait(10) == 1
    assert "The program is already running but refuses to show its panel" in desktop.console()
    assert desktop.start(LAUNCHER).wait(10) == 0, "nobody waits for a panel"


def test_a_second_start_waits_for_a_program_that_is_still_starting(desktop):
    state = desktop.home / ".local" / "state" / "vorn-device-finder"
    state.mkdir(parents=True)
    with open(state / "notices.conf.owner", "w", encoding="utf-8") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)  # the start waits for it longer than for a silent owner
        desktop.start()
        assert eventually(desktop.is_running), desktop.console()
        assert desktop.start(LAUNCHER).wait(10) == 0, desktop.console()
        assert desktop.start().wait(10) == 0, desktop.console()
    assert eventually(desktop.panel_is_visible), desktop.console()
    assert "does not answer" not in desktop.console()


def test_many_starts_at_once_leave_one_program(desktop):
    programs = [desktop.start() for _ in range(6)]
    assert eventually(lambda: sum(p.poll() is None for p in programs) == 1), desktop.console()
    assert desktop.is_running()
    assert sorted(p.poll() for p in programs if p.poll() is not None) == [0] * 5


def test_the_launcher_never_shows_the_panel(desktop):
    first = desktop.start_and_wait_until_it_runs(LAUNCHER)
    assert desktop.start(LAUNCHER).wait(10) == 0
    assert desktop.start(LAUNCHER).wait(10) == 0
    assert desktop.start(PROGRAM, DISPLAY=None, VORN_DEVICE_FINDER_AT_LOGIN="1").wait(10) == 0
    desktop.activate_action("open-page", PAGE)  # requests are taken up in order
    assert eventually(lambda: desktop.pages() == [PAGE]), desktop.console()
    assert not desktop.panel_is_visible()
    assert first.poll() is None


def test_a_start_right_after_the_end_runs(desktop):
    first = desktop.start_and_wait_until_it_runs()
    first.terminate()
    assert first.wait(5) == 0, desktop.console()
    second = desktop.start()
    assert eventually(desktop.is_running)
    assert second.poll() is None


def test_it_runs_without_a_session_bus(desktop):
    program = desktop.start(DBUS_SESSION_BUS_ADDRESS="unix:path=/nonexistent/bus")
    assert eventually(desktop.has_started), desktop.console()
    assert program.poll() is None
    program.terminate()
    assert program.wait(5) == 0, desktop.console()


# --- requests to the running program ----------------------------------------


def test_open_page_on_a_running_program_only_opens_the_page(desktop):
    desktop.start_and_wait_until_it_runs()
    desktop.activate_action("open-page", PAGE)
    assert eventually(lambda: desktop.pages() == [PAGE]), desktop.console()
    assert not desktop.panel_is_visible()


def test_activate_and_show_devices_show_the_panel(desktop):
    desktop.start_and_wait_until_it_runs()
    desktop.activate_action("show-devices")
    assert eventually(desktop.panel_is_visible), desktop.console()
    desktop.activate()
    assert desktop.panel_is_visible()


@pytest.mark.parametrize(
    "address",
    ["", "file:///etc/passwd", "javascript:alert(1)", "--help", "http://", "http://a b/", "http://x/" + "y" * 100_000],
)
def test_only_web_addresses_are_opened(desktop, address):
    desktop.start_and_wait_until_it_runs()
    desktop.activate_action("open-page", address)
    desktop.activate_action("open-page", PAGE)
    assert eventually(lambda: desktop.pages() == [PAGE])


def test_messages_that_do_not_fit_are_refused_and_harm_nothing(desktop):
    desktop.start_and_wait_until_it_runs()
    wrong = [
        ("Activate", "s", ["text"]),
        ("Activate", None, []),
        ("Open", "s", ["x"]),
        ("ActivateAction", "sava{sv}", ["no-such-action", [], {}]),
        ("ActivateAction", "s", ["open-page"]),
        ("NoSuchMethod", None, []),
    ]
    for method, signature, arguments in wrong:
        with pytest.raises(dbus.DBusException):
            desktop.call(method, *arguments, signature=signature)
    desktop.activate_action("open-page", 7)
    desktop.activate_action("open-page", PAGE, PAGE)
    desktop.activate_action("open-page", dbus.Array([PAGE], signature="s"))
    desktop.activate_action("open-page", PAGE + "y" * 20_000)
    desktop.call("Activate", {"activation-token": 7, "desktop-startup-id": "x" * 1000}, signature="a{sv}")
    assert eventually(desktop.panel_is_visible)
    assert desktop.pages() == []


# --- starts by the bus ------------------------------------------------------


def wait_until_it_has_left(desktop):
    assert eventually(lambda: not desktop.is_running()), desktop.console()


def test_the_bus_starts_it_for_one_page_without_a_display(bare):
    bare.activate_action("open-page", PAGE)
    assert eventually(lambda: bare.pages() == [PAGE]), bare.console()
    wait_until_it_has_left(bare)
    assert not bare.settings().exists(), "nothing else was begun"
    assert not bare.login_item().exists()


def test_the_bus_starts_it_for_one_page_with_a_display(desktop):
    desktop.activate_action("open-page", PAGE)
    assert eventually(lambda: desktop.pages() == [PAGE]), desktop.console()
    wait_until_it_has_left(desktop)
    assert not desktop.settings().exists()


def test_the_bus_starts_it_as_a_program_with_the_panel_hidden(desktop):
    desktop.activate()
    assert eventually(desktop.has_started), desktop.console()
    assert desktop.is_running()
    assert not desktop.panel_is_visible()
    desktop.activate()
    assert eventually(desktop.panel_is_visible), desktop.console()
    end_by_bus(desktop)


def test_the_bus_starts_it_with_the_panel_when_that_is_asked_for(desktop):
    desktop.activate_action("show-devices")
    assert eventually(desktop.panel_is_visible), desktop.console()
    end_by_bus(desktop)


def test_two_pages_requested_at_once_are_both_opened(bare):
    bare.activate_actions_at_once(("open-page", PAGE), ("open-page", OTHER_PAGE))
    assert eventually(lambda: sorted(bare.pages()) == sorted([PAGE, OTHER_PAGE])), bare.console()
    wait_until_it_has_left(bare)


def test_two_pages_requested_at_once_are_both_opened_on_a_display(desktop):
    desktop.activate_actions_at_once(("open-page", PAGE), ("open-page", OTHER_PAGE))
    assert eventually(lambda: sorted(desktop.pages()) == sorted([PAGE, OTHER_PAGE])), desktop.console()
    wait_until_it_has_left(desktop)
    assert not desktop.settings().exists(), "nothing else was begun"


def test_a_page_and_the_program_requested_at_once_both_appear(desktop):
    desktop.activate_actions_at_once(("open-page", PAGE), ("show-devices",))
    assert eventually(lambda: desktop.pages() == [PAGE]), desktop.console()
    assert eventually(desktop.panel_is_visible), desktop.console()
    end_by_bus(desktop)


# --- pages that fail to open --------------------------------------------------


@pytest.fixture(params=["with-display", "without-display"])
def either(request):
    yield from made(with_display=request.param == "with-display")


def test_a_page_that_fails_to_open_at_a_start_by_the_bus_is_told_to_the_console(either):
    either.write_browser("exit 4")
    either.activate_action("open-page", PAGE)
    assert eventually(lambda: "xdg-open exited with 4" in either.console()), either.console()
    wait_until_it_has_left(either)


def test_a_start_for_one_page_ends_once_the_page_is_open(either):
    either.write_browser('printf "%s\\n" $PPID > $0.parent; until test -e $0.go; do sleep 0.01; done')
    either.activate_action("open-page", PAGE)
    parent = either.folder / "bin" / "xdg-open.parent"
    assert eventually(lambda: parent.exists() and parent.read_text().strip()), either.console()
    program = pathlib.Path("/proc") / parent.read_text().strip()
    assert program.exists(), "it learns what becomes of the page"
    (either.folder / "bin" / "xdg-open.go").touch()
    assert eventually(lambda: not program.exists() or is_dead(program))


def test_a_page_opened_before_the_program_leaves_no_dead_child(desktop):
    desktop.write_browser("exit 4")
    desktop.activate_actions_at_once(("open-page", PAGE), ("show-devices",))
    assert eventually(desktop.panel_is_visible), desktop.console()
    assert eventually(lambda: "xdg-open exited with 4" in desktop.console()), desktop.console()
    assert eventually(lambda: children(desktop.pid()) == []), "none that runs, none that waits for its parent"
    end_by_bus(desktop)


def is_dead(process):
    try:
        return "\nState:\tZ" in (process / "status").read_text()
    except (FileNotFoundError, ProcessLookupError):
        return True


def children(pid):
    return subprocess.run(["ps", "-o", "pid=", "--ppid", str(pid)], capture_output=True, text=True).stdout.split()


def test_a_display_that_has_gone_counts_as_none(bare):
    program = bare.start(DISPLAY=":4242")
    assert program.wait(10) == 1
    assert "no display" in bare.console()


def test_the_bus_starts_it_for_one_page_with_a_display_that_has_gone(bare):
    bare.call_bus("UpdateActivationEnvironment", {"DISPLAY": ":4242"}, signature="a{ss}")
    bare.activate_action("open-page", PAGE)
    assert eventually(lambda: bare.pages() == [PAGE]), bare.console()
    wait_until_it_has_left(bare)


def test_a_request_for_the_panel_without_a_display_gets_an_error(bare):
    with pytest.raises(dbus.DBusException, match="no display"):
        bare.activate()
    wait_until_it_has_left(bare)
    with pytest.raises(dbus.DBusException, match="no display"):
        bare.activate_action("show-devices")
    wait_until_it_has_left(bare)


def test_a_page_is_opened_though_the_panel_cannot_be_shown(bare):
    bare.activate_actions_at_once(("show-devices",), ("open-page", PAGE))
    assert eventually(lambda: bare.pages() == [PAGE]), bare.console()
    wait_until_it_has_left(bare)


def test_a_start_by_the_bus_that_nobody_needs_ends_without_a_display(bare):
    with pytest.raises(dbus.DBusException):
        bare.call("NoSuchMethod")
    wait_until_it_has_left(bare)
    assert "no display" in bare.console()


def test_the_marks_of_a_start_by_the_bus_are_not_inherited_twice(desktop):
    """A terminal that the bus started passes its own marks to its children."""
    program = desktop.start_and_wait_until_it_runs(DBUS_STARTER_BUS_TYPE="session", DBUS_STARTER_ADDRESS="x")
    assert program.poll() is None


def end_by_bus(desktop):
    """The bus started it, so it is not a child of this process."""
    os.kill(desktop.pid(), signal.SIGTERM)
    wait_until_it_has_left(desktop)


# --- start and end ----------------------------------------------------------


def test_without_a_display_it_says_so(bare):
    program = bare.start()
    assert program.wait(10) == 1
    assert "no display" in bare.console()


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT, signal.SIGHUP])
def test_a_signal_ends_it_within_a_second(desktop, number):
    program = desktop.start_and_wait_until_it_runs()
    begun = time.monotonic()
    program.send_signal(number)
    assert program.wait(5) == 0, desktop.console()
    assert time.monotonic() - begun < 1.5  # the limit, and some time for a busy machine


def test_a_signal_ends_it_with_the_panel_open(desktop):
    program = desktop.start_and_wait_until_it_runs()
    desktop.activate()
    assert eventually(desktop.panel_is_visible)
    program.terminate()
    assert program.wait(5) == 0, desktop.console()


def test_the_first_run_enables_the_login_item_and_no_later_one_does(desktop):
    program = desktop.start_and_wait_until_it_runs()
    assert f'Exec="{LAUNCHER}"' in desktop.login_item().read_text()
    program.terminate()
    assert program.wait(5) == 0, desktop.console()
    desktop.login_item().unlink()
    again = desktop.start_and_wait_until_it_runs()
    again.terminate()
    assert again.wait(5) == 0, desktop.console()
    assert not desktop.login_item().exists()


def test_a_login_item_that_cannot_be_written_is_reported_on_the_console(desktop):
    (desktop.home / ".config").mkdir()
    (desktop.home / ".config" / "autostart").write_text("in the way")
    desktop.start_and_wait_until_it_runs()
    assert "Launch On Login failed" in desktop.console()


# --- a program that is not installed -------------------------------------------

TRIAL_NAME = f"{NAME}.Trial"
REAL_HOME = pathlib.Path(pwd.getpwuid(os.getuid()).pw_dir)


@pytest.fixture
def build(desktop):
    """A build folder with a copy of the program."""
    folder = desktop.folder / "build"
    (folder / "bin").mkdir(parents=True)
    (folder / "CMakeCache.txt").touch()
    shutil.copy(PROGRAM, folder / "bin")
    return folder


def start_trial(desktop, program, folder, variable=None):
    """Starts it in the user's real home, and waits until the first run has left its mark in the folder."""
    process = desktop.start(program, HOME=str(REAL_HOME), VORN_DEVICE_FINDER_TRIAL=variable)
    assert eventually((folder / "settings.conf").exists), desktop.console()
    return process


def own_files(home):
    """The program's own files in a home folder, with their contents."""
    names = [f".config/autostart/{NAME}.Launcher.desktop", ".config/vorn-device-finder/settings.conf",
             ".local/state/vorn-device-finder/notices.conf"]
    return {name: (home / name).read_bytes() for name in names if (home / name).exists()}


def test_a_program_in_its_build_folder_keeps_everything_there(desktop, build):
    trial, before = build / "trial", own_files(REAL_HOME)
    program = start_trial(desktop, build / "bin" / PROGRAM.name, trial)
    end(program, desktop)
    assert "AlreadyRun=true" in (trial / "settings.conf").read_text()
    assert (trial / "notices.conf.owner").exists()  # the waiting notifications would be beside it
    assert f"Trial run: settings and notifications are kept in {trial}\n" in desktop.console()
    assert own_files(REAL_HOME) == before, "no settings, no login item"


def test_a_program_in_its_build_folder_behaves_as_installed_in_another_home(desktop, build):
    program = desktop.start_and_wait_until_it_runs(build / "bin" / PROGRAM.name, VORN_DEVICE_FINDER_TRIAL=None)
    end(program, desktop)
    assert desktop.settings().exists()
    assert not (build / "trial").exists()


def test_a_trial_run_keeps_everything_in_the_folder_that_the_environment_names(desktop):
    folder, before = desktop.folder / "elsewhere", own_files(REAL_HOME)
    end(start_trial(desktop, PROGRAM, folder, variable=str(folder)), desktop)
    assert own_files(REAL_HOME) == before


def test_a_trial_run_is_a_program_beside_the_installed_one(desktop, build):
    desktop.start_and_wait_until_it_runs()
    item, settings = desktop.login_item().read_bytes(), desktop.settings().read_bytes()
    program = start_trial(desktop, build / "bin" / PROGRAM.name, build / "trial")
    assert eventually(lambda: desktop.bus.name_has_owner(TRIAL_NAME)), desktop.console()
    assert not desktop.panel_is_visible(), "the trial run did not ask the installed program for its panel"
    again = desktop.start(build / "bin" / PROGRAM.name, HOME=str(REAL_HOME), VORN_DEVICE_FINDER_TRIAL=None)
    assert again.wait(10) == 0
    assert eventually(desktop.panel_is_visible), desktop.console()  # the first trial run's
    end(program, desktop)
    assert desktop.is_running()
    assert (desktop.login_item().read_bytes(), desktop.settings().read_bytes()) == (item, settings)


# --- settings that cannot be read --------------------------------------------

CHOICES = b"[General]\nAlreadyRun=true\nnotify=false\nshowSwitches=true\n"


def end(program, desktop):
    program.terminate()
    assert program.wait(5) == 0, desktop.console()


@pytest.mark.parametrize(
    "content",
    [
        b"no equals sign\n" + CHOICES,
        CHOICES + b"[broken\n",
        b"[General\n" + CHOICES[10:],
        b"\xef\xbb\xbf" + CHOICES,
        CHOICES + bytes(4096),
        b'name="open\n' + CHOICES,
        CHOICES.replace(b"\n", b"\r\n") + b"stray\r\n",
        CHOICES + b"stray, without an end of its line",
    ],
    ids=["no-equals", "open-bracket", "open-group", "byte-order-mark", "zeros", "open-quote", "crlf", "no-end"],
)
def test_a_stray_line_in_the_settings_changes_nothing_else(desktop, content):
    desktop.write_settings(content)
    program = desktop.start_and_wait_until_it_runs()
    end(program, desktop)
    assert desktop.settings().read_bytes() == content
    assert not desktop.login_item().exists()
    assert desktop.console().count("cannot be read") == (0 if content.startswith(b"\xef") else 1)


def test_settings_that_were_emptied_are_no_first_run(desktop):
    desktop.write_settings(b"")
    end(desktop.start_and_wait_until_it_runs(), desktop)
    assert not desktop.login_item().exists()
    assert b"notify=false\n" in desktop.settings().read_bytes()


def test_settings_that_are_set_aside_are_no_first_run(desktop):
    desktop.write_settings(bytes(4096))
    for _ in range(2):  # the second start finds what the first one wrote
        program = desktop.start_and_wait_until_it_runs()
        end(program, desktop)
        assert not desktop.login_item().exists(), "the user may have switched it off"
        assert b"notify=false\n" in desktop.settings().read_bytes(), "and may have switched notifications off"
    assert desktop.console().count("settings.conf cannot be used") == 1
    assert desktop.console().count("Update notifications are off") == 1


def test_a_program_killed_after_setting_settings_aside_has_had_no_first_run_either(desktop):
    desktop.settings().parent.mkdir(parents=True)
    desktop.settings().with_name("settings.conf.damaged-1").write_bytes(bytes(4096))
    program = desktop.start_and_wait_until_it_runs()
    end(program, desktop)
    assert not desktop.login_item().exists()
    assert b"notify=false\n" in desktop.settings().read_bytes()


# --- settings that another process locks ---------------------------------------

STOP_WITH_LOCK = """
import fcntl, os, signal, sys
lock = open(sys.argv[1], "a")
fcntl.flock(lock, fcntl.LOCK_EX)
os.kill(os.getpid(), signal.SIGSTOP)
"""


@pytest.fixture
def holder(desktop):
    """A process that is stopped while it has the lock of the settings."""
    desktop.settings().parent.mkdir(parents=True)
    command = [sys.executable, "-c", STOP_WITH_LOCK, str(desktop.settings()) + ".lock"]
    with subprocess.Popen(command) as process:
        os.waitid(os.P_PID, process.pid, os.WSTOPPED | os.WNOWAIT)
        yield process
        process.kill()


def start_beside(desktop):
    program = desktop.start()
    assert eventually(desktop.is_running), desktop.console()
    desktop.activate_action("open-page", "")  # no page; the answer comes when the start-up is over
    return program


def test_settings_that_a_stopped_process_locks_are_named_at_the_end(desktop, holder):
    end(start_beside(desktop), desktop)
    assert "Not saved in" in desktop.console()
    assert "settings.conf (another program holds its lock): AlreadyRun, firstRunWords\n" in desktop.console()
    assert not desktop.settings().exists()


def test_settings_are_saved_when_a_stopped_process_goes_on(desktop, holder):
    program = start_beside(desktop)
    holder.send_signal(signal.SIGCONT)
    assert eventually(lambda: desktop.settings().exists()), desktop.console()
    end(program, desktop)
    assert b"AlreadyRun=true\n" in desktop.settings().read_bytes()
    assert "Not saved" not in desktop.console()


# --- the login item ------------------------------------------------------------


def launcher_of_the_item(desktop):
    return next(line for line in desktop.login_item().read_text().splitlines() if line.startswith("Exec="))


@pytest.mark.parametrize("keys", [("Exec", "TryExec"), ("Exec",)])
def test_a_login_item_whose_program_has_gone_starts_this_one(desktop, keys):
    desktop.write_settings(CHOICES)
    gone = desktop.folder / "deleted" / LAUNCHER.name
    desktop.write_login_item(*[f"{key}={gone}" for key in keys], "X-GNOME-Autostart-Delay=7")
    end(desktop.start_and_wait_until_it_runs(), desktop)
    assert launcher_of_the_item(desktop) == f'Exec="{LAUNCHER}"'
    assert str(gone) not in desktop.login_item().read_text()
    assert "X-GNOME-Autostart-Delay=7\n" in desktop.login_item().read_text(), "the user's own line"


@pytest.mark.parametrize("switch", ["Hidden=true", "X-GNOME-Autostart-enabled=false"])
def test_a_login_item_that_is_switched_off_stays_as_it_is(desktop, switch):
    desktop.write_settings(CHOICES)
    desktop.write_login_item(f"Exec={desktop.folder}/gone", switch)
    before = desktop.login_item().read_text()
    end(desktop.start_and_wait_until_it_runs(), desktop)
    assert desktop.login_item().read_text() == before


def test_a_login_item_of_another_program_that_is_there_stays_as_it_is(desktop):
    desktop.write_settings(CHOICES)
    desktop.write_login_item("Exec=/usr/bin/true", "TryExec=/usr/bin/true")
    before = desktop.login_item().read_text()
    end(desktop.start_and_wait_until_it_runs(), desktop)
    assert desktop.login_item().read_text() == before


# --- the end of the session bus --------------------------------------------------


def lines_of_programs(desktop):
    return [line for line in desktop.console().splitlines() if not line.startswith("dbus-daemon")]


@pytest.mark.parametrize("comes_back", [False, True])
def test_it_ends_when_the_session_bus_ends(desktop, comes_back):
    program = desktop.start_and_wait_until_it_runs()
    assert eventually(lambda: lines_of_programs(desktop)), "what it says to the request for no page"
    before = lines_of_programs(desktop)
    desktop.kill_bus_daemon()
    if comes_back:
        desktop.start_bus_daemon()
    assert program.wait(DEADLINE) == 1, desktop.console()
    assert lines_of_programs(desktop) == [*before, "vorn-device-finder: The session bus has ended"]
    if comes_back:
        again = desktop.start_and_wait_until_it_runs()
        assert again.poll() is None


def test_it_ends_with_the_session_bus_while_its_panel_is_open(desktop):
    program = desktop.start_and_wait_until_it_runs()
    desktop.activate()
    assert eventually(desktop.panel_is_visible)
    desktop.kill_bus_daemon()
    assert program.wait(DEADLINE) == 1, desktop.console()


def test_an_unusable_update_server_is_refused_on_the_console(desktop):
    desktop.settings().parent.mkdir(parents=True)
    desktop.settings().write_text("[General]\nupdateServerRoot=ftp://updates.example/api/\n")
    desktop.start()
    assert eventually(lambda: "updateServerRoot is refused" in desktop.console()), desktop.console()


@pytest.mark.parametrize("program", [PROGRAM, LAUNCHER])
def test_help_and_version(program):
    shown = subprocess.run([program, "--version"], capture_output=True, text=True, check=True).stdout
    assert re.fullmatch(rf"{program.name} \d+\.\d+\.\d+\+\d+\n", shown)
    assert "Usage" in subprocess.run([program, "--help"], capture_output=True, text=True, check=True).stdout


def test_unknown_arguments_are_refused(desktop):
    for arguments in (["--nonsense"], ["--nonsense", "--version"], ["--version", "--nonsense"]):
        assert desktop.start(PROGRAM, arguments).wait(10) == 2
    assert desktop.console().count("Unknown argument '--nonsense'; see --help") == 3
    assert desktop.start(LAUNCHER, ["--nonsense"]).wait(10) == 2
    desktop.start_and_wait_until_it_runs()
    assert desktop.start(PROGRAM, ["--nonsense"]).wait(10) == 2
    assert not desktop.panel_is_visible()


def test_an_answer_that_cannot_be_written_is_a_failure():
    with open("/dev/full", "w", encoding="utf-8") as full:
        for option in ("--help", "--version"):
            assert subprocess.run([PROGRAM, option], stdout=full, check=False).returncode == 1
