"""The application on a virtual desktop in a studio, as its user sees it."""

import os
import pathlib
import re
import signal
import subprocess
import time

import dbus
import dbus.bus

from accessibility import Accessibility
from vorndesktop import Application, wait_until

BUILD = os.environ["VORN_BUILD"]
PATIENCE = 40.0  # seconds to wait for an event, on a busy machine
SYSTEM_DATA = pathlib.Path("/usr/share")
NAME = "Vorn Device Finder"  # as people read it
WINDOWS = f"^{NAME}$"  # the class of its windows on X11
HOME = "/run/vorn-studio/home"  # the studio's, because the program runs in it
DOUBLE_CLICK = 0.5  # seconds; the toolkit's interval is 0.4
ITEM = "org.kde.StatusNotifierItem"
MENU = "com.canonical.dbusmenu"
WATCHER = "org.kde.StatusNotifierWatcher"


def link_shared_data(source, folder):
    """Makes a machine's shared data visible in a new folder, but none of the icons of the default theme: among those
    are the application's where it is installed."""
    (folder / "icons").mkdir(parents=True)
    for place in (*source.iterdir(), *(source / "icons").iterdir()):
        if place not in (source / "icons", source / "icons" / "hicolor"):
            (folder / place.relative_to(source)).symlink_to(place)


class Finder:
    """Starts and ends the program, and reads and does what its user can."""

    def __init__(self, desktop, studio):
        self.desktop, self.studio = desktop, studio
        self.application = Application(BUILD)
        self.process = None
        self.place = None  # the middle of its icon
        self._accessibility = None
        self._last_click = 0.0
        self._system_data = desktop.folder / "system"
        link_shared_data(SYSTEM_DATA, self._system_data)
        self._bus = dbus.bus.BusConnection(desktop.bus_address)

    def close(self):
        if self.process and self.process.poll() is None:
            self.process.kill()
            self.process.wait(PATIENCE)
        if self._accessibility:
            self._accessibility.close()
        self._bus.close()

    # --- the process ------------------------------------------------------------------------------

    def launch(self, program=None, stderr=None, **changes):
        """Starts the program, or another one, as the desktop would. Returns the process."""
        environment = {
            **self.desktop.environment, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1", "QT_QPA_PLATFORMTHEME": "",
            "XDG_DATA_DIRS": f"{self.desktop.folder}/share:{self._system_data}", **changes,
        }
        return self.studio.popen(
            [program or self.application.program], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=stderr, env=environment,
        )

    def start(self, **changes):
        """Starts the program and waits until it is ready."""
        self.process = self.launch(**changes)
        self.wait(lambda: self.desktop.has_name(self.application.identifier), "the program's name on the bus")
        return self.process

    def start_and_find(self, edge="top", **changes):
        """Starts the program and finds its icon in a bar of the newer kind."""
        before = self.desktop.settled_bar(edge)
        self.start(**changes)
        self.place = self.desktop.find_new_in_bar(before, edge)

    def end(self):
        """Ends the program. Returns the seconds that it took, without the time that the busy machine adds.

        That time is the longer one of two: a program that dies at once is timed just before and just after.
        """
        simple = [self.studio.popen(["sleep", "1000"]) for _ in range(2)]
        before, _ = _end(simple[0])
        seconds, code = _end(self.process)
        after, _ = _end(simple[1])
        assert code == 0
        return max(0.0, seconds - max(before, after))

    def wait(self, condition, what, timeout=PATIENCE):
        """Waits until the condition is true, as long as the program lives."""

        def met():
            if self.process:
                assert self.process.poll() is None, f"the program has ended with {self.process.poll()}"
            return condition()

        return wait_until(met, what, timeout)

    def activate(self, token):
        """Asks the running program for its panel, with this token of the user's action."""
        path = "/" + self.application.identifier.replace(".", "/")
        self._bus.call_blocking(
            self.application.identifier, path, "org.freedesktop.Application", "Activate", "a{sv}",
            ({"activation-token": token},),
        )

    # --- the panel --------------------------------------------------------------------------------

    def click_item(self):
        self.let_the_double_click_pass()
        self.desktop.click(*self.place)
        self._last_click = time.monotonic()

    def let_the_double_click_pass(self):
        """A click that follows closer on the last one is a double click to the program, as it is to its user."""
        self.wait(lambda: time.monotonic() > self._last_click + DOUBLE_CLICK, "the end of the last click's interval")

    def window(self):
        """The panel's window, not the icon's in an older tray; None while there is none."""
        for window in self.desktop.windows(WINDOWS):
            place = self.desktop.geometry(window)
            if place and place[3] > 100:
                return window
        return None

    def open_panel(self):
        self.click_item()
        self.wait_until_open()

    def wait_until_open(self):
        self.wait(lambda: self.window() and self.panel(), "the panel")
        self.wait(self.has_focus, "the panel's focus")

    def has_focus(self):
        panel = self.panel()
        return panel and "active" in panel.states

    def wait_until_closed(self):
        self.wait(lambda: not self.window(), "the panel's end")

    def panel(self):
        """The panel as assistive tools see it; None while there is none."""
        return next((window for window in self._assistive().windows(NAME) if window.role == "dialog"), None)

    def _assistive(self):
        if self._accessibility is None:
            self._accessibility = Accessibility(self.desktop.bus_address)
            self._accessibility.ask_for_changes()
        return self._accessibility

    def rows(self):
        """The texts of the panel's rows; empty while there is no panel."""
        panel = self.panel()
        return [row.name for row in panel.all("list item")] if panel else []

    def row(self, beginning):
        """The row that begins with a name, as soon as it is there."""

        def found():
            panel = self.panel()
            return panel and next((row for row in panel.all("list item") if row.name.startswith(beginning)), None)

        return self.wait(found, f"the row of {beginning}")

    def selected(self):
        """The text of the selected row; None if no row is selected."""
        panel = self.panel()
        rows = panel.all("list item") if panel else []
        return next((row.name for row in rows if "selected" in row.states), None)

    def open_settings_menu(self):
        """Opens the settings menu in the open panel."""
        before = len(self.desktop.windows(WINDOWS))
        self.desktop.click(*self.panel().named("Settings").middle)
        self.wait(lambda: len(self.desktop.windows(WINDOWS)) > before, "the settings menu")

    def choose_setting(self, number):
        """Opens the settings menu in the open panel and chooses its entry of this number, counted from 1."""
        before = len(self.desktop.windows(WINDOWS))
        self.open_settings_menu()
        self.desktop.key(*["Down"] * number, "Return")
        self.wait(lambda: len(self.desktop.windows(WINDOWS)) == before, "the menu's end")

    # --- the item on the bus ----------------------------------------------------------------------

    def item(self):
        """Where the item is on the bus: its connection and its path; None while no host knows it."""
        try:
            known = self._get(WATCHER, "/StatusNotifierWatcher", WATCHER, "RegisteredStatusNotifierItems")
        except dbus.DBusException:
            return None
        return str(known[0]).partition("/")[::2] if known else None

    def wait_for_no_item(self):
        """Waits until the bar has noticed that the program has gone."""
        wait_until(lambda: not self.item(), "the item's end")

    def activate_item(self, x=0, y=0):
        """What a host sends for a click or a key press. Some hosts send no place."""
        self.let_the_double_click_pass()
        name, path = self.item()
        self._bus.call_blocking(name, "/" + path, ITEM, "Activate", "ii", (x, y))
        self._last_click = time.monotonic()

    def item_property(self, name):
        connection, path = self.item()
        return self._get(connection, "/" + path, ITEM, name)

    def wait_until_listed(self, titles):
        """Waits until the item's menu has all these entries, before a test opens the panel with its units."""
        self.wait(lambda: set(titles) <= {entry["title"] for entry in self.menu()}, f"the entries {titles}")

    def menu(self):
        """The item's context menu as the host gets it: title, check mark, number of each entry, and whether it can be
        chosen."""
        connection, path = self.item()[0], self.item_property("Menu")
        _, (_, _, entries) = self._bus.call_blocking(
            connection, str(path), MENU, "GetLayout", "iias", (0, -1, [])
        )
        return [entry for child in entries for entry in _entries(child)]

    def choose_in_menu(self, title):
        """What a host sends for a click on the menu's entry."""
        number = next(entry["number"] for entry in self.menu() if entry["title"] == title)
        path = str(self.item_property("Menu"))
        self._bus.call_blocking(
            self.item()[0], path, MENU, "Event", "isvu", (number, "clicked", dbus.String("", variant_level=1), 0)
        )

    def _get(self, service, path, interface, name):
        return self._bus.call_blocking(
            service, path, "org.freedesktop.DBus.Properties", "Get", "ss", (interface, name)
        )

    def open_drawn_menu(self):
        """Opens the item's menu in a bar for which the program draws it."""
        self._assistive()  # reads what appears from now on
        self.desktop.click(*self.place, 3)
        return self.wait(self.drawn_menu, "the drawn menu")

    def drawn_menu(self):
        """The item's menu that the program draws, as assistive tools see it; None while it is closed."""
        return self._assistive().menu(NAME, "Show Devices")

    # --- what it left behind ----------------------------------------------------------------------

    def opened(self):
        """The addresses of the pages that were opened."""
        return [entry["url"] for entry in self.studio.opened()]

    def wait_for_page(self, address):
        self.wait(lambda: self.opened(), "the page")
        assert self.opened() == [address]

    def file(self, path):
        """A file of the program's home; None if there is none."""
        done = self.studio.run(["cat", f"{HOME}/{path}"])
        return done.stdout if done.returncode == 0 else None


def _end(process):
    started = time.monotonic()
    process.send_signal(signal.SIGTERM)
    code = process.wait(PATIENCE)
    return time.monotonic() - started, code


def _shown(label):
    """The text that a host shows for a label: "__" is an underscore, any other "_" marks a letter and is invisible.
    """
    return re.sub("_(_?)", r"\1", label).replace("\u2068", "").replace("\u2069", "")


def _entries(node):
    number, properties, children = node
    title = _shown(str(properties.get("label", "")))
    mine = {"title": title, "number": int(number), "checked": bool(properties.get("toggle-state", 0)),
            "enabled": bool(properties.get("enabled", True))}
    shown = bool(properties.get("visible", True)) and properties.get("type", "") != "separator"
    return ([mine] if shown else []) + [entry for child in children for entry in _entries(child)]
