"""Notifications on real notification servers, from published list to opened page."""

import pathlib
import re
import signal

from conftest import DRIVER, eventually

STUDIO_A = ("Studio A", "plexadevice", "http://studio-a.local:80/", "0001f2fffe00aa01", "1.0.0+5")
SWITCH = ("Rack <b>1</b> & 2", "plexaswitch", "http://rack.local:80/", "0001f2fffe00bb01", "2.0.0+1")
NOTIFYD_SERVICE = pathlib.Path("/usr/share/dbus-1/services/org.xfce.xfce4-notifyd.Notifications.service")


def at(unit, release):
    return (*unit, release)


def test_a_release_is_announced_once_and_a_click_opens_the_page(desktop):
    desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.0.0+5"))  # nothing new yet
    desktop.publish(at(STUDIO_A, "1.4.2+311"), at(SWITCH, "2.1.0+7"))
    eventually(lambda: desktop.displayed() == 2, "both notifications")
    assert desktop.screenshot("notification-dunst.png").stat().st_size > 0
    assert desktop.close_all() == [
        ("Update Available for Studio A", "1.4.2"),
        ("Update Available for Rack <b>1</b> & 2", "2.1.0"),
    ]

    # A new release: one notification, and the page with its fragment.
    desktop.publish(at(SWITCH, "2.1.0+7"))
    desktop.stop_driver()
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"), at(SWITCH, "2.1.0+7"))  # second run: nothing new
    desktop.publish(at(STUDIO_A, "1.5.0+1"), at(SWITCH, "2.1.0+7"))
    eventually(lambda: desktop.displayed() == 1, "the new release")
    desktop.click_notification()
    assert eventually(desktop.opened, "the browser") == ["http://studio-a.local:80/#device"]
    eventually(lambda: desktop.displayed() == 0, "the notification's end")
    assert desktop.close_all()[2:] == [("Update Available for Studio A", "1.5.0")]
    settings = (desktop.folder / "config/vorn-device-finder/settings.conf").read_text()
    assert "notificationrecord-0001f2fffe00aa01=1.0.0+5, 1.5.0+1\n" in settings


def test_a_click_on_a_switch_opens_the_bare_address(desktop):
    desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(at(SWITCH, "2.1.0+7"))
    eventually(lambda: desktop.displayed() == 1, "the notification")
    desktop.click_notification()
    assert eventually(desktop.opened, "the browser") == ["http://rack.local:80/"]


def test_a_server_that_starts_late_gets_the_notification(desktop):
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    desktop.start_dunst()
    eventually(lambda: desktop.displayed() == 1, "the notification")
    assert desktop.close_all() == [("Update Available for Studio A", "1.4.2")]


def test_a_notification_without_a_server_comes_at_the_next_start(desktop):
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    desktop.stop_driver()
    assert desktop.keeps("waiting")
    desktop.start_dunst()
    desktop.start_driver()
    eventually(lambda: desktop.displayed() == 1, "the notification")
    desktop.click_notification()
    assert eventually(desktop.opened, "the browser") == ["http://studio-a.local:80/#device"]
    assert desktop.close_all() == [("Update Available for Studio A", "1.4.2")]


def test_what_the_next_start_finds_outdated_or_switched_off_does_not_come(desktop):
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"), at(SWITCH, "2.1.0+7"))
    desktop.stop_driver()
    desktop.start_dunst()
    desktop.start_driver()
    desktop.publish((*STUDIO_A[:4], "1.4.2+311", "1.4.2+311"))  # updated meanwhile
    eventually(lambda: desktop.displayed() == 1, "the other unit's notification")
    desktop.switch_off()
    assert desktop.close_all() == [("Update Available for Rack <b>1</b> & 2", "2.1.0")]
    eventually(lambda: "notices=" in desktop.kept(), "the end of what is kept")


def test_a_notification_that_outlives_its_program_keeps_its_click(desktop):
    desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    eventually(lambda: desktop.keeps("standing"), "the notification's place")
    desktop.kill_driver()
    calls = desktop.watch_calls("Notify")
    desktop.start_driver()
    eventually(lambda: "member=Notify" in calls.read_text(), "the new program's word to the server")
    assert desktop.displayed() == 1  # in its old place
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    desktop.click_notification()
    assert eventually(desktop.opened, "the browser") == ["http://studio-a.local:80/#device"]
    eventually(lambda: desktop.displayed() == 0, "the notification's end")
    assert desktop.close_all() == [("Update Available for Studio A", "1.4.2")]


def test_a_notification_that_was_clicked_while_no_program_ran_comes_again(desktop):
    desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    eventually(lambda: desktop.keeps("standing"), "the notification's place")
    desktop.kill_driver()
    desktop.click_notification()
    eventually(lambda: desktop.displayed() == 0, "the notification's end")
    assert desktop.opened() == []
    desktop.start_driver()
    eventually(lambda: desktop.displayed() == 1, "the notification, again")
    desktop.click_notification()
    assert eventually(desktop.opened, "the browser") == ["http://studio-a.local:80/#device"]


def test_what_was_met_without_a_session_bus_comes_at_the_next_start_with_one(desktop):
    desktop.start_driver(DBUS_SESSION_BUS_ADDRESS=f"unix:path={desktop.folder}/no-bus")
    desktop.publish(at(STUDIO_A, "1.4.2+311"), at(SWITCH, "2.1.0+7"))
    desktop.stop_driver()
    assert desktop.log_of(DRIVER).read_text() == (
        "notification-driver: There is no session bus: notifications wait until the program is started with one\n"
    )
    desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"), at(SWITCH, "2.1.0+7"))
    desktop.publish(at(STUDIO_A, "1.5.0+1"))
    eventually(lambda: desktop.displayed() == 2, "both notifications")
    assert desktop.close_all() == [
        ("Update Available for Rack <b>1</b> & 2", "2.1.0"),
        ("Update Available for Studio A", "1.5.0"),
    ]



def test_two_programs_of_one_user_on_two_buses_keep_their_notifications_apart(desktop):
    first = desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    eventually(lambda: desktop.keeps("waiting"), "the notification's place")
    desktop.start_driver(DBUS_SESSION_BUS_ADDRESS=desktop.start_bus("other-bus"))
    desktop.publish(at(SWITCH, "2.1.0+7"))
    desktop.stop_driver()
    desktop.driver = first
    desktop.publish(at(STUDIO_A, "1.5.0+1"))  # which is kept in place of all that the first program knows
    desktop.stop_driver()

    # Nothing is lost: what the first one kept comes, and the second one's release was not announced yet.
    desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.5.0+1"), at(SWITCH, "2.1.0+7"))
    eventually(lambda: desktop.displayed() == 2, "both notifications")
    assert sorted(desktop.close_all()) == [
        ("Update Available for Rack <b>1</b> & 2", "2.1.0"),
        ("Update Available for Studio A", "1.5.0"),
    ]
    assert desktop.log_of(DRIVER).read_text().count("is in use by another program") == 1


def test_a_server_killed_before_its_answer_gets_the_notification_again(desktop):
    server = desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(at(SWITCH, "2.1.0+7"))
    eventually(lambda: desktop.displayed() == 1, "the first notification")
    server.send_signal(signal.SIGSTOP)
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    desktop.kill(server)
    desktop.start_dunst()
    eventually(lambda: desktop.displayed() == 1, "the notification, again")
    assert desktop.close_all() == [("Update Available for Studio A", "1.4.2")]


def test_a_server_killed_under_a_standing_notification_is_survived(desktop):
    server = desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    eventually(lambda: desktop.displayed() == 1, "the notification")
    desktop.kill(server)
    desktop.start_dunst()
    desktop.publish(at(STUDIO_A, "1.4.2+311"), at(SWITCH, "2.1.0+7"))
    eventually(lambda: desktop.displayed() == 1, "the other unit's notification")
    desktop.click_notification()
    assert eventually(desktop.opened, "the browser") == ["http://rack.local:80/"]
    assert desktop.close_all() == [("Update Available for Rack <b>1</b> & 2", "2.1.0")]


FLOODER = "192.0.2.66"


def flood(first, count):
    """Outdated units of one address, each with a uid and a name of its own that come before those of others."""
    return [
        (f"A {n}", "plexahost", f"http://flood-{n}.local/{n:016x}/", f"{n:016x}", "1.0.0+1", "2.0.0+1", FLOODER)
        for n in range(first, first + count)
    ]


def announced(desktop):
    """How many releases count as announced after a restart: those of the flood, and those of others."""
    settings = (desktop.folder / "config/vorn-device-finder/settings.conf").read_text().splitlines()
    uids = [line.partition("=")[0].removeprefix("notificationrecord-") for line in settings if "record-" in line]
    ours = [uid for uid in uids if uid in (STUDIO_A[3], SWITCH[3])]
    return len(uids) - len(ours), len(ours)


def test_a_flood_from_one_address_costs_no_other_unit_its_notification(desktop):
    desktop.start_dunst()
    desktop.start_driver()
    desktop.publish(*flood(0, 300), (*at(STUDIO_A, "1.4.2+311"), "192.0.2.1"))
    for first in range(300, 3000, 300):  # units that come and go
        desktop.publish(*flood(first, 300))
    eventually(lambda: desktop.displayed() >= 2, "the first notifications")
    assert ("Update Available for Studio A", "1.4.2") in desktop.close_all()[:2]
    desktop.publish(*flood(3000, 300), (*at(SWITCH, "2.1.0+7"), "192.0.2.2"))
    eventually(lambda: ("Update Available for Rack <b>1</b> & 2", "2.1.0") in desktop.close_all(), "the switch's")
    desktop.stop_driver()
    assert announced(desktop) == (10, 2)
    assert desktop.log_of(DRIVER).read_text().count("too many") == 1


def test_xfce_shows_the_notification_and_reports_the_click(desktop):
    desktop.start_server(re.findall("^Exec=(.*)$", NOTIFYD_SERVICE.read_text(), re.MULTILINE))
    desktop.start_driver()
    desktop.publish(at(STUDIO_A, "1.4.2+311"))
    desktop.press_open_button()
    assert desktop.opened() == ["http://studio-a.local:80/#device"]
