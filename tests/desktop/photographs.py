#!/usr/bin/python3
"""Photographs the application and the terminal program at work: photographs.py BUILD_FOLDER OUTPUT_FOLDER [NAME]...

These are the pictures of the readme. They also help to judge a change of the looks. Without names, all are taken. In
addition to the tests' needs, this needs the Debian packages xterm and qt6-gtk-platformtheme. The names that begin with
"desktops/" are the pictures of docs/desktops.md, and need the packages of the tests with the label "desktops".
"""

import contextlib
import functools
import os
import pathlib
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "studio"), str(pathlib.Path(__file__).resolve().parent)]
os.environ["VORN_BUILD"] = str(pathlib.Path(sys.argv[1]).resolve()) if len(sys.argv) > 2 else ""

from finder import BUILD, Finder  # noqa: E402
from statusbars import BARS, DESKTOP  # noqa: E402
from vorndesktop import Application, VirtualDesktop, wait_until  # noqa: E402
from vornstudio import Studio  # noqa: E402

SIZE = (800, 500)
DARK = {"QT_QPA_PLATFORMTHEME": "gtk3", "GTK_THEME": "Adwaita:dark"}
LIGHT = {"QT_QPA_PLATFORMTHEME": "gtk3", "GTK_THEME": "Adwaita"}
LONG_LIST = {"unit": [{"name": f"Unit {n:02}", "model": "Vorn 16A"} for n in range(1, 41)]}
UPDATES = 2  # units of the default scenario with an update from the start


@contextlib.contextmanager
def scene(source, edge="top", dark=True, size=SIZE, notifications=False, **environment):
    """The application with its icon in the bar."""
    with VirtualDesktop(*size) as desktop, Studio(source) as studio:
        Application(BUILD).install_icons(desktop)
        desktop.start_screen()
        desktop.start_bus()
        desktop.start_window_manager()
        desktop.start_accessibility()
        desktop.paint_background()
        desktop.start_xfce_panel(edge=edge, dark=dark)
        if notifications:
            desktop.start_notification_server()
        finder = Finder(desktop, studio)
        finder.start_and_find(edge, **environment)
        try:
            yield finder
        finally:
            finder.close()


def open_with(finder, count, updates=0):
    """Opens the panel when it has this many rows, and this many of them with an update."""
    finder.open_panel()
    finder.wait(lambda: len(finder.rows()) == count, f"{count} rows")
    finder.wait(lambda: sum("update" in row for row in finder.rows()) == updates, f"{updates} updates")


def panel(path, **options):
    with scene("default", **options) as finder:
        open_with(finder, 6, UPDATES)
        finder.desktop.key("Down", "Down")  # no tool tip covers the rows then
        finder.desktop.settled_screenshot(path)


def empty(path):
    with scene({}, **LIGHT) as finder:
        open_with(finder, 1)
        finder.desktop.settled_screenshot(path)


def long_list(path):
    with scene(LONG_LIST, **LIGHT) as finder:
        open_with(finder, 40)
        finder.desktop.key("Home", *["Down"] * 15)
        finder.desktop.settled_screenshot(path)


def settings(path):
    with scene("default", **LIGHT) as finder:
        open_with(finder, 6, UPDATES)
        finder.open_settings_menu()
        finder.desktop.settled_screenshot(path)


def context_menu(path):
    with scene("default", **LIGHT) as finder:
        finder.wait(lambda: sum("update" in entry["title"] for entry in finder.menu()) == UPDATES, "the updates")
        before = finder.desktop.picture()
        finder.desktop.click(*finder.place, 3)
        finder.wait(lambda: finder.desktop.picture() != before, "the menu")
        finder.desktop.settled_screenshot(path)


def notification(path):
    with scene("default", notifications=True, **LIGHT) as finder:
        finder.wait(lambda: finder.desktop.notifications_shown() == UPDATES, "the notifications")
        finder.desktop.settled_screenshot(path)


def terminal(path):
    """The terminal program's list in a separate terminal."""
    with VirtualDesktop(960, 250) as desktop, Studio("default") as studio:
        desktop.start_screen()
        desktop.start_bus()
        look = ["-fa", "DejaVu Sans Mono", "-fs", "10", "-bg", "#1e2430", "-fg", "#e4e8ee", "-b", "12", "+sb"]
        list_program = Application(BUILD).list_program
        program = studio.popen(
            ["xterm", *look, "-geometry", "118x10+0+0", "-e", list_program, "--watch"], env=desktop.environment
        )
        window = wait_until(lambda: desktop.windows("XTerm"), "the terminal")[0]
        units = {unit["id"] for unit in studio.units()}
        wait_until(lambda: units <= {request["unit"] for request in studio.requests()}, "a request to each unit")
        desktop.settled_screenshot(path, desktop.geometry(window), 4)  # longer than from one poll to the next
        program.terminate()
        program.wait(10)


def on_desktop(path, bar, dark):
    """The item and the panel in the status bar of a whole desktop, with few colours, so that the file is small."""
    with bar.desktop(dark, 640, 440) as desktop, Studio("default") as studio:
        finder = Finder(desktop, studio)
        finder.application.install_icons(desktop)
        desktop.paint_background(DESKTOP[dark], DESKTOP[dark])
        bar.start(desktop, dark)
        bar.height(desktop)
        desktop.move(20, 420)
        before = desktop.settled_bar()
        finder.start(**(DARK if dark else LIGHT))
        finder.place = desktop.find_new_in_bar(before)
        open_with(finder, 6, UPDATES)
        desktop.move(*finder.row("Live Room").middle)
        desktop.settled_screenshot(path)
        finder.close()
        desktop.run(["convert", path, "+dither", "-colors", "64", "-strip", f"PNG8:{path}"])


PICTURES = {
    "panel": lambda path: panel(path, **LIGHT),
    "panel-dark": lambda path: panel(path, **DARK),
    "panel-200": lambda path: panel(path, size=(1200, 900), QT_SCALE_FACTOR="2", **LIGHT),
    "panel-bottom": lambda path: panel(path, edge="bottom", dark=False, **LIGHT),
    "empty": empty,
    "long-list": long_list,
    "settings": settings,
    "context-menu": context_menu,
    "notification": notification,
    "terminal": terminal,
    **{
        f"desktops/{bar.name}-{shade}": functools.partial(on_desktop, bar=bar, dark=shade == "dark")
        for bar in BARS for shade in ("light", "dark")
    },
}


def main(arguments):
    if len(arguments) < 2 or not set(arguments[2:]) <= PICTURES.keys():
        print(f"usage: photographs.py BUILD_FOLDER OUTPUT_FOLDER [{' | '.join(PICTURES)}]...", file=sys.stderr)
        return 2
    output = pathlib.Path(arguments[1])
    for name in arguments[2:] or PICTURES:
        picture = output / f"{name}.png"
        picture.parent.mkdir(parents=True, exist_ok=True)
        PICTURES[name](picture)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
