"""An X11 desktop on a virtual screen."""

import os
import pathlib
import shutil
import subprocess
import tempfile

from . import bars
from .pictures import Picture, span
from .processes import Processes
from .waiting import DesktopError, wait_until, wait_until_still

BAR_HEIGHT = 28
WIDEST_ICON = 4 * BAR_HEIGHT
SERVICES = ("org.a11y.Bus", "org.xfce.Xfconf")  # those of the machine that may start on the desktop's bus
ACCESSIBILITY = "/usr/libexec/at-spi-bus-launcher"
STATUS_NOTIFIER_WATCHER = "org.kde.StatusNotifierWatcher"

BUS_SETTINGS = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <auth>EXTERNAL</auth>
  <listen>unix:path={socket}</listen>
  <servicedir>{services}</servicedir>
  <policy context="default">
    <allow user="*"/>
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


class VirtualDesktop:
    """A screen with a session bus and, as they are started, a window manager, a bar and a notification server.

    Everything lives in a folder of its own and ends with `close`, or with the
    caller. The sockets have paths in the file system, so that a program in
    another network can reach them. Not for use from several threads.
    """

    def __init__(self, width=1280, height=800, user=None):
        self.width, self.height = width, height
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vorn-desktop-"))
        self.home, self.runtime = self.folder / "home", self.folder / "run"
        for place in (self.home, self.runtime, self.folder / "services", self.folder / "share"):
            place.mkdir(mode=0o700)
        (self.home / ".local").mkdir()
        (self.home / ".local" / "share").symlink_to(self.folder / "share")  # some look in the home only
        self.bus_address = f"unix:path={self.runtime}/bus"
        self.environment = {
            "HOME": str(self.home),
            "XDG_RUNTIME_DIR": str(self.runtime),
            "XDG_CONFIG_DIRS": str(self.folder / "none"),
            "XDG_DATA_DIRS": f"{self.folder}/share:/usr/share",
            "XDG_CURRENT_DESKTOP": "XFCE",
            "DBUS_SESSION_BUS_ADDRESS": self.bus_address,
            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={self.folder}/no-system-bus",
            "PATH": "/usr/local/bin:/usr/bin:/bin",
            "LANG": "C.UTF-8",
            "NO_AT_BRIDGE": "1",  # of what runs here only the program under test speaks to assistive tools
        }
        self._user = user
        self._processes = Processes(self.folder, self.environment, user)
        self.start, self.run, self.stop = self._processes.start, self._processes.run, self._processes.stop

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self._processes.end()
        shutil.rmtree(self.folder, ignore_errors=True)

    def log(self, program):
        """What a program of the desktop has said."""
        path = self._processes.log_of(program)
        return path.read_text(errors="replace") if path.exists() else ""

    # --- what a desktop consists of ---------------------------------------------------------------

    def start_screen(self):
        read, write = os.pipe()
        size = f"{self.width}x{self.height}x24"
        self.start(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", size, "-nolisten", "tcp", "-noreset", "-dpi", "96"],
            pass_fds=[write],
        )
        os.close(write)
        with os.fdopen(read) as told:
            number = told.readline().strip()
        if not number:
            raise DesktopError(f"there is no virtual screen: {self.log('Xvfb')}")
        self.environment["DISPLAY"] = ":" + number

    def start_bus(self):
        services = self.folder / "services"
        for name in SERVICES:
            file = pathlib.Path("/usr/share/dbus-1/services") / f"{name}.service"
            if file.exists():
                shutil.copy(file, services)
        settings = self.folder / "bus.conf"
        settings.write_text(BUS_SETTINGS.format(socket=self.runtime / "bus", services=services))
        process = self.start(
            ["dbus-daemon", f"--config-file={settings}", "--nofork", "--print-address"], stdout=subprocess.PIPE
        )
        with process.stdout as told:
            if not told.readline():
                raise DesktopError(f"there is no session bus: {self.log('dbus-daemon')}")

    def start_accessibility(self):
        self.start([ACCESSIBILITY, "--launch-immediately"])
        self.wait_for_name("org.a11y.Bus")

    def start_window_manager(self):
        self.start(["openbox", "--sm-disable"])
        wait_until(lambda: b"window id" in self.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"]), "openbox")

    def paint_background(self, top="#41566e", bottom="#1f2a38"):
        picture = self.folder / "background.png"
        self.run(["convert", "-size", f"{self.width}x{self.height}", f"gradient:{top}-{bottom}", picture])
        self.run(["display", "-window", "root", picture], check=False)  # exits with 1 when it is done

    def start_xfce_panel(self, edge="top", output="Automatic", dark=True, place=(0, 0)):
        """Starts a bar for status items of the newer kind. Returns its process when the bar accepts items."""
        bars.write_xfce_settings(self.home, edge, BAR_HEIGHT, output, dark, place)
        bar = self.start(["xfce4-panel", "--disable-wm-check"])
        self.wait_for_name(STATUS_NOTIFIER_WATCHER)
        self.bar_window()
        return bar

    def start_tint2(self, edge="top", color="#202020"):
        """Starts a bar for status items of the older kind."""
        bar = self.start(["tint2", "-c", str(bars.write_tint2_settings(self.folder, edge, BAR_HEIGHT, color))])
        wait_until(lambda: self.windows("Tint2"), "tint2's window")
        return bar

    def bar_window(self):
        """The window of the xfce4-panel."""
        return wait_until(lambda: self.windows("Xfce4-panel"), "the bar's window")[0]

    def split_screen(self):
        """Makes two screens side by side. A bar on the left one uses "Primary" as its output.

        Not every xfce4-panel would find it by name: some versions use the output's name, some the monitor's.
        """
        half, height = self.width // 2, self.height
        for name, x, output in (("*left", 0, "screen"), ("right", half, "none")):
            self.run(["xrandr", "--setmonitor", name, f"{half}/160x{height}/200+{x}+0", output])

    def start_notification_server(self):
        """Starts a notification server."""
        server = self.start(["dunst", "-config", str(bars.write_dunst_settings(self.folder))])
        self.wait_for_name("org.freedesktop.Notifications")
        return server

    def install(self, source, place):
        """Puts a file where programs of this desktop look for shared data, such as icons."""
        target = self.folder / "share" / place
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(source, target)

    def notifications_shown(self):
        """How many notifications are on the screen."""
        return int(self.run(["dunstctl", "count", "displayed"]))

    def click_notification(self):
        """Clicks the uppermost notification."""
        x, y, _, _ = self.geometry(wait_until(lambda: self.windows("Dunst"), "the notification")[0])
        self.click(x + 60, y + 20)

    # --- what can be asked of it ------------------------------------------------------------------

    def has_name(self, name):
        answer = self.run(
            ["dbus-send", f"--bus={self.bus_address}", "--print-reply", "--dest=org.freedesktop.DBus", "/",
             "org.freedesktop.DBus.NameHasOwner", f"string:{name}"]
        )
        return b"boolean true" in answer

    def wait_for_name(self, name):
        wait_until(lambda: self.has_name(name), f"{name} on the session bus")

    def windows(self, window_class):
        """The visible windows of a class, as numbers in text form."""
        found = self.run(["xdotool", "search", "--onlyvisible", "--class", window_class], check=False)
        return found.decode().split()

    def focused_window(self):
        """The window that gets the keys, as a number in text form; empty where none does."""
        return self.run(["xdotool", "getwindowfocus"], check=False).decode().strip()

    def geometry(self, window):
        """A window's place and size: x, y, width, height; None if it has gone."""
        text = self.run(["xdotool", "getwindowgeometry", "--shell", window], check=False).decode()
        values = dict(line.split("=") for line in text.split() if "=" in line)
        return tuple(int(values[name]) for name in ("X", "Y", "WIDTH", "HEIGHT")) if "HEIGHT" in values else None

    def move(self, x, y):
        self.run(["xdotool", "mousemove", str(x), str(y)])

    def click(self, x, y, button=1):
        self.run(["xdotool", "mousemove", str(x), str(y), "click", str(button)])

    def key(self, *names):
        self.run(["xdotool", "key", *names])

    def picture(self, x=0, y=0, width=None, height=None):
        """The screen, or a part of it, as pixels."""
        piece = f"{width or self.width}x{height or self.height}+{x}+{y}"
        data = self.run(["import", "-silent", "-window", "root", "-crop", piece, "+repage", "-depth", "8", "ppm:-"])
        return Picture.from_ppm(data, x, y)

    def screenshot(self, path, piece=None):
        """Writes a PNG file of the screen, or of a part of it: x, y, width, height."""
        crop = ["-crop", "{2}x{3}+{0}+{1}".format(*piece), "+repage"] if piece else []
        self.run(["import", "-silent", "-window", "root", *crop, "-depth", "8", "-strip", str(path)])

    def bar_strip(self, edge="top", x=0, width=None):
        top = 0 if edge == "top" else self.height - BAR_HEIGHT
        return self.picture(x, top, width or self.width, BAR_HEIGHT)

    def settled_bar(self, edge="top"):
        """A picture of the bar when it no longer changes."""

        def painted():
            strip = self.bar_strip(edge)
            return strip if any(strip.pixels) else None

        return wait_until_still(painted, "the bar to come to rest")

    def settled_screenshot(self, path, piece=None, seconds=0.5):
        """Writes a PNG file of the screen, or of a piece of it, once nothing on it has changed for so long."""
        wait_until_still(self.picture, "the screen to come to rest", seconds)
        self.screenshot(path, piece)

    def find_new_in_bar(self, before, edge="top"):
        """Waits until the bar shows something new since the picture `before`. Returns its middle."""

        def place():
            found = span(self.bar_strip(edge, before.left, before.width).columns_that_differ(before))
            is_icon = found and found[1] - found[0] <= WIDEST_ICON  # else the bar itself is not painted yet
            return found if is_icon else None

        first, last = wait_until_still(place, "an icon in the bar", 0.2)
        return (first + last) // 2, before.top + BAR_HEIGHT // 2
