"""The machine that produced the figures."""

import os
import pathlib
import platform
import subprocess


def load():
    return [round(value, 2) for value in os.getloadavg()]


def describe():
    return {
        "processor": _processor(),
        "processors": os.cpu_count(),
        "memoryMiB": round(os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**20),
        "kernel": platform.release(),
        "system": _system(),
        "compiler": _first_line(["c++", "--version"]),
        "libcurl": _first_line(["dpkg-query", "-W", "-f", "${Version}", "libcurl4"]),
        "avahi": _first_line(["dpkg-query", "-W", "-f", "${Version}", "avahi-daemon"]),
        "loadBefore": load(),
    }


def _processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def _system():
    name = platform.freedesktop_os_release().get("PRETTY_NAME", "Linux")
    version = pathlib.Path("/etc/debian_version")
    return f"{name}, {version.read_text().strip()}" if version.exists() else name


def _first_line(command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[0]
    except (OSError, IndexError, subprocess.CalledProcessError):
        return None
