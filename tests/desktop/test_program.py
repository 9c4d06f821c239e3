"""The program's life on a desktop: notifications, settings, login entry, second start, end."""

from conftest import CONTROL_ROOM, LIVE_ROOM
from finder import WINDOWS
from vorndesktop import stays

SWITCH = "Attic, AVB switch, firmware 3.0.4+12"
SETTINGS = ".config/vorn-device-finder/settings.conf"
LAUNCH_AT_LOGIN, SHOW_SWITCHES, NOTIFY, CHECK, QUIT = 1, 2, 3, 4, 7  # positions in the settings menu


def login_entry(finder):
    return f".config/autostart/{finder.application.identifier}.Launcher.desktop"


def check_mark(finder, title):
    return next(entry["checked"] for entry in finder.menu() if entry["title"] == title)


def test_a_click_on_a_notification_opens_the_units_page(finder):
    finder.desktop.start_notification_server()
    finder.start()
    finder.wait(lambda: finder.desktop.notifications_shown() == 1, "the notification")
    finder.desktop.click_notification()
    finder.wait_for_page("http://live-room.local/#device")


def test_an_update_is_announced_once(finder):
    finder.desktop.start_notification_server()
    finder.start()
    finder.wait(lambda: finder.desktop.notifications_shown() == 1, "the notification")
    finder.end()
    finder.start()
    assert finder.launch().wait(20) == 0  # shows the panel
    finder.wait(lambda: LIVE_ROOM in finder.rows(), "the update mark, which comes after the notifications")
    assert stays(lambda: finder.desktop.notifications_shown() == 1)
    finder.end()
    finder.studio.do("publish", model="Vorn 16A", version="1.4.3+320")
    finder.start()
    # The new one replaces the one of the older release, which is still shown.
    finder.wait(lambda: finder.desktop.notifications_shown() == 2, "both units' notifications of the newer version")


def test_settings_survive_a_restart(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "the units without the switch")
    finder.choose_setting(SHOW_SWITCHES)
    finder.wait(lambda: finder.rows() == [SWITCH, CONTROL_ROOM, LIVE_ROOM], "the switch")
    finder.choose_setting(NOTIFY)
    finder.wait(lambda: not check_mark(finder, "Notify About Updates"), "the check mark to go")
    finder.end()
    assert "showSwitches=true" in finder.file(SETTINGS)
    finder.wait_for_no_item()
    finder.start_and_find()
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [SWITCH, CONTROL_ROOM, LIVE_ROOM], "the switch again")
    assert check_mark(finder, "Show Switches")
    assert not check_mark(finder, "Notify About Updates")


def test_the_update_server_is_asked_only_while_the_user_wants_it(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "the update")
    finder.choose_setting(CHECK)
    known_no_more = LIVE_ROOM.partition(", update")[0]
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, known_no_more], "the unit without a newest version")
    finder.end()
    assert "checkForUpdates=false" in finder.file(SETTINGS)
    finder.wait_for_no_item()

    asked = len(finder.studio.requests("update-server"))
    finder.start_and_find()
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, known_no_more], "the units")
    assert not check_mark(finder, "Check for New Firmware")
    assert len(finder.studio.requests("update-server")) == asked
    finder.choose_setting(CHECK)
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "the update again")
    finder.wait(lambda: any("/device/driver/" in entry["path"] for entry in finder.studio.requests("update-server")[asked:]),
                "the question for the driver")


def test_the_login_entry_is_written_on_the_first_run_only(finder):
    finder.start()
    finder.wait(lambda: finder.file(login_entry(finder)), "the login entry")
    assert f"Exec={finder.application.launcher}" in finder.file(login_entry(finder))
    finder.end()
    finder.studio.run(["rm", f"/run/vorn-studio/home/{login_entry(finder)}"])
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    assert not check_mark(finder, "Launch at Login")
    assert finder.file(login_entry(finder)) is None
    finder.choose_in_menu("Launch at Login")
    finder.wait(lambda: finder.file(login_entry(finder)), "the login entry that the user asked for")
    finder.wait(lambda: check_mark(finder, "Launch at Login"), "its check mark")


def test_a_second_start_shows_the_panel_and_exits(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    assert finder.launch().wait(20) == 0
    finder.wait_until_open()
    assert len(finder.desktop.windows(WINDOWS)) == 1
    finder.desktop.key("Escape")
    finder.wait_until_closed()
    assert finder.launch(program=finder.application.launcher).wait(20) == 0
    finder.click_item()  # this click would close the panel if the launcher had opened it
    finder.wait_until_open()


def test_the_panels_own_entry_ends_the_program(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    finder.open_panel()
    finder.open_settings_menu()
    finder.desktop.key(*["Down"] * QUIT, "Return")
    assert finder.process.wait(20) == 0


def test_it_ends_within_a_second_while_units_hang(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "both units")
    for unit in ("control-room", "live-room", "attic"):
        finder.studio.do("fault", unit=unit, fault="silence")
    finder.wait(lambda: finder.studio.requests("live-room")[-1].get("answered") is None, "a request that hangs")
    assert finder.end() < 1.0
