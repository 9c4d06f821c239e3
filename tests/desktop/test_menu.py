"""The item's menu, drawn by a bar and by the program: what people read, and what a choice opens."""

import json
import os
import pathlib
import subprocess

import pytest

from accessibility import Accessibility
from conftest import CONTROL_ROOM, LIVE_ROOM, MENU_ENTRIES
from finder import NAME, Finder
from vorndesktop import wait_until

NAMES = [
    "Live_Room_2", "R&D & more", "Rock & Roll", "_a__b_", "A&_B", "x & y_z", "x_y & z_", "&", "_", "__", "&_", "_&",
    "end&", "end_", "&start", "&&", "&a&b&", "Stage (&L)", "\u05d0 & _\u05d1", "plain",
]
LIVE_ROOM_ENTRY = "Live Room (update 1.4.2 available)"
SETTINGS = [
    "Launch at Login", "Show Switches", "Notify About Updates", "Check for New Firmware", "Keyboard Shortcuts",
    "About Vorn Device Finder",
]
BELOW_THE_BAR = 40
READER = pathlib.Path(__file__).with_name("bar_menu.py")
MARKS = dict.fromkeys(map(ord, "\u2068\u2069")) | {0x2CD: "_"}  # an invisible character, and one that looks like an underscore


def to_the_eye(text):
    return text.translate(MARKS)


def interfaces(names):
    """The entries of the virtual entity's submenu, one for each name."""
    return [f"{name}:eth{4 * number + 3}" for number, name in enumerate(names)]


def whole_menu(names):
    return ["Show Devices", *names, "Settings", *SETTINGS[:3], "Launch Mac Virtual Entity", *interfaces(names),
            *SETTINGS[3:], "Quit Vorn Device Finder"]


@pytest.fixture(params=[NAMES[:10], NAMES[10:]], ids=["first half", "second half"])
def names(request):
    """As many as the menu names."""
    return request.param


def start_item(desktop, names, start_bar):
    """Puts the status item with units and interfaces of these names into a bar. Returns the middle of its icon."""
    start_bar()
    before = desktop.settled_bar()
    words = [argument for name in names for argument in ("--unit", name, "--service", name)]
    desktop.start(
        [os.environ["VORN_MENU_DRIVER"], *words], stdin=subprocess.DEVNULL,
        environment={**desktop.environment, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", "QT_QPA_PLATFORMTHEME": ""},
    )
    return desktop.find_new_in_bar(before)


@pytest.fixture
def host(desktop, names):
    """The view of a host of the newer kind."""
    made = Finder(desktop, None)
    start_item(desktop, names, desktop.start_xfce_panel)
    made.wait(lambda: len(made.menu()) == len(whole_menu(names)), "the whole menu")
    yield made
    made.close()


def test_names_read_literally_in_a_menu_that_a_bar_draws(desktop, host, names):
    where = [host.item()[0], str(host.item_property("Menu"))]
    told = desktop.run(["/usr/bin/python3", READER, *where, str(len(whole_menu(names)))])
    assert [to_the_eye(text) for text in json.loads(told)] == whole_menu(names)


def test_names_read_literally_by_the_rule_for_menus_on_the_bus(host, names):
    assert [to_the_eye(entry["title"]) for entry in host.menu()] == whole_menu(names)


def test_names_read_literally_in_a_menu_that_the_program_draws(desktop, names):
    place = start_item(desktop, names, desktop.start_tint2)
    assistive = Accessibility(desktop.bus_address)
    assistive.ask_for_changes()
    desktop.click(*place, 3)
    menu = wait_until(lambda: assistive.menu(NAME, "Show Devices"), "the menu")
    assistive.close()
    shown = [entry.name for entry in menu.children if entry.role != "separator" and "visible" in entry.states]
    assert shown == ["Show Devices", *names, "Settings", "Quit Vorn Device Finder"]
    submenu = menu.named("Launch Mac Virtual Entity").children[0]
    assert [entry.name for entry in submenu.children] == interfaces(names)


# --- an open menu -------------------------------------------------------------------------------


def titles(finder):
    return [entry["title"] for entry in finder.menu()]


def can_choose(finder, title):
    return next(entry["enabled"] for entry in finder.menu() if entry["title"] == title)


def test_a_menu_that_a_bar_draws_moves_no_entry_while_it_is_open(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    finder.wait_until_listed(MENU_ENTRIES)
    before, screen = titles(finder), finder.desktop.picture(y=BELOW_THE_BAR)
    finder.desktop.click(*finder.place, 3)
    finder.wait(lambda: finder.desktop.picture(y=BELOW_THE_BAR) != screen, "the open menu")
    finder.studio.do("goodbye", unit="live-room")
    finder.wait(lambda: not can_choose(finder, LIVE_ROOM_ENTRY), "the end of the unit's entry")
    assert titles(finder) == before
    finder.choose_in_menu(LIVE_ROOM_ENTRY)
    finder.desktop.key("Escape")
    finder.wait(lambda: finder.desktop.picture(y=BELOW_THE_BAR) == screen, "the closed menu")
    finder.desktop.click(*finder.place, 3)  # this bar does not report that it has closed a menu
    finder.wait(lambda: LIVE_ROOM_ENTRY not in titles(finder), "a menu without the unit")
    finder.choose_in_menu("Control Room")
    finder.wait_for_page("http://control-room.local/")


def test_a_click_where_a_unit_was_in_a_menu_that_the_program_draws_opens_no_other_unit(finder):
    finder.desktop.start_tint2()
    before = finder.desktop.settled_bar()
    finder.start()
    finder.place = finder.desktop.find_new_in_bar(before)
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "both units")
    finder.desktop.key("Escape")
    finder.wait_until_closed()
    menu = finder.open_drawn_menu()
    place, neighbour = menu.named(LIVE_ROOM_ENTRY).middle, menu.named("Control Room").middle
    finder.studio.do("goodbye", unit="live-room")
    finder.wait(lambda: "enabled" not in finder.drawn_menu().named(LIVE_ROOM_ENTRY).states, "the end of the unit's entry")
    assert finder.drawn_menu().named("Control Room").middle == neighbour
    finder.desktop.click(*place)
    finder.desktop.click(*neighbour)
    finder.wait_for_page("http://control-room.local/")
