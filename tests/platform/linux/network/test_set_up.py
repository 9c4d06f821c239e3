"""The script that starts a NetworkManager for a test, on systems that have or lack what it needs."""

import os
import pathlib
import subprocess

SCRIPT = pathlib.Path(__file__).resolve().parent / "with_network_manager.sh"
PATIENCE = 50  # seconds; a script that waits for an event that cannot come takes longer


def set_up(change="true"):
    """Runs the script with a command that says "reached", after `change` was made to the system."""
    privilege = [] if os.getuid() == 0 else ["--user", "--map-root-user"]
    inside = f'{change} && exec "$0" echo reached'
    return subprocess.run(
        ["/usr/bin/unshare", *privilege, "--mount", "sh", "-c", inside, SCRIPT], capture_output=True, text=True,
        check=False, timeout=PATIENCE, env={"PATH": "/usr/local/bin:/usr/bin:/bin", "LANG": "C.UTF-8"},
    )


def test_programs_are_found_that_an_ordinary_users_search_path_lacks():
    done = set_up()
    assert (done.returncode, done.stdout) == (0, "reached\n"), done.stderr


def test_a_missing_program_is_named_with_its_package():
    done = set_up("mount -t tmpfs tmpfs /usr/sbin")
    assert done.returncode == 1
    assert "NetworkManager (Debian package network-manager)" in done.stderr
    assert "nmcli" not in done.stderr


def test_a_program_that_ends_too_early_is_named():
    done = set_up("mount --bind /bin/false /usr/sbin/NetworkManager")
    assert done.returncode == 1
    assert "NetworkManager ended before it was ready" in done.stderr
