"""The panel under an item of the newer kind: clicks, texts, keys, closing."""

import time

import pytest

from conftest import CONTROL_ROOM, LIVE_ROOM, MENU_ENTRIES
from finder import DOUBLE_CLICK
from vorndesktop import stays

CONTROL_ROOM_PAGE = "http://control-room.local/"
LIVE_ROOM_PAGE = "http://live-room.local/"


@pytest.fixture
def shown(finder):
    """The program with its icon in the bar and its panel open."""
    finder.application.install_icons(finder.desktop)
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    finder.wait_until_listed(MENU_ENTRIES)
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "both units")
    return finder


def test_the_panel_hangs_under_the_icon_and_has_the_focus(shown):
    panel = shown.panel()
    x, y, width, height = shown.desktop.geometry(shown.window())
    assert (x, y, width, height) == panel.place
    assert y == 28 or y == 29  # the bar's own line may count
    assert x + width == shown.desktop.width
    assert "focused" in panel.all("list")[0].states
    assert shown.selected() == CONTROL_ROOM
    assert all(name for role in ("list", "push button") for name in [panel.all(role)[0].name])


def test_a_second_click_on_the_item_closes_the_panel_and_a_third_opens_it(shown):
    shown.click_item()
    shown.wait_until_closed()
    assert stays(lambda: not shown.window())
    shown.open_panel()
    assert stays(shown.window)


def test_a_click_on_the_selected_row_opens_its_page_and_closes_the_panel(shown):
    place = shown.row("Live Room").middle
    shown.desktop.move(*place)
    shown.wait(lambda: shown.selected() == LIVE_ROOM, "the row under the mouse to be selected")
    shown.desktop.click(*place)
    shown.wait_until_closed()
    shown.wait_for_page(LIVE_ROOM_PAGE)


def test_return_opens_the_page_of_the_row_that_the_arrow_chose(shown):
    shown.desktop.key("Down")
    shown.wait(lambda: shown.selected() == LIVE_ROOM, "the second row to be selected")
    shown.desktop.key("Return")
    shown.wait_until_closed()
    shown.wait_for_page(LIVE_ROOM_PAGE)


def test_escape_closes_the_panel(shown):
    shown.desktop.key("Escape")
    shown.wait_until_closed()
    shown.open_panel()
    assert shown.opened() == []


def test_the_window_manager_closes_the_panel_and_one_click_opens_it_again(shown):
    shown.desktop.key("alt+F4")
    shown.wait_until_closed()
    assert shown.process.poll() is None
    shown.open_panel()
    shown.desktop.key("alt+F4")
    shown.wait_until_closed()
    shown.choose_in_menu("Show Devices")
    shown.wait_until_open()
    assert shown.opened() == []


def test_task_bars_and_pagers_leave_the_panel_out_each_time(shown):
    def is_left_out():
        state = shown.desktop.run(["xprop", "-id", shown.window(), "_NET_WM_STATE"]).decode()
        return "_NET_WM_STATE_SKIP_TASKBAR" in state and "_NET_WM_STATE_SKIP_PAGER" in state

    shown.wait(is_left_out, "the first panel to be left out")
    shown.click_item()
    shown.wait_until_closed()
    shown.open_panel()
    shown.wait(is_left_out, "the second panel to be left out")


def test_a_click_on_another_window_closes_the_panel(finder):
    finder.desktop.start_xfce_panel()
    finder.desktop.start(["xmessage", "-geometry", "200x100+100+300", "elsewhere"])
    finder.wait(lambda: finder.desktop.windows("Xmessage"), "the other window")
    finder.start_and_find()
    finder.open_panel()
    finder.desktop.click(150, 320)
    finder.wait_until_closed()
    assert finder.process.poll() is None


def test_a_click_is_clean_when_the_focus_is_lost_before_it(shown):
    """The click that took the focus from the panel must not open it again."""
    shown.let_the_double_click_pass()
    for _ in range(20):
        started = time.monotonic()
        shown.desktop.run(["xdotool", "windowfocus", shown.desktop.bar_window()])
        shown.wait_until_closed()
        shown.activate_item()
        if time.monotonic() - started < 0.35:  # otherwise it was no single click
            break
        shown.desktop.key("Escape")
        shown.wait_until_closed()
        shown.open_panel()
        shown.let_the_double_click_pass()
    shown.wait_until_closed()
    assert stays(lambda: not shown.window())
    shown.open_panel()


def test_a_click_well_after_the_focus_was_lost_opens_the_panel(shown):
    shown.desktop.run(["xdotool", "windowfocus", shown.desktop.bar_window()])
    shown.wait_until_closed()
    assert stays(lambda: not shown.window(), DOUBLE_CLICK)
    shown.activate_item()
    shown.wait(shown.window, "the panel")


def test_a_click_is_clean_when_the_focus_is_lost_after_it(shown):
    shown.activate_item()
    shown.desktop.run(["xdotool", "windowfocus", shown.desktop.bar_window()])
    shown.wait_until_closed()
    assert stays(lambda: not shown.window())
    shown.open_panel()


@pytest.mark.parametrize(
    ("handed_over", "pointer", "expected"),
    [
        ((300, 14), (700, 400), 300),
        ((300, 14), (150, 10), 300),
        ((0, 0), (150, 10), 150),
        ((0, 0), (100, 400), None),
        ((400, 300), (100, 400), None),
        ((5000, 14), (150, 10), 150),
        ((-2147483648, 2147483647), (100, 400), None),
    ],
)
def test_activated_by_its_host_the_panel_opens_at_the_items_place(finder, handed_over, pointer, expected):
    """If the host names no place on a bar, and the pointer is on none, the bar's end is used."""
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    finder.desktop.move(*pointer)
    finder.activate_item(*handed_over)
    finder.wait_until_open()
    x, y, width, _ = finder.desktop.geometry(finder.window())
    assert x == (finder.desktop.width - width if expected is None else expected)
    assert 28 <= y <= 29


def test_a_double_click_counts_once(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find()
    finder.desktop.run(["xdotool", "mousemove", *map(str, finder.place), "click", "--repeat", "2", "--delay", "60", "1"])
    finder.wait_until_open()
    assert stays(finder.window)


def test_the_list_follows_the_units(shown):
    shown.studio.do("rename", unit="control-room", name="Control Room A")
    shown.wait(lambda: any(row.startswith("Control Room A,") for row in shown.rows()), "the new name")
    assert shown.selected().startswith("Control Room A,")
    shown.studio.do("goodbye", unit="live-room")
    shown.studio.do("goodbye", unit="control-room")
    shown.wait(lambda: shown.rows() == ["No Local Devices Found."], "the empty list")
    assert shown.selected() is None
    shown.studio.do("announce", unit="live-room")
    shown.wait(lambda: shown.rows() == [LIVE_ROOM], "the unit again")
    shown.wait(lambda: shown.selected() == LIVE_ROOM, "its selection")
