"""The item and the panel in the status bars of real desktops, as Debian packages them."""

import pytest

from conftest import CONTROL_ROOM, LIVE_ROOM, MENU_ENTRIES, UNITS
from finder import Finder
from statusbars import BARS
from vorndesktop import wait_until
from vornstudio import Studio

READABLE = 4.5  # the contrast that W3C asks for text
SIZE = (1024, 640)


class Surroundings:
    """A desktop with one of the bars, and the program in a studio."""

    def __init__(self, bar, dark, desktop, finder):
        self.bar, self.dark, self.desktop, self.finder = bar, dark, desktop, finder
        self.height = 0  # the bar's
        self._processes = []

    def start_bar(self):
        """Starts the bar, and moves the pointer away from it."""
        self._processes = self.bar.start(self.desktop, self.dark)
        self.height = self.bar.height(self.desktop)
        self.rest_pointer()

    def rest_pointer(self):
        """Moves the pointer where it changes nothing."""
        self.desktop.move(self.desktop.width // 2, self.desktop.height - 20)

    def stop_bar(self):
        self.bar.stop(self.desktop, self._processes)

    def find_item(self, empty):
        self.finder.place = self.desktop.find_new_in_bar(empty)

    def start_with_the_item(self):
        """Starts the bar, then the program, and finds its icon. Returns the empty bar."""
        self.start_bar()
        empty = self.desktop.settled_bar()
        self.finder.start()
        self.find_item(empty)
        return empty


@pytest.fixture
def around(request):
    bar, dark = request.param
    with bar.desktop(dark, *SIZE) as desktop, Studio(UNITS) as studio:
        finder = Finder(desktop, studio)
        finder.application.install_icons(desktop)
        yield Surroundings(bar, dark, desktop, finder)
        finder.close()


def on_each_bar(*shades):
    both = {"dark": True, "light": False}
    return pytest.mark.parametrize(
        "around", [pytest.param((bar, both[shade]), id=f"{bar.name}-{shade}") for bar in BARS for shade in shades],
        indirect=True,
    )


def assert_the_item_works(finder):
    finder.open_panel()
    finder.desktop.key("Escape")
    finder.wait_until_closed()


@on_each_bar("dark")
def test_the_item_comes_whenever_the_bar_comes(around):
    around.start_bar()
    empty = around.desktop.settled_bar()
    around.stop_bar()

    around.finder.start()
    around.start_bar()
    around.find_item(empty)
    assert_the_item_works(around.finder)

    around.stop_bar()
    around.start_bar()
    around.find_item(empty)
    assert_the_item_works(around.finder)

    around.finder.end()
    around.rest_pointer()
    wait_until(lambda: around.desktop.bar_strip() == empty, "the bar without the item")
    around.finder.start()
    around.find_item(empty)
    assert_the_item_works(around.finder)


@on_each_bar("dark", "light")
def test_the_icon_stands_out_from_the_bar_and_is_dim_without_units(around):
    empty = around.start_with_the_item()
    finder = around.finder

    def contrast():
        return around.desktop.settled_bar().contrast(empty, finder.place[0])

    active = finder.wait(lambda: (now := contrast()) >= READABLE and now, "an active icon of enough contrast")
    for unit in ("control-room", "live-room"):
        finder.studio.do("goodbye", unit=unit)
    finder.wait(lambda: 1.2 < contrast() < 0.7 * active, "a dim icon that is still visible")


@on_each_bar("dark")
def test_the_panel_hangs_at_the_bar_and_closes(around):
    around.start_with_the_item()
    finder, desktop = around.finder, around.desktop
    finder.open_panel()
    finder.wait(lambda: finder.rows() == [CONTROL_ROOM, LIVE_ROOM], "both units")
    finder.wait(lambda: desktop.geometry(finder.window())[1] == around.height, "the panel's place under the bar")
    x, _, width, _ = desktop.geometry(finder.window())
    assert x + width == desktop.width or x <= finder.place[0] <= x + width

    finder.click_item()
    finder.wait_until_closed()

    finder.open_panel()
    desktop.key("Escape")
    finder.wait_until_closed()

    if around.bar.name != "plasma":  # only Plasma has a desktop that takes clicks
        desktop.start(["xmessage", "-geometry", "200x100+100+300", "elsewhere"])
        finder.wait(lambda: desktop.windows("Xmessage"), "the other window")
    finder.open_panel()
    desktop.click(150, 350)
    finder.wait_until_closed()


@on_each_bar("dark")
def test_the_items_menu_shows_the_panel(around):
    around.start_with_the_item()
    finder, desktop = around.finder, around.desktop
    if finder.item():  # else the program draws the menu itself
        finder.wait_until_listed(MENU_ENTRIES)
    before = desktop.picture(0, around.height)
    desktop.click(*finder.place, 3)
    finder.wait(lambda: desktop.picture(0, around.height).columns_that_differ(before), "the menu")
    desktop.key("Down", "Return")
    finder.wait_until_open()

