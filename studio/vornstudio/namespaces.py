"""The two sides of the studio: far, where the units are, and near, where programs under test run.

The studio's first process starts in new user (if the caller is not root), mount, network and process namespaces and
is the far side. `lay_out` gives it a private /run and a near side with a separate network and separate mounts. A
child that does nothing else holds the near side. Nothing has a name outside, so the kernel removes everything with
the last process.
"""

import ctypes
import os
import signal
import socket
import subprocess

CLONE_NEWNS = 0x00020000
CLONE_NEWNET = 0x40000000
MS_BIND = 0x1000
MS_REC = 0x4000
PR_SET_PDEATHSIG = 1

STATE = "/run/vorn-studio"
NEAR_ADDRESS = "10.77.0.1"
FAR_ADDRESS = "10.77.0.2"
PREFIX_LENGTH = 16
UPDATE_SERVER_NAME = "updates.vorn.example"  # the default place where programs look

_libc = ctypes.CDLL(None, use_errno=True)


def unshare(flags):
    if _libc.unshare(flags) != 0:
        raise OSError(ctypes.get_errno(), "unshare failed")


def mount(source, target, kind, flags=0, options=None):
    data = options.encode() if options else None
    if _libc.mount(source.encode(), target.encode(), kind.encode() if kind else None, flags, data) != 0:
        code = ctypes.get_errno()
        raise OSError(code, f"mount {kind or 'bind'} on {target}: {os.strerror(code)}")


class Side:
    """One side: how to start programs there."""

    def __init__(self, name, descriptors=()):
        self.name = name
        self._descriptors = descriptors

    def command(self, argv, directory="/"):
        """The command line, and its descriptors, that runs argv on this side without privileges."""
        enter = []
        if self._descriptors:
            network, mounts = self._descriptors
            enter = ["nsenter", f"--net=/proc/self/fd/{network}", f"--mount=/proc/self/fd/{mounts}", "--"]
        plain = ["setpriv", "--inh-caps=-all", "--ambient-caps=-all", "--"] if os.getuid() != 0 else []
        return enter + ["env", "-C", directory] + plain + list(argv), self._descriptors

    def setup(self, argv, **options):
        """Runs a short program there with the studio's privileges and waits for it."""
        enter = [f"--net=/proc/self/fd/{self._descriptors[0]}", "--"] if self._descriptors else []
        prefix = ["nsenter"] + enter if enter else []
        subprocess.run(prefix + list(argv), check=True, pass_fds=self._descriptors, **options)


def lay_out(nss_mdns=True):
    """Builds both sides and returns (far, near). Called once, before any thread or event loop exists.

    Without `nss_mdns`, the near side's resolver does not know ".local" names.
    """
    _mount_process_table()
    _make_run_private()
    os.makedirs(f"{STATE}/etc-avahi/services")
    _lend_responder_account()
    descriptors, holder = _fork_near(nss_mdns)
    far, near = Side("far"), Side("near", descriptors)
    _mount_side(f"{STATE}/etc-avahi")
    _join(holder, far, near)
    return far, near


def _mount_process_table():
    try:
        mount("proc", "/proc", "proc")
    except PermissionError:
        pass  # inside a container with a masked /proc the old one stays, which works too


def _make_run_private():
    """Puts a private folder over /run. It shows what was there, except the folders of the responder and the bus."""
    old = os.open("/run", os.O_PATH | os.O_DIRECTORY)
    entries = [entry for entry in os.scandir("/run") if entry.name not in ("avahi-daemon", "dbus", "vorn-studio")]
    mount("tmpfs", "/run", "tmpfs", 0, "mode=755")
    for entry in entries:
        target = f"/run/{entry.name}"
        if entry.is_symlink():
            os.symlink(os.readlink(entry.name, dir_fd=old), target)
            continue
        if entry.is_dir(follow_symlinks=False):
            os.mkdir(target)
        else:
            os.close(os.open(target, os.O_CREAT))
        try:
            mount(f"/proc/self/fd/{old}/{entry.name}", target, None, MS_BIND | MS_REC)
        except OSError:
            pass  # what may not be shown inside is missing there
    os.close(old)
    os.makedirs(STATE)


def _lend_responder_account():
    """Lets avahi-daemon use the caller as its own account, if there is no other user.

    avahi-daemon needs a runtime folder of the user and group "avahi". A namespace of an ordinary user contains only
    that one user.
    """
    if os.getuid() == 0:
        return
    accounts = {
        "passwd": f"avahi:x:{os.getuid()}:{os.getgid()}:responder:/run/avahi-daemon:/usr/sbin/nologin\n",
        "group": f"avahi:x:{os.getgid()}:\n",
    }
    for name, account in accounts.items():
        with open(f"/etc/{name}") as file:
            others = [line for line in file if not line.startswith("avahi:")]
        with open(f"{STATE}/{name}", "w") as file:
            file.writelines([*others, account])  # at the end, so that the caller's name stays the first one for the number
        mount(f"{STATE}/{name}", f"/etc/{name}", None, MS_BIND)


def _mount_side(configuration=None):
    """Gives the mount namespace of the calling process separate runtime folders of responder and bus."""
    for name in ("avahi-daemon", "dbus"):
        os.makedirs(f"/run/{name}", exist_ok=True)
        mount("tmpfs", f"/run/{name}", "tmpfs", 0, "mode=755")
    if configuration:
        mount(configuration, "/etc/avahi", None, MS_BIND)
    else:
        mount("tmpfs", "/etc/avahi", "tmpfs", 0, "mode=755")


def _name_update_server():
    """Makes the reserved name of the update server, which resolves nowhere, lead to the studio's."""
    with open("/etc/hosts") as file:
        hosts = file.read()
    with open(f"{STATE}/hosts", "w") as file:
        file.write(f"{hosts}\n{FAR_ADDRESS} {UPDATE_SERVER_NAME}\n")
    mount(f"{STATE}/hosts", "/etc/hosts", None, MS_BIND)


def _resolve_without_mdns():
    with open(f"{STATE}/nsswitch.conf", "w") as file:
        file.write("hosts: files dns\n")
    mount(f"{STATE}/nsswitch.conf", "/etc/nsswitch.conf", None, MS_BIND)


def _fork_near(nss_mdns):
    mine, theirs = socket.socketpair()
    pid = os.fork()
    if pid == 0:
        try:
            _libc.prctl(PR_SET_PDEATHSIG, signal.SIGKILL)
            unshare(CLONE_NEWNS | CLONE_NEWNET)
            _mount_side()
            _name_update_server()
            if not nss_mdns:
                _resolve_without_mdns()
            os.setsid()
            spaces = [os.open(f"/proc/self/ns/{name}", os.O_RDONLY) for name in ("net", "mnt")]
            socket.send_fds(theirs, [b"+"], spaces)
            mine.close()
            theirs.close()
            while True:
                signal.pause()
        except BaseException as error:
            theirs.sendall(str(error).encode() or b"?")
        finally:
            os._exit(1)
    theirs.close()
    word, descriptors, _, _ = socket.recv_fds(mine, 4096, 2)
    mine.close()
    if word != b"+":
        raise OSError(f"the near side could not be made: {word.decode(errors='replace')}")
    return tuple(descriptors), pid


def _join(holder, far, near):
    network = f"/proc/self/fd/{near._descriptors[0]}"
    far.setup(["ip", "link", "add", "far0", "type", "veth", "peer", "name", "near0"])
    subprocess.run(["ip", "link", "set", "near0", "netns", network], check=True, pass_fds=near._descriptors)
    for side, name, address in ((far, "far0", FAR_ADDRESS), (near, "near0", NEAR_ADDRESS)):
        batch = [
            "link set lo up",
            f"addr add {address}/{PREFIX_LENGTH} brd + dev {name}",
            f"link set {name} up",
        ]
        side.setup(["ip", "-batch", "-"], input="\n".join(batch) + "\n", text=True)
