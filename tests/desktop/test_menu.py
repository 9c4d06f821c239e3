"""What people read in the item's menu, drawn by a bar and by the program, with any names from the network."""

import json
import os
import pathlib
import subprocess

import pytest

from accessibility import Accessibility
from finder import NAME, Finder
from vorndesktop import wait_until

NAMES = [
    "Live_Room_2", "R&D & more", "Rock & Roll", "_a__b_", "A&_B", "x & y_z", "x_y & z_", "&", "_", "__", "&_", "_&",
    "end&", "end_", "&start", "&&", "&a&b&", "Stage (&L)", "\u05d0 & _\u05d1", "plain",
]
SETTINGS = [
    "Launch at Login", "Show Switches", "Notify About Updates", "Check for New Firmware", "Keyboard Shortcuts",
    "About Vorn Device Finder",
]
READER = pathlib.Path(__file__).with_name("bar_menu.py")
MARKS = dict.fromkeys(map(ord, "\u2068\u2069")) | {0x2CD: "_"}  # an invisible character, and one that looks like an underscore


def to_the_eye(text):
    return text.translate(MARKS)


def interfaces():
    """The entries of the virtual entity's submenu, one for each name."""
    return [f"{name}:eth{4 * number + 3}" for number, name in enumerate(NAMES)]


def whole_menu():
    return ["Show Devices", *NAMES, "Settings", *SETTINGS[:3], "Launch Mac Virtual Entity", *interfaces(),
            *SETTINGS[3:], "Quit Vorn Device Finder"]


def start_item(desktop, start_bar):
    """Puts the status item with units and interfaces of these names into a bar. Returns the middle of its icon."""
    start_bar()
    before = desktop.settled_bar()
    names = [argument for name in NAMES for argument in ("--unit", name, "--service", name)]
    desktop.start(
        [os.environ["VORN_MENU_DRIVER"], *names], stdin=subprocess.DEVNULL,
        environment={**desktop.environment, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", "QT_QPA_PLATFORMTHEME": ""},
    )
    return desktop.find_new_in_bar(before)


@pytest.fixture
def host(desktop):
    """The view of a host of the newer kind."""
    made = Finder(desktop, None)
    start_item(desktop, desktop.start_xfce_panel)
    made.wait(lambda: len(made.menu()) == len(whole_menu()), "the whole menu")
    yield made
    made.close()


def test_names_read_literally_in_a_menu_that_a_bar_draws(desktop, host):
    where = [host.item()[0], str(host.item_property("Menu"))]
    told = desktop.run(["/usr/bin/python3", READER, *where, str(len(whole_menu()))])
    assert [to_the_eye(text) for text in json.loads(told)] == whole_menu()


def test_names_read_literally_by_the_rule_for_menus_on_the_bus(host):
    assert [to_the_eye(entry["title"]) for entry in host.menu()] == whole_menu()


def test_names_read_literally_in_a_menu_that_the_program_draws(desktop):
    place = start_item(desktop, desktop.start_tint2)
    assistive = Accessibility(desktop.bus_address)
    assistive.ask_for_changes()
    desktop.click(*place, 3)
    menu = wait_until(lambda: assistive.menu(NAME, "Show Devices"), "the menu")
    assistive.close()
    shown = [entry.name for entry in menu.children if entry.role != "separator" and "visible" in entry.states]
    assert shown == ["Show Devices", *NAMES, "Settings", "Quit Vorn Device Finder"]
    submenu = menu.named("Launch Mac Virtual Entity").children[0]
    assert [entry.name for entry in submenu.children] == interfaces()
