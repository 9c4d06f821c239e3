"""The environment of a program in the studio: separate folders, the private bus, the replacement for the browser."""

import os
import pathlib

from .bus import ADDRESS
from .namespaces import STATE
from .updateserver import ROOT

HOME = f"{STATE}/home"
BIN = f"{STATE}/bin"
RUNTIME = f"{STATE}/runtime"
SETTINGS = f"{HOME}/.config/vorn-device-finder/settings.conf"
TRIAL = "VORN_DEVICE_FINDER_TRIAL"
SEPARATE_HOME = {
    "HOME": HOME,
    "XDG_CONFIG_HOME": f"{HOME}/.config",
    "XDG_DATA_HOME": f"{HOME}/.local/share",
    "XDG_STATE_HOME": f"{HOME}/.local/state",
    "XDG_CACHE_HOME": f"{HOME}/.cache",
    TRIAL: "",  # the programs use this home, as installed ones do
}
BROWSERS = ("xdg-open", "x-www-browser", "sensible-browser")


def prepare():
    """Makes the folders, the settings that name the studio's update server, and the replacement for the browser."""
    for folder in (HOME, RUNTIME, os.path.dirname(SETTINGS)):
        os.makedirs(folder, mode=0o700, exist_ok=True)
    with open(os.open(SETTINGS, os.O_CREAT | os.O_WRONLY, 0o600), "w") as file:
        file.write(f"[General]\nupdateServerRoot={ROOT}\n")
    os.makedirs(BIN)
    package = pathlib.Path(__file__).resolve().parent.parent
    script = f'#!/bin/sh\nPYTHONPATH="{package}" exec /usr/bin/python3 -m vornstudio.browser "$@"\n'
    for name in BROWSERS:
        with open(os.open(f"{BIN}/{name}", os.O_CREAT | os.O_WRONLY, 0o755), "w") as file:
            file.write(script)


def of(given):
    """The environment of a program: the caller's, without anything of the user's real home.

    The runtime folder stays if it can be used, because a Wayland display's socket is only there. In a trial run the
    home stays too, because the program keeps nothing there, but the user's theme is there.
    """
    kept = {name: value for name, value in given.items() if not name.lower().endswith("_proxy")}
    authority = f"{given.get('HOME', '')}/.Xauthority"
    if "XAUTHORITY" not in kept and os.path.exists(authority):
        kept["XAUTHORITY"] = authority
    runtime = kept.get("XDG_RUNTIME_DIR", "")
    return {
        **kept,
        **({} if given.get(TRIAL) else SEPARATE_HOME),
        "XDG_RUNTIME_DIR": runtime if os.access(runtime, os.W_OK) else RUNTIME,
        "PATH": f"{BIN}:{kept.get('PATH', '/usr/bin:/bin')}",
        "BROWSER": f"{BIN}/{BROWSERS[0]}",
        "DBUS_SYSTEM_BUS_ADDRESS": ADDRESS,
        "VORN_STUDIO": "1",
        "VORN_STUDIO_UPDATE_ROOT": ROOT,
    }
