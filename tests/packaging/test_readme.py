"""Runs the readme's commands, so that the readme is true for a newcomer."""

import contextlib
import os
import pathlib
import re
import subprocess
import sys
import time

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ["VORN_BIN"])
PATIENCE = 40.0  # seconds in which a busy machine may try again
README = (ROOT / "README.md").read_text(encoding="utf-8")

# Commands that other tests run (whole builds), or that need a service manager
# or a password.
ELSEWHERE = {"./run", "./test", "packaging/build-deb"}
PRIVILEGED = ("sudo ", "systemctl ", "journalctl ", "packaging/fresh/")
WHOLE_BUILDS = ("cmake ",)

COMMANDS = [
    line
    for block in re.findall(r"```sh\n(.*?)```", README, re.DOTALL)
    for line in block.splitlines()
    if line not in ELSEWHERE and not line.startswith(PRIVILEGED + WHOLE_BUILDS)
]

# What a command prints if there are units, a bus and a desktop.
EXPECTED = {
    "vorn-device-list": "Control Room",
    "vorn-device-list --watch": "Control Room",
    "vorn-device-list --json --wait 3": '"units"',
    "vorn-device-list --format csv": "Control Room,device,",
    "vorn-device-list --interfaces": "INTERFACE",
    "vorn-device-list --help": "--watch",
    "dbus-send --session --print-reply --dest=org.freedesktop.DBus / org.freedesktop.DBus.ListNames"
    " | grep StatusNotifierWatcher": "org.kde.StatusNotifierWatcher",
    "avahi-browse -rt _http._tcp": "vorn.mdns.type=plexadevice",
    "curl -v http://UNIT.local/apiversion": "0.9.",
    "curl -v http://HOST.local/UID/apiversion": "0.9.",
    "curl -v http://SWITCH.local/firmware_version": "3.0.4+12",
    "notify-send test": "",
    "getent hosts UNIT.local": "control-room.local",
    "xdg-settings get default-web-browser": "",  # nothing if no browser was ever chosen
}

# Acts as a desktop on the session bus: a host of status items, and a notification server that accepts everything.
DESKTOP = """
import dbus, dbus.service, dbus.mainloop.glib
from gi.repository import GLib
dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
class Server(dbus.service.Object):
    @dbus.service.method("org.freedesktop.Notifications", in_signature="susssasa{sv}i", out_signature="u")
    def Notify(self, program, replaced, icon, title, text, actions, hints, expiry):
        return 1
    @dbus.service.method("org.freedesktop.Notifications", out_signature="ssss")
    def GetServerInformation(self):
        return ("stand-in", "test", "1", "1.2")
names = [dbus.service.BusName(name, bus) for name in ("org.kde.StatusNotifierWatcher", "org.freedesktop.Notifications")]
server = Server(bus, "/org/freedesktop/Notifications")
print("ready", flush=True)
GLib.MainLoop().run()
"""


def test_every_command_of_the_readme_is_known_here():
    assert sorted(set(COMMANDS)) == sorted(EXPECTED)


@pytest.fixture(scope="module")
def desktop(tmp_path_factory):
    """A session bus with a desktop's services and a browser set."""
    folder = tmp_path_factory.mktemp("session")
    with contextlib.ExitStack() as started:
        bus = started.enter_context(running(
            ["dbus-daemon", "--session", "--nofork", f"--address=unix:path={folder}/bus", "--print-address=1"]))
        address = bus.stdout.readline().strip()
        environment = os.environ | {"DBUS_SESSION_BUS_ADDRESS": address, "BROWSER": "browser.desktop"}
        services = started.enter_context(running([sys.executable, "-c", DESKTOP], env=environment))
        assert services.stdout.readline() == "ready\n"
        yield environment


@contextlib.contextmanager
def running(command, **options):
    """A process that ends with the block, whatever happens in it."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, text=True, **options)
    try:
        yield process
    finally:
        process.kill()
        process.wait()


# Units of the simulated network, for the readme's placeholders.
UNITS = {"UNIT": "control-room", "HOST": "machine-room", "UID": "0001f2fffe00a001", "SWITCH": "avb-switch-attic"}


@pytest.mark.parametrize("command", COMMANDS)
def test_a_command_of_the_readme_does_what_it_says(command, desktop):
    line = command
    for placeholder, unit in UNITS.items():
        line = line.replace(placeholder, unit)
    if line.endswith("--watch"):
        line = f"timeout --preserve-status 6 {line}"
    deadline = time.monotonic() + PATIENCE
    while True:
        result = run_in_studio(line, desktop)
        works = result.returncode == 0 and EXPECTED[command] in result.stdout
        if works or time.monotonic() > deadline:
            break
    assert works, f"left with {result.returncode}:\n{result.stdout}{result.stderr}"


def run_in_studio(line, environment):
    inside = f'export PATH="{BIN}:$PATH"; {line}'
    return subprocess.run(
        [ROOT / "studio" / "studio", "--keep-open", "--", "bash", "-c", inside],
        env=environment, capture_output=True, text=True, timeout=90, check=False)
