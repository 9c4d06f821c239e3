"""The program on Wayland, where it cannot choose the place of its window: sway with waybar."""

import pytest

from conftest import CONTROL_ROOM, LIVE_ROOM, MENU_ENTRIES, UNITS
from finder import Finder
from swaydesktop import SwayDesktop
from vornstudio import Studio


@pytest.fixture
def finder():
    with SwayDesktop() as desktop:
        desktop.start_bus()
        desktop.start_screen()
        desktop.start_accessibility()
        with Studio(UNITS) as studio:
            made = Finder(desktop, studio)
            yield made
            made.close()


def row_middle(finder, beginning):
    """The place of a row on the screen. On Wayland a program only knows places inside its window."""
    x, y, _, _ = finder.desktop.geometry(finder.window())
    row_x, row_y = finder.row(beginning).middle
    return x + row_x, y + row_y


def click_item(finder):
    finder.desktop.rest_on_item(*finder.place)
    finder.click_item()


def open_panel(finder):
    click_item(finder)
    finder.wait_until_open()


def test_the_item_is_shown_and_the_panel_floats_toggles_closes_and_opens_pages(finder):
    desktop = finder.desktop
    finder.application.install_icons(desktop)
    desktop.start_waybar()
    finder.start_and_find()
    finder.wait_until_listed(MENU_ENTRIES)
    open_panel(finder)
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "both units")
    assert finder.window()["type"] == "floating_con"
    assert desktop.geometry(finder.window())[2] < desktop.width // 2
    click_item(finder)
    finder.wait_until_closed()

    open_panel(finder)
    desktop.key("Escape")
    finder.wait_until_closed()

    open_panel(finder)
    desktop.click(20, desktop.height - 20)
    finder.wait_until_closed()

    open_panel(finder)
    place = row_middle(finder, "Live Room")
    desktop.move(*place)
    finder.wait(lambda: finder.selected() == LIVE_ROOM, "the row under the mouse to be selected")
    desktop.click(*place)
    finder.wait_until_closed()
    finder.wait_for_page("http://live-room.local/")


@pytest.mark.parametrize("color", ["#202020", "#efefef"])
def test_the_icon_stands_out_from_a_bar_that_does_not_recolour_it(finder, color):
    finder.application.install_icons(finder.desktop)
    finder.desktop.start_waybar(color)
    empty = finder.desktop.settled_bar()
    finder.start_and_find()
    assert finder.item_property("IconName").endswith("-symbolic")

    def contrast():
        return finder.desktop.bar_strip().contrast(empty, finder.place[0])

    active = finder.wait(lambda: (now := contrast()) >= 4.5 and now, "a clear icon")
    for unit in ("control-room", "live-room"):
        finder.studio.do("goodbye", unit=unit)
    finder.wait(lambda: 1.2 < contrast() < 0.7 * active, "a dim icon")


def test_the_panel_shows_with_the_permission_of_the_program_that_asked(finder, tmp_path):
    finder.desktop.start_waybar()
    said = tmp_path / "said"
    with said.open("w", encoding="utf-8") as console:
        finder.start(stderr=console, WAYLAND_DEBUG="client")
    finder.activate("a-token")
    finder.wait_until_open()
    finder.wait(lambda: '.activate("a-token", ' in said.read_text(encoding="utf-8", errors="replace"), "the token's use")
    finder.desktop.key("Escape")
    finder.wait_until_closed()
    finder.activate("")
    finder.wait_until_open()
    assert said.read_text(encoding="utf-8", errors="replace").count('"a-token"') == 1


def test_a_host_may_come_late_and_again(finder):
    desktop = finder.desktop
    bar = desktop.start_waybar()
    empty = desktop.settled_bar()
    desktop.stop(bar)
    finder.start()
    bar = desktop.start_waybar()
    finder.place = desktop.find_new_in_bar(empty)
    finder.wait_until_listed(MENU_ENTRIES)
    open_panel(finder)
    desktop.key("Return")
    finder.wait_for_page("http://control-room.local/")
    finder.wait_until_closed()
    desktop.stop(bar)
    desktop.start_waybar()
    finder.place = desktop.find_new_in_bar(empty)
    open_panel(finder)
