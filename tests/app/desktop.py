"""A bare desktop for one test: a private session bus, a virtual screen, a home, and a replacement for the browser."""

import contextlib
import os
import pathlib
import shutil
import signal
import subprocess
import sys

import dbus
import dbus.bus

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "studio"))

from vorndesktop import waiting  # noqa: E402

BIN = pathlib.Path(os.environ["VORN_BIN"])
PROGRAM = BIN / "vorn-device-finder"
LAUNCHER = BIN.parent / "libexec" / "vorn-device-finder-launcher"
NAME = os.environ["VORN_APP_ID"]
PATH = "/" + NAME.replace(".", "/")
INTERFACE = "org.freedesktop.Application"
DEADLINE = 20.0

BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path={folder}/bus</listen>
  <servicedir>{services}</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


def eventually(condition, deadline=DEADLINE):
    """Waits until the condition holds; whether it did."""
    return bool(waiting.eventually(condition, deadline))


class Desktop:
    def __init__(self, folder, with_display=True):
        self.folder = folder
        self.home = folder / "home"
        self.opened = folder / "opened"
        self.started = []
        self.errors = folder / "errors"
        for name in ("home", "run", "bin", "services"):
            (folder / name).mkdir(mode=0o700)
        self.write_browser(f'printf "%s\\n" "$1" >> {self.opened}')
        self.environment = {
            "HOME": str(self.home),
            "XDG_RUNTIME_DIR": str(folder / "run"),
            "PATH": f"{folder / 'bin'}:/usr/bin:/bin",
            "LANG": "C.UTF-8",
            "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={folder / 'no-system-bus'}",
            "VORN_DEVICE_FINDER_TRIAL": "",  # the program behaves as installed
        }
        # The sanitizers' own settings, if the program is built with one.
        self.environment |= {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
        # A program that exits in time leaves slow threads behind.
        self.environment["TSAN_OPTIONS"] = os.environ.get("TSAN_OPTIONS", "") + " report_thread_leaks=0"
        if with_display:
            self._start_screen()
        self._start_bus()

    def write_browser(self, script):
        """What opens pages from now on."""
        browser = self.folder / "bin" / "xdg-open"
        browser.write_text(f"#!/bin/sh\n{script}\n")
        browser.chmod(0o755)

    def _start_screen(self):
        read, write = os.pipe()
        command = ["Xvfb", "-displayfd", str(write), "-screen", "0", "800x600x24", "-nolisten", "tcp", "-noreset"]
        screen = subprocess.Popen(command, pass_fds=[write], stderr=subprocess.DEVNULL)
        self.started.append(screen)
        os.close(write)
        with os.fdopen(read) as pipe:
            self.environment["DISPLAY"] = ":" + pipe.readline().strip()

    def _start_bus(self):
        services = self.folder / "services"
        (services / f"{NAME}.service").write_text(f"[D-BUS Service]\nName={NAME}\nExec={PROGRAM}\n")
        config = self.folder / "bus.conf"
        config.write_text(BUS_CONFIG.format(folder=self.folder / "run", services=services))
        self.start_bus_daemon()

    def start_bus_daemon(self):
        """Starts the session bus, or starts it again at the same address."""
        command = ["dbus-daemon", f"--config-file={self.folder / 'bus.conf'}", "--nofork", "--print-address"]
        with open(self.errors, "a", encoding="utf-8") as errors:
            self.bus_daemon = subprocess.Popen(
                command, env=self.environment, stdout=subprocess.PIPE, stderr=errors, text=True
            )
        self.started.append(self.bus_daemon)
        address = self.bus_daemon.stdout.readline().strip()
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        self.bus = dbus.bus.BusConnection(address)
        self.bus.set_exit_on_disconnect(False)

    def kill_bus_daemon(self):
        self.bus_daemon.kill()
        self.bus_daemon.wait()
        self.bus.close()

    def start(self, program=PROGRAM, arguments=(), **changes):
        """Starts a program. A variable set to None is left out."""
        environment = {k: v for k, v in {**self.environment, **changes}.items() if v is not None}
        with open(self.errors, "a", encoding="utf-8") as errors:
            process = subprocess.Popen([str(program), *arguments], env=environment, stderr=errors)
        self.started.append(process)
        return process

    def start_and_wait_until_it_runs(self, program=PROGRAM, **changes):
        process = self.start(program, **changes)
        assert eventually(self.is_running), self.console()
        assert eventually(self.has_started), self.console()
        self.activate_action("open-page", "")  # no page; the answer comes when the start-up is over
        return process

    def has_started(self):
        """The first run has left its mark, so the start-up is over."""
        return self.settings().exists()

    def settings(self):
        return self.home / ".config" / "vorn-device-finder" / "settings.conf"

    def login_item(self):
        return self.home / ".config" / "autostart" / f"{NAME}.Launcher.desktop"

    def is_running(self):
        return self.bus.name_has_owner(NAME)

    def pid(self):
        return int(self.call_bus("GetConnectionUnixProcessID", NAME, signature="s"))

    def call(self, method, *arguments, signature=None):
        return self.bus.call_blocking(NAME, PATH, INTERFACE, method, signature, arguments)

    def write_settings(self, content):
        self.settings().parent.mkdir(parents=True, exist_ok=True)
        self.settings().write_bytes(content)

    def write_login_item(self, *lines):
        self.login_item().parent.mkdir(parents=True, exist_ok=True)
        self.login_item().write_text("\n".join(("[Desktop Entry]", "Type=Application", *lines, "")))

    def activate(self):
        self.call("Activate", {}, signature="a{sv}")

    def activate_action(self, action, *parameters):
        self.call("ActivateAction", action, list(parameters), {}, signature="sava{sv}")

    def activate_actions_at_once(self, *actions):
        """Sends all before the first one can be answered."""
        for action, *parameters in actions:
            self.bus.call_async(
                NAME, PATH, INTERFACE, "ActivateAction", "sava{sv}", (action, parameters, {}), None, None
            )
        self.bus.flush()

    def call_bus(self, method, *arguments, signature):
        bus = "org.freedesktop.DBus"
        return self.bus.call_blocking(bus, "/org/freedesktop/DBus", bus, method, signature, arguments)

    def pages(self):
        return self.opened.read_text().splitlines() if self.opened.exists() else []

    def console(self):
        return self.errors.read_text()

    def panel_is_visible(self):
        search = ["xdotool", "search", "--onlyvisible", "--name", "^(Vorn )?Device"]
        found = subprocess.run(search, env=self.environment, capture_output=True, text=True, check=False)
        return bool(found.stdout.split())

    def close(self):
        self.bus.close()
        for process in reversed(self.started):
            with contextlib.suppress(ProcessLookupError):
                process.send_signal(signal.SIGCONT)
                process.terminate()
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)
