"""The panel's size: at any scale it leaves the bars free, and it follows its list."""

import pytest

from finder import WINDOWS, Finder
from swaydesktop import SwayDesktop
from vornstudio import Studio

BAR = 28
MANY = {"unit": [{"name": f"Unit {number:02}", "model": "Vorn 16A"} for number in range(1, 41)]}
EIGHT = {"unit": MANY["unit"][:8]}
GOING = [f"unit-{number:02}" for number in range(4, 9)]
OTHER = {"top": "bottom", "bottom": "top"}


@pytest.fixture
def finder(desktop, request):
    with Studio(getattr(request, "param", MANY)) as studio:
        made = Finder(desktop, studio)
        yield made
        made.close()


def place(finder):
    return finder.desktop.geometry(finder.window())


def open_with(finder, rows):
    finder.open_panel()
    finder.wait(lambda: len(finder.rows()) == rows, f"{rows} rows")


def let_five_go(finder):
    for unit in GOING:
        finder.studio.do("goodbye", unit=unit)
    finder.wait(lambda: len(finder.rows()) == 3, "three rows")


@pytest.mark.parametrize("desktop", [(1280, 800)], indirect=True)
@pytest.mark.parametrize("edge", ["top", "bottom"])
@pytest.mark.parametrize("scale", [1, 2, 3])
def test_the_panel_leaves_both_bars_free_and_shows_its_settings_button(finder, edge, scale):
    desktop = finder.desktop
    desktop.start_tint2(edge=OTHER[edge])
    desktop.start_xfce_panel(edge=edge)
    finder.start_and_find(edge, QT_SCALE_FACTOR=str(scale))
    open_with(finder, 40)
    x, y, width, height = place(finder)
    assert 0 <= x <= x + width <= desktop.width
    assert BAR <= y <= y + height <= desktop.height - BAR
    gap = y - BAR if edge == "top" else desktop.height - BAR - y - height
    assert gap <= scale + 1  # the bar's own line, and what rounding leaves
    before = len(desktop.windows(WINDOWS))
    desktop.click(x + width - 20 * scale, y + height - 20 * scale)
    finder.wait(lambda: len(desktop.windows(WINDOWS)) > before, "the settings menu")


@pytest.mark.parametrize("finder", [EIGHT], indirect=True)
@pytest.mark.parametrize("edge", ["top", "bottom"])
def test_the_panel_keeps_its_edge_while_units_come_and_go(finder, edge):
    finder.desktop.start_xfce_panel(edge=edge)
    finder.start_and_find(edge)
    open_with(finder, 8)
    x, y, width, height = place(finder)
    let_five_go(finder)
    finder.wait(lambda: place(finder)[3] < height, "a lower panel")
    lower = place(finder)
    assert lower[0::2] == (x, width)
    assert lower[1] == y if edge == "top" else lower[1] + lower[3] == y + height
    for unit in GOING:
        finder.studio.do("announce", unit=unit)
    finder.wait(lambda: place(finder) == (x, y, width, height), "the panel as it was")


def test_a_tiling_desktop_lets_the_panel_float_at_any_size():
    with SwayDesktop() as desktop:
        desktop.start_bus()
        desktop.start_screen()
        desktop.start_accessibility()
        desktop.start_waybar()
        with Studio(EIGHT) as studio:
            finder = Finder(desktop, studio)
            finder.start()
            finder.activate("")
            finder.wait_until_open()
            finder.wait(lambda: len(finder.rows()) == 8, "8 rows")
            window = finder.window()
            assert window["type"] == "floating_con"
            height = window["rect"]["height"]
            let_five_go(finder)
            finder.wait(lambda: finder.window()["rect"]["height"] < height, "a lower panel")
            assert finder.window()["type"] == "floating_con"
            finder.close()
