"""What the studio needs of the machine, and what is missing."""

import importlib.util
import os
import shutil
import subprocess

PROGRAMS = {
    "unshare": "util-linux", "nsenter": "util-linux", "setpriv": "util-linux", "ip": "iproute2",
    "dbus-daemon": "dbus-daemon", "avahi-daemon": "avahi-daemon",
}
SWITCHES = (
    ("/proc/sys/kernel/unprivileged_userns_clone", "0", "sysctl kernel.unprivileged_userns_clone is 0"),
    ("/proc/sys/user/max_user_namespaces", "0", "sysctl user.max_user_namespaces is 0"),
    ("/proc/sys/kernel/apparmor_restrict_unprivileged_userns", "1",
     "sysctl kernel.apparmor_restrict_unprivileged_userns is 1"),
)
SEARCH_PATH = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"


def program(name):
    """The full path of a program. The caller's search path often lacks the system's own folders."""
    return shutil.which(name, path=SEARCH_PATH) or name


def isolation():
    """The command that enters new namespaces, with a user namespace if the caller is not root."""
    command = [program("setpriv"), "--pdeathsig", "KILL", program("unshare")]
    if os.getuid() != 0:
        command += ["--user", "--map-current-user", "--keep-caps"]
    return command + ["--mount", "--net", "--pid", "--fork", "--kill-child=KILL"]


def missing():
    """Everything that prevents a studio here, one line each; empty if nothing does."""
    lines = [
        f"the program {name} (Debian package {package})"
        for name, package in PROGRAMS.items()
        if shutil.which(name, path=SEARCH_PATH) is None
    ]
    if importlib.util.find_spec("zeroconf") is None:
        lines.append("the Python module zeroconf (Debian package python3-zeroconf)")
    return lines or _missing_namespaces()


def _missing_namespaces():
    probe = isolation() + [program("ip"), "link", "add", "far0", "type", "veth", "peer", "name", "near0"]
    result = subprocess.run(probe, capture_output=True, text=True, stdin=subprocess.DEVNULL)
    if result.returncode == 0:
        return []
    who = "root, but without the right to make namespaces (CAP_SYS_ADMIN)" if os.getuid() == 0 else "not root"
    reasons = [text for path, value, text in SWITCHES if _reads(path, value)] if os.getuid() != 0 else []
    said = result.stderr.strip().splitlines()[-1:] or [f"exit code {result.returncode}"]
    kind = "mount, network and process namespaces" if os.getuid() == 0 else "user namespaces"
    return [f"{kind} with a veth pair: the caller is {who}; {'; '.join(reasons + said)}"]


def _reads(path, value):
    try:
        with open(path) as file:
            return file.read().strip() == value
    except OSError:
        return False
