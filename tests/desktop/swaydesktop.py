"""A Wayland desktop without a screen: sway with waybar, our own pointer and a keyboard."""

import json
import os
import pathlib
import subprocess

from vorndesktop import DesktopError, Picture, VirtualDesktop, wait_until

POINTER = os.environ.get("VORN_VIRTUAL_POINTER", "")
NOBODY = 65534  # sway does not run for root
BAR_HEIGHT = 30

SWAY_SETTINGS = """xwayland disable
output * resolution {width}x{height}
output * bg #33475b solid_color
default_border pixel 1
focus_follows_mouse no
"""

WAYBAR_SETTINGS = {
    "layer": "top", "position": "top", "height": BAR_HEIGHT, "modules-right": ["tray"],
    "tray": {"icon-size": 18, "spacing": 8},
}
WAYBAR_STYLE = "* { border: none; } window#waybar { background: %s; } #tray { margin: 0 12px; }"


class SwayDesktop(VirtualDesktop):
    """The same questions and deeds as on the X11 desktop, answered by sway."""

    def __init__(self, width=960, height=600):
        super().__init__(width, height, user=NOBODY if os.getuid() == 0 else None)
        if os.getuid() == 0:
            for place in [self.folder, *self.folder.rglob("*")]:
                os.lchown(place, NOBODY, NOBODY)
        self.environment.update(
            XDG_CURRENT_DESKTOP="sway", XDG_SESSION_TYPE="wayland", WLR_BACKENDS="headless", WLR_RENDERER="pixman",
            WLR_LIBINPUT_NO_DEVICES="1", LIBSEAT_BACKEND="noop", SWAYSOCK=str(self.runtime / "sway"),
        )
        self._pointer = None

    def start_screen(self):
        settings = self._write("sway.conf", SWAY_SETTINGS.format(width=self.width, height=self.height))
        self.start(["sway", "--config", settings])
        wait_until(self._is_up, "sway")
        self.environment["WAYLAND_DISPLAY"] = next(
            path.name for path in self.runtime.glob("wayland-*") if path.is_socket()
        )
        self.start(["wtype", "-s", "86400000"])  # a keyboard that stays; without it nothing has the focus
        self._pointer = self.start(
            [POINTER, str(self.width), str(self.height)], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        )

    def _is_up(self):
        return bool(json.loads(self.run(["swaymsg", "-t", "get_outputs"], check=False) or "[]"))

    def start_waybar(self, color="#202020"):
        """Starts a bar. Returns its process when it hosts status items."""
        settings = self._write("waybar.json", json.dumps(WAYBAR_SETTINGS))
        style = self._write("waybar.css", WAYBAR_STYLE % color)
        bar = self.start(["waybar", "--config", settings, "--style", style])
        self.wait_for_name("org.kde.StatusNotifierWatcher")
        return bar

    def _write(self, name, text):
        path = self.folder / name
        path.write_text(text)
        return str(path)

    def windows(self, window_class=""):
        """The windows, tiled and floating, as their nodes in sway's tree. Windows of other programs count too."""
        return [node for node in _nodes(json.loads(self.run(["swaymsg", "-t", "get_tree"]))) if node.get("pid")]

    def geometry(self, window):
        place = window["rect"]
        return place["x"], place["y"], place["width"], place["height"]

    def move(self, x, y):
        self._tell(f"move {x - 1} {y}")  # a real pointer's first move into a window only enters it
        self._tell(f"move {x} {y}")

    def click(self, x, y, button=1):
        self.move(x, y)
        self._tell(f"click {button}")

    def rest_on_item(self, x, y):
        """Points at an item of the bar until its tool tip shows. Only then does the bar accept clicks there."""
        before = self._below_bar()

        def shows_tool_tip():
            self.move(x, y)
            try:
                wait_until(lambda: self._below_bar().greatest_difference(before) > 20, "the tool tip", 3)
            except DesktopError:
                self.move(self.width // 2, self.height // 2)  # and in again, because the bar was still arranging itself
                return False
            return True

        wait_until(shows_tool_tip, "the tool tip of the bar's item")

    def _below_bar(self):
        return self.picture(0, BAR_HEIGHT, self.width, self.height - BAR_HEIGHT)

    def _tell(self, line):
        self._pointer.stdin.write(line + "\n")
        self._pointer.stdin.flush()
        assert self._pointer.stdout.readline() == "done\n", self.log(POINTER)

    def key(self, *names):
        for name in names:
            self.run(["wtype", "-k", name])

    def picture(self, x=0, y=0, width=None, height=None):
        piece = f"{x},{y} {width or self.width}x{height or self.height}"
        return Picture.from_ppm(self.run(["grim", "-t", "ppm", "-g", piece, "-"]), x, y)

    def screenshot(self, path, piece=None):
        pathlib.Path(path).write_bytes(self.run(["grim", "-"]))


def _nodes(node):
    yield node
    for child in [*node.get("nodes", ()), *node.get("floating_nodes", ())]:
        yield from _nodes(child)
