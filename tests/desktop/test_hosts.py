"""The bars that host the item: there before us, after us, again, of both kinds, at both edges, on two screens."""

import pathlib
import shutil
import types

import pytest

from conftest import CONTROL_ROOM, LIVE_ROOM, MENU_ENTRIES, UNITS
from finder import BUILD, NAME, Finder, link_shared_data
from vorndesktop import Application, VirtualDesktop
from vornstudio import Studio

BAR = 28


def empty_bar(desktop, start, edge="top"):
    """The picture of the bar without an item. The bar is stopped again afterwards."""
    bar = start(edge=edge)
    picture = desktop.settled_bar(edge)
    desktop.stop(bar)
    return picture


def assert_the_item_works(finder):
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "both units")
    finder.click_item()
    finder.wait_until_closed()


def find_in(finder, empty, edge="top"):
    finder.place = finder.desktop.find_new_in_bar(empty, edge)


# --- the newer kind ---------------------------------------------------------------------------------


def test_a_host_of_the_newer_kind_may_come_late_and_again(finder):
    desktop = finder.desktop
    finder.application.install_icons(desktop)
    empty = empty_bar(desktop, desktop.start_xfce_panel)
    finder.start()
    bar = desktop.start_xfce_panel()
    find_in(finder, empty)
    assert_the_item_works(finder)
    desktop.stop(bar)
    finder.wait(lambda: not desktop.has_name("org.kde.StatusNotifierWatcher"), "the end of the bar")
    desktop.start_xfce_panel()
    find_in(finder, empty)
    assert_the_item_works(finder)


def test_the_item_is_never_passive_and_goes_dim_without_units(finder):
    desktop, name = finder.desktop, finder.application.identifier
    finder.application.install_icons(desktop)
    desktop.start_xfce_panel()
    finder.start_and_find()
    finder.wait(lambda: finder.item_property("IconName") == f"{name}-symbolic", "the bright icon")
    for unit in ("control-room", "live-room"):
        finder.studio.do("goodbye", unit=unit)
    finder.wait(lambda: finder.item_property("IconName") == f"{name}-inactive-symbolic", "the dim icon")
    assert finder.item_property("Status") == "Active"
    assert finder.item_property("Title") or finder.item_property("ToolTip")[2]


def test_the_host_gets_the_programs_name_and_what_the_list_says(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    assert finder.item_property("Title") == NAME

    def says(words):
        return lambda: finder.item_property("ToolTip")[2] == words

    finder.wait(says("2 devices, 1 update available"), "the number of devices and updates")
    finder.studio.do("goodbye", unit="live-room")
    finder.wait(says("1 device"), "the number without the unit that left")
    finder.studio.do("goodbye", unit="control-room")
    finder.wait(says("No Local Devices Found."), "the text of the empty list")


@pytest.fixture
def machine_with_the_icons(tmp_path, monkeypatch):
    """A machine on which the application is installed. The programs of later tests see nothing of this."""

    def install(source, place):
        (machine / place).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, machine / place)

    machine = tmp_path / "share"
    link_shared_data(pathlib.Path("/usr/share"), machine)
    Application(BUILD).install_icons(types.SimpleNamespace(install=install))
    monkeypatch.setattr("finder.SYSTEM_DATA", machine)


def test_an_icon_that_is_not_installed_travels_as_pixels(machine_with_the_icons, finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    assert finder.item_property("IconName") == ""
    assert len(finder.item_property("IconPixmap")) > 0


def test_the_panel_stands_on_a_bar_at_the_bottom(finder):
    finder.desktop.start_xfce_panel(edge="bottom")
    finder.start_and_find(edge="bottom")
    finder.open_panel()
    x, y, width, height = finder.desktop.geometry(finder.window())
    assert x + width == finder.desktop.width
    assert finder.desktop.height - BAR - 1 <= y + height <= finder.desktop.height - BAR


@pytest.fixture
def finder_without_a_window_manager():
    with VirtualDesktop(960, 600) as desktop:
        desktop.start_screen()
        desktop.start_bus()
        desktop.start_accessibility()
        with Studio(UNITS) as studio:
            made = Finder(desktop, studio)
            yield made
            made.close()


@pytest.mark.parametrize("edge", ["top", "bottom"])
def test_the_panel_stands_on_the_bar_without_a_window_manager(finder_without_a_window_manager, edge):
    finder = finder_without_a_window_manager
    finder.desktop.start_xfce_panel(edge=edge)
    finder.start_and_find(edge)
    finder.click_item()
    _, y, _, height = finder.desktop.geometry(finder.wait(finder.window, "the panel"))
    if edge == "top":
        assert BAR <= y <= BAR + 1
    else:
        assert finder.desktop.height - BAR - 1 <= y + height <= finder.desktop.height - BAR


def test_the_panel_stays_on_the_screen_of_its_item(finder):
    desktop = finder.desktop
    desktop.split_screen()
    desktop.start_xfce_panel(output="Primary")
    finder.start_and_find()
    assert finder.place[0] < desktop.width // 2
    finder.open_panel()
    x, y, width, _ = desktop.geometry(finder.window())
    assert x + width == desktop.width // 2
    assert BAR <= y <= BAR + 1


@pytest.mark.parametrize("desktop", [(1920, 1200)], indirect=True)
@pytest.mark.parametrize("edge", ["top", "bottom"])
def test_the_panel_stands_on_the_bar_at_twice_the_size(finder, edge):
    desktop = finder.desktop
    desktop.split_screen()
    desktop.start_xfce_panel(edge=edge, output="Primary")
    finder.start_and_find(edge, QT_SCALE_FACTOR="2")
    finder.open_panel()
    x, y, width, height = desktop.geometry(finder.window())
    assert width > 500, "in the screen's own pixels"
    assert x + width == desktop.width // 2
    if edge == "top":
        assert BAR <= y <= BAR + 2
    else:
        assert desktop.height - BAR - 2 <= y + height <= desktop.height - BAR


def test_the_context_menu_offers_everything(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()

    finder.wait_until_listed(MENU_ENTRIES)
    live_room = "Live Room (update 1.4.2 available)"
    assert [entry["title"] for entry in finder.menu()] == [
        "Show Devices", live_room, "Control Room", "Settings", "Launch at Login", "Show Switches",
        "Notify About Updates", "Check for New Firmware", "Keyboard Shortcuts", "About Vorn Device Finder",
        "Quit Vorn Device Finder",
    ]
    finder.choose_in_menu(live_room)
    finder.wait_for_page("http://live-room.local/")
    finder.choose_in_menu("Show Devices")
    finder.wait_until_open()
    finder.choose_in_menu("Quit Vorn Device Finder")
    assert finder.process.wait(20) == 0


# --- the older kind ---------------------------------------------------------------------------------


@pytest.mark.parametrize("edge", ["top", "bottom"])
def test_a_tray_of_the_older_kind_shows_our_own_drawing(finder, edge):
    desktop = finder.desktop
    desktop.start_tint2(edge=edge)
    empty = desktop.settled_bar(edge)
    finder.start()
    find_in(finder, empty, edge)
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "both units")
    x, y, width, height = desktop.geometry(finder.window())
    assert x + width == desktop.width
    assert y == BAR if edge == "top" else y + height == desktop.height - BAR
    desktop.move(*finder.panel().middle)  # a bar may draw an icon differently under the mouse
    highlighted = desktop.settled_bar(edge)
    desktop.key("Escape")
    finder.wait(lambda: desktop.bar_strip(edge).columns_that_differ(highlighted), "the end of the highlight")
    finder.wait_until_closed()


def test_a_tray_of_the_older_kind_may_come_late_and_again(finder):
    desktop = finder.desktop
    empty = empty_bar(desktop, desktop.start_tint2)
    finder.start()
    bar = desktop.start_tint2()
    find_in(finder, empty)
    finder.open_panel()
    desktop.key("Escape")
    finder.wait_until_closed()
    desktop.stop(bar)
    finder.wait(lambda: not desktop.windows("Tint2"), "the end of the bar")
    desktop.start_tint2()
    find_in(finder, empty)
    finder.open_panel()
