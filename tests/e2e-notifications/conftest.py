"""The desktop of one test: display, bus, notification server, replacement for the browser."""

import os
import pathlib
import signal
import subprocess
import time

import dbus
import dbus.bus
import pytest
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import Gio, GLib

HERE = pathlib.Path(__file__).parent
DRIVER = os.environ["VORN_NOTIFICATION_DRIVER"]
DEADLINE = 30
SERVER = "org.freedesktop.Notifications"


def within(seconds, condition):
    """Waits for a true value of the condition and returns it. After the time, returns the last value.

    Looks anew whenever a desktop reports something (Desktop._report_changes).
    """
    end = time.monotonic() + seconds
    value = condition()
    while not value and time.monotonic() < end:
        alarm = GLib.timeout_source_new(max(0, int((end - time.monotonic()) * 1000)))
        alarm.set_callback(lambda *_: False)
        alarm.attach(None)
        GLib.MainContext.default().iteration(True)
        alarm.destroy()
        value = condition()
    return value


def eventually(condition, what):
    value = within(DEADLINE, condition)
    assert value, f"did not come: {what}"
    return value


class Desktop:
    def __init__(self, folder):
        self.folder = folder
        self.processes = []
        self.driver = None
        self.environment = {
            name: value for name, value in os.environ.items() if not name.startswith(("XDG_", "DBUS_", "WAYLAND"))
        }
        for name, sub in (("HOME", "home"), ("XDG_CONFIG_HOME", "config"), ("XDG_RUNTIME_DIR", "run")):
            (folder / sub).mkdir(mode=0o700)
            self.environment[name] = str(folder / sub)
        self.state = folder / "home/.local/state/vorn-device-finder"
        self.state.mkdir(mode=0o700, parents=True)  # so that its changes are seen from the first on
        self._make_browser()
        self._start_display()
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self.start_bus("bus")
        self._report_changes()

    # --- what a desktop consists of -------------------------------------------------------

    def _make_browser(self):
        programs = self.folder / "bin"
        programs.mkdir()
        opener = programs / "xdg-open"
        opener.write_text(f'#!/bin/sh\nprintf "%s\\n" "$1" >> "{self.folder}/opened"\n')
        opener.chmod(0o755)
        self.environment["PATH"] = f"{programs}:{os.environ['PATH']}"

    def _start_display(self):
        read, write = os.pipe()
        self.start(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", "640x400x24", "-nolisten", "tcp", "-noreset"],
            pass_fds=[write],
        )
        os.close(write)
        with os.fdopen(read) as output:
            self.environment["DISPLAY"] = ":" + output.readline().strip()

    def start_bus(self, name):
        """Starts a session bus and returns its address."""
        services = self.folder / "services"
        services.mkdir(exist_ok=True)
        settings = pathlib.Path("/usr/share/dbus-1/services/org.xfce.Xfconf.service")
        if settings.exists():  # xfce4-notifyd keeps its settings here; no notification server starts by itself
            (services / settings.name).write_text(settings.read_text())
        config = self.folder / f"{name}.conf"
        config.write_text(
            f"<busconfig><type>session</type><listen>unix:path={self.folder}/{name}</listen>"
            f"<servicedir>{services}</servicedir><policy context='default'>"
            "<allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/><allow own='*'/>"
            "</policy></busconfig>"
        )
        bus = self.start(
            ["dbus-daemon", "--nofork", f"--config-file={config}", "--print-address"], stdout=subprocess.PIPE
        )
        with bus.stdout as told:
            assert told.readline(), "the bus has ended"
        return f"unix:path={self.folder}/{name}"

    def _report_changes(self):
        """Has `within` look anew when a server comes, goes or says something, and when a file changes."""
        self.bus = dbus.bus.BusConnection(
            self.environment["DBUS_SESSION_BUS_ADDRESS"], mainloop=DBusGMainLoop()
        )

        def nothing_more(*_):
            pass

        self.bus.add_signal_receiver(nothing_more, "NameOwnerChanged", "org.freedesktop.DBus", arg0=SERVER)
        self.bus.add_signal_receiver(nothing_more, dbus_interface=SERVER)
        self.bus.add_signal_receiver(nothing_more, "PropertiesChanged", "org.freedesktop.DBus.Properties")
        self.monitors = []
        for folder in (self.folder, self.state):
            monitor = Gio.File.new_for_path(str(folder)).monitor_directory(Gio.FileMonitorFlags.NONE, None)
            monitor.set_rate_limit(0)
            monitor.connect("changed", nothing_more)
            self.monitors.append(monitor)

    def start(self, command, environment=None, **options):
        options.setdefault("stdin", subprocess.DEVNULL)
        log = open(self.log_of(command[0]), "a")
        process = subprocess.Popen(
            command, env=self.environment | (environment or {}), stderr=log, **{"stdout": log, **options}
        )
        log.close()
        self.processes.append(process)
        return process

    def log_of(self, program):
        """The file that takes what a program says."""
        return self.folder / (pathlib.Path(program).name + ".log")

    def has_server(self):
        return self.bus.name_has_owner(SERVER)

    def start_server(self, command):
        server = self.start(command)
        eventually(self.has_server, command[0])
        return server

    def start_dunst(self):
        return self.start_server(["dunst", "-config", str(HERE / "dunstrc")])

    def watch_calls(self, member):
        """The file that names every call of this name from now on."""
        log = self.log_of("dbus-monitor")
        self.start(["dbus-monitor", "--session", f"type='method_call',member='{member}'"])
        eventually(lambda: log.exists() and log.read_text(), "the monitor's beginning")
        return log

    def kill(self, process, how=signal.SIGKILL):
        process.send_signal(how)
        process.wait()
        eventually(lambda: not self.has_server(), "the end of the server")

    # --- our side ------------------------------------------------------------------------

    def start_driver(self, **environment):
        """Starts the driver that the other functions speak to from now on, and returns it."""
        self.driver = self.start(
            [DRIVER], environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True
        )
        return self.driver

    def stop_driver(self):
        self.driver.stdin.close()
        assert self.driver.wait(DEADLINE) == 0

    def kill_driver(self):
        self.driver.kill()
        self.driver.wait()

    def kept(self):
        """What the next start picks up: the kept file's lines."""
        path = self.state / "notices.conf"
        return path.read_text().splitlines() if path.exists() else []

    def keeps(self, state):
        """Whether the first notification that is kept is "waiting" or "standing"."""
        place = next((line.partition("=")[2].partition(",")[0] for line in self.kept() if line.startswith("notices=")), "")
        return place.isdecimal() if state == "standing" else place == state

    def switch_off(self):
        self.driver.stdin.write("off\n")
        self.publish()

    def publish(self, *units):
        for unit in units:
            self.driver.stdin.write("\t".join(("unit", *unit)) + "\n")
        self.driver.stdin.write("publish\n")
        self.driver.stdin.flush()
        assert self.driver.stdout.readline() == "published\n"

    # --- what the user sees and does -----------------------------------------------------

    def run(self, command):
        return subprocess.run(
            command, env=self.environment, check=True, capture_output=True, text=True, timeout=DEADLINE
        ).stdout

    def displayed(self):
        return int(self.run(["dunstctl", "count", "displayed"]))

    def close_all(self):
        """Closes what dunst displays and returns every notification so far as (summary, body)."""
        self.run(["dunstctl", "close-all"])
        notifications = sorted(self._history(), key=lambda notification: notification["id"])
        return [(str(notification["summary"]), str(notification["body"])) for notification in notifications]

    def _history(self):
        """The output of `dunstctl history`. That command needs systemd's busctl, which nothing else here needs."""
        server = self.bus.get_object(SERVER, "/org/freedesktop/Notifications")
        return server.NotificationListHistory(dbus_interface="org.dunstproject.cmd0")

    def _window(self, window_class):
        """The first window of that class, once it is on the screen."""
        return self.run(["xdotool", "search", "--sync", "--onlyvisible", "--class", window_class]).split()[0]

    def click_notification(self):
        """Clicks the uppermost notification that dunst displays."""
        window = self._window("Dunst")
        self.run(["xdotool", "mousemove", "--window", window, "60", "20", "click", "1"])

    def press_open_button(self):
        """Presses the button that xfce4-notifyd draws for the default action until the page opens.

        It lies at the notification's lower right, and reacts once the notification has faded in.
        """
        window = self._window("Xfce4-notifyd")
        for _ in range(DEADLINE // 2):
            geometry = self.run(["xdotool", "getwindowgeometry", "--shell", window])
            size = dict(line.split("=") for line in geometry.split())
            x, y = int(size["WIDTH"]) - 57, int(size["HEIGHT"]) - 31
            self.run(["xdotool", "mousemove", "--window", window, str(x), str(y), "click", "1"])
            if within(2, self.opened):
                return

    def opened(self):
        path = self.folder / "opened"
        return path.read_text().splitlines() if path.exists() else []

    def screenshot(self, name):
        output = pathlib.Path(os.environ["VORN_E2E_OUTPUT"])
        output.mkdir(parents=True, exist_ok=True)
        self.run(["import", "-window", "root", str(output / name)])
        return output / name

    def end(self):
        for monitor in self.monitors:
            monitor.cancel()
        self.bus.close()
        for process in reversed(self.processes):
            process.kill()
            process.wait()


@pytest.fixture
def desktop(tmp_path_factory):
    # A short path, because the name of the bus socket has a limit of about a hundred characters.
    desktop = Desktop(tmp_path_factory.mktemp("d"))
    yield desktop
    desktop.end()
