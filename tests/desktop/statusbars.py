"""The status bars of real desktops, at the top edge of a virtual desktop, dark or light."""

import contextlib
import dataclasses
import pathlib
import shutil
import typing

from vorndesktop import VirtualDesktop, wait_until

WATCHER = "org.kde.StatusNotifierWatcher"
DARK, LIGHT = "#202020", "#efefef"
DESKTOP = {True: "#2b3a4b", False: "#b4c5d6"}  # the colours of the desktop around a dark and a light bar
LIBEXEC = ("/usr/lib/x86_64-linux-gnu/libexec", "/usr/libexec")  # of older and newer Debian systems


@dataclasses.dataclass(frozen=True)
class RealBar:
    """A bar and what it needs around it.

    `start` starts it, dark or light, and returns its processes; `surround` starts the window manager. `window` is the
    class of the bar's window.
    """

    name: str
    window: str
    start: typing.Callable
    surround: typing.Callable

    @contextlib.contextmanager
    def desktop(self, dark, width, height):
        """A desktop for the bar, still without it."""
        with VirtualDesktop(width, height) as made:
            made.start_screen()
            made.start_bus()
            made.start_accessibility()
            self.surround(made, dark)
            yield made

    def height(self, desktop):
        """The height of the bar on the screen."""

        def measured():
            places = [desktop.geometry(window) for window in desktop.windows(self.window)]
            return next((place[3] for place in places if place and place[1] == 0 and place[3] < 100), None)

        return wait_until(measured, "the bar's window")

    def stop(self, desktop, processes):
        """Stops the bar. Returns when it shows no item any more."""
        for process in reversed(processes):
            desktop.stop(process)
        wait_until(lambda: not desktop.windows(self.window), "the end of the bar's window")
        wait_until(lambda: not desktop.has_name(WATCHER), "the end of the bar's name")


def write(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)


def background(dark):
    return DARK if dark else LIGHT


# --- window managers --------------------------------------------------------------------------------


def openbox(desktop, dark):  # pylint: disable=unused-argument
    desktop.start_window_manager()


I3_SETTINGS = """# i3 config file (v4)
font pango:DejaVu Sans 10
focus_follows_mouse no
bar {{
  id bar-0
  position top
  i3bar_command true
  colors {{
    background {background}
  }}
}}
"""


def i3(desktop, dark):
    settings = desktop.folder / "i3.conf"
    write(settings, I3_SETTINGS.format(background=background(dark)))
    desktop.start(["i3", "-c", settings])
    wait_until(lambda: b"window id" in desktop.run(["xprop", "-root", "_NET_SUPPORTING_WM_CHECK"]), "i3")


def kwin(desktop, dark):
    """The window manager of Plasma, and what Plasma's bar needs."""
    scheme = "BreezeDark" if dark else "BreezeLight"
    write(desktop.home / ".config" / "kdeglobals", f"[General]\nColorScheme={scheme}\n")
    write(desktop.home / ".config" / "plasmarc", f"[Theme]\nname={'breeze-dark' if dark else 'breeze-light'}\n")
    desktop.environment.update(
        XDG_CURRENT_DESKTOP="KDE", KDE_FULL_SESSION="true", KDE_SESSION_VERSION="5", KWIN_COMPOSE="N",
        QT_QUICK_BACKEND="software", QT_QPA_PLATFORMTHEME="",
    )
    desktop.start(["kwin_x11"])
    desktop.wait_for_name("org.kde.KWin")
    write(desktop.home / ".config" / "kactivitymanagerdrc", PLASMA_ACTIVITY)
    desktop.start([next(path for folder in LIBEXEC if (path := pathlib.Path(folder) / "kactivitymanagerd").exists())])
    desktop.wait_for_name("org.kde.ActivityManager")


# --- bars -------------------------------------------------------------------------------------------


def xfce(desktop, dark):
    return [desktop.start_xfce_panel(dark=dark)]


def tint2(desktop, dark):
    return [desktop.start_tint2(color=background(dark))]


def trayer(desktop, dark):
    color = background(dark).replace("#", "0x")
    return [desktop.start([
        "trayer", "--edge", "top", "--align", "right", "--widthtype", "percent", "--width", "100", "--height", "28",
        "--transparent", "true", "--alpha", "0", "--tint", color, "--SetDockType", "true", "--SetPartialStrut", "true",
    ])]


def i3bar(desktop, dark):  # pylint: disable=unused-argument
    return [desktop.start(["i3bar", "--bar_id=bar-0"])]


LXQT_SETTINGS = """[General]
panels=panel1

[panel1]
position=Top
panelSize=28
iconSize=20
lineCount=1
width=100
width-percent=true
alignment=0
hidable=false
desktop=0
background-color={background}
font-color={text}
opacity=100
plugins=spacer, statusnotifier

[spacer]
type=spacer
expandable=true

[statusnotifier]
type=statusnotifier
"""


def lxqt(desktop, dark):
    settings = LXQT_SETTINGS.format(background=background(dark), text=background(not dark))
    write(desktop.home / ".config" / "lxqt" / "panel.conf", settings)
    bar = desktop.start(["lxqt-panel"], environment={"XDG_CURRENT_DESKTOP": "LXQt"})
    desktop.wait_for_name(WATCHER)
    return [bar]


MATE_SETTINGS = """[org/mate/panel/general]
toplevel-id-list=['top']
object-id-list=['tray']

[org/mate/panel/toplevels/top]
expand=true
orientation='top'
size=28

[org/mate/panel/toplevels/top/background]
type='color'
color='{background}'

[org/mate/panel/objects/tray]
object-type='applet'
applet-iid='NotificationAreaAppletFactory::NotificationArea'
toplevel-id='top'
position=0
panel-right-stick=true
"""
MATE_APPLET = "org.mate.panel.applet.NotificationAreaAppletFactory.service"


def mate(desktop, dark):
    shutil.copy(f"/usr/share/dbus-1/services/{MATE_APPLET}", desktop.folder / "services")
    write(desktop.home / ".config" / "glib-2.0" / "settings" / "keyfile", MATE_SETTINGS.format(background=background(dark)))
    bar = desktop.start(["mate-panel"], environment={"XDG_CURRENT_DESKTOP": "MATE", "GSETTINGS_BACKEND": "keyfile"})
    desktop.wait_for_name(WATCHER)
    return [bar]


ACTIVITY = "6a1f5d0e-3c52-4b8e-9f5e-2f0c7d1b8a44"
PLASMA_ACTIVITY = f"""[activities]
{ACTIVITY}=Default

[main]
currentActivity={ACTIVITY}
"""
PLASMA_SETTINGS = """[Containments][1]
activityId={activity}
formfactor=0
immutability=1
lastScreen=0
location=0
plugin=org.kde.desktopcontainment
wallpaperplugin=org.kde.color

[Containments][1][Wallpaper][org.kde.color][General]
Color={color}

[Containments][2]
activityId=
formfactor=2
immutability=1
lastScreen=0
location=3
plugin=org.kde.panel
wallpaperplugin=org.kde.image

[Containments][2][General]
AppletOrder=5;3

[Containments][2][Applets][5]
immutability=1
plugin=org.kde.plasma.panelspacer

[Containments][2][Applets][3]
immutability=1
plugin=org.kde.plasma.systemtray

[Containments][2][Applets][3][Configuration]
SystrayContainmentId=4

[Containments][4]
activityId=
formfactor=2
immutability=1
lastScreen=0
location=3
plugin=org.kde.plasma.private.systemtray
wallpaperplugin=org.kde.image

[Containments][4][General]
extraItems=
knownItems={known}
"""
PLASMOIDS = pathlib.Path("/usr/share/plasma/plasmoids")
PLASMA_VIEW = """[PlasmaViews][Panel 2]
floating=0

[PlasmaViews][Panel 2][Defaults]
thickness=28
"""


def plasma(desktop, dark):
    settings = desktop.home / ".config"
    known = ",".join(place.name for place in PLASMOIDS.iterdir())  # what it knows, it does not add to the tray
    write(settings / "plasma-org.kde.plasma.desktop-appletsrc", PLASMA_SETTINGS.format(
        activity=ACTIVITY, color=DESKTOP[dark], known=known))
    write(settings / "plasmashellrc", PLASMA_VIEW)
    processes = [desktop.start([shutil.which("kded6") or "kded5"]), desktop.start(["plasmashell", "--no-respawn"])]
    desktop.wait_for_name(WATCHER)
    desktop.wait_for_name("org.kde.plasmashell")
    return processes


BARS = [
    RealBar("plasma", "plasmashell", plasma, kwin),
    RealBar("xfce", "Xfce4-panel", xfce, openbox),
    RealBar("lxqt", "lxqt-panel", lxqt, openbox),
    RealBar("mate", "Mate-panel", mate, openbox),
    RealBar("tint2", "Tint2", tint2, openbox),
    RealBar("trayer", "trayer", trayer, openbox),
    RealBar("i3", "i3bar", i3bar, i3),
]
