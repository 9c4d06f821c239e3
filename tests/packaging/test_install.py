"""What ./run and ./test do about missing packages, on a system with fake package tools."""

import os
import pathlib
import pty
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]

TOOLS = {
    "dpkg-query": """
        case "${!#}" in
          *Status*) sed 's/$/ installed/' installed ;;
          *) grep -qx "${!#}" installed && printf installed ;;
        esac""",
    "dpkg": """
        for package; do
          case $package in
            base) echo /usr/lib/systemd/system/base.service ;;
            avahi-daemon) printf '/usr/lib/systemd/system/avahi-daemon.%s\\n' service socket ;;
            libthing) echo /usr/lib/systemd/user/libthing.service ;;
          esac
        done""",
    "apt-cache": """! grep -qx "$2" unknown""",
    "apt-get": """
        case " $* " in
          *" --assume-no "*)
            if [ -e no-lists ]; then echo "E: Unable to locate package avahi-daemon" >&2; exit 100; fi
            printf 'Suggested packages:\\n  waybar\\n'
            printf 'The following NEW packages will be installed:\\n  avahi-daemon libthing\\n'
            printf '0 upgraded, 2 newly installed, 0 to remove.\\nNeed to get 77 kB of archives.\\n'
            exit 1 ;;
          *" update "*)
            echo "apt-get update" >>done
            rm -f no-lists
            if [ -e locked ]; then rm locked; echo "E: Could not get lock /var/lib/dpkg/lock" >&2; exit 100; fi ;;
          *" install "*)
            echo "apt-get install ${*: -2}" >>done
            ./policy avahi-daemon start && echo "new services start" >>done
            ./policy base restart || echo "old services stay as they are" >>done
            printf '%s\\n' "${@: -2}" >>installed ;;
        esac""",
    "systemctl": """echo "systemctl $*" >>done""",
    "sudo": """PATH=$(dirname "$0"):$PATH exec "$@" """,
    "sleep": "",
}
SCRIPT = """set -euo pipefail
. scripts/packages.sh
service_policy=$PWD/policy
packages_for() { echo avahi-daemon 'libthing-14-dev|libthing'; }
install_packages any
echo "went on"
"""
INSTALLED = [
    "apt-get update", "apt-get install avahi-daemon libthing",
    "systemctl --quiet disable avahi-daemon.service avahi-daemon.socket",
    "systemctl --quiet disable --global libthing.service",
]


class System:
    def __init__(self, folder):
        self.folder = folder
        (folder / "scripts").symlink_to(ROOT / "scripts")
        (folder / "bin").mkdir()
        (folder / "installed").write_text("base\n")
        (folder / "done").touch()
        (folder / "unknown").write_text("libthing-14-dev\n")
        for name, text in TOOLS.items():
            (folder / "bin" / name).write_text(f"#!/bin/bash\nPATH=/usr/bin:/bin\n{text}\n")
            (folder / "bin" / name).chmod(0o755)
        self._environment = {"PATH": f"{folder}/bin:/usr/bin:/bin", "LANG": "C.UTF-8"}

    def remove_tool(self, name):
        """Makes a tool missing, which the machine itself may have."""
        (self.folder / "bin" / name).unlink()
        for tool in pathlib.Path("/usr/bin").iterdir():
            link = self.folder / "bin" / tool.name
            if tool.name != name and not link.exists() and not link.is_symlink():
                link.symlink_to(tool)
        self._environment["PATH"] = f"{self.folder}/bin"

    def run(self, **environment):
        """Runs the script without a terminal."""
        return subprocess.run(
            ["/bin/bash", "-c", SCRIPT], cwd=self.folder, env=self._environment | environment, text=True,
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False, timeout=60,
        )

    def run_on_terminal(self, answer, stderr=None, **environment):
        """Runs the script on a terminal where a person types the answer. Returns the text of the terminal. The session
        is a new one, so that the terminal of whoever runs the tests stays out of it."""
        ours, theirs = pty.openpty()
        process = subprocess.Popen(
            ["/bin/bash", "-c", SCRIPT], cwd=self.folder, env=self._environment | environment, stdin=theirs,
            stdout=theirs, stderr=stderr or theirs, start_new_session=True,
        )
        os.close(theirs)
        os.write(ours, answer.encode() + b"\n")
        said = b""
        try:
            while piece := os.read(ours, 4096):
                said += piece
        except OSError:  # the other side has closed it
            pass
        os.close(ours)
        process.wait(60)
        return said.decode()

    def done(self):
        return (self.folder / "done").read_text().splitlines()


@pytest.fixture
def system(tmp_path):
    return System(tmp_path)


def test_without_a_terminal_it_installs_the_first_that_there_is_and_keeps_services_down(system):
    result = system.run()
    assert result.stdout.endswith("went on\n"), result.stdout
    assert system.done() == INSTALLED
    assert not (system.folder / "policy").exists()


def test_a_policy_of_the_systems_own_stays(system):
    policy = system.folder / "policy"
    policy.write_text("#!/bin/sh\nexit 0\n")
    policy.chmod(0o755)
    system.run()
    assert "new services start" in system.done()
    assert policy.exists()


def test_on_a_terminal_it_tells_and_asks_first(system):
    said = system.run_on_terminal("n")
    assert "avahi-daemon libthing" in said
    assert "Need to get 77 kB" in said
    assert "These contain services, which stay stopped and disabled: avahi-daemon\r\n" in said
    assert "Install them? [Y/n]" in said
    assert "Nothing was installed." in said and "went on" not in said
    assert system.done() == []


def test_without_package_lists_it_gets_them_before_it_asks(system):
    (system.folder / "no-lists").touch()
    said = system.run_on_terminal("n")
    assert said.index("Fetching the lists") < said.index("Need to get 77 kB") < said.index("Install them?")
    assert system.done() == ["apt-get update"]


def test_a_person_who_has_redirected_the_messages_is_asked_too(system):
    with open(system.folder / "messages", "wb") as messages:
        system.run_on_terminal("n", stderr=messages)
    assert (system.folder / "messages").read_text().endswith("Nothing was installed.\n")
    assert system.done() == []


@pytest.mark.parametrize("answer", ["", "y"])
def test_a_person_who_agrees_is_asked_once(system, answer):
    said = system.run_on_terminal(answer)
    assert said.count("Install them?") == 1
    assert "went on" in said
    assert system.done() == INSTALLED


@pytest.mark.parametrize("variable", ["VORN_YES", "CI"])
def test_who_does_not_want_to_be_asked_is_not(system, variable):
    said = system.run_on_terminal("n", **{variable: "1"})
    assert "Install them?" not in said
    assert system.done() == INSTALLED


def test_what_is_there_is_not_installed_again(system):
    (system.folder / "installed").write_text("avahi-daemon\nbase\nlibthing\n")
    assert system.run().stdout == "went on\n"
    assert system.done() == []


def test_it_waits_for_another_program_that_installs(system):
    (system.folder / "locked").touch()
    result = system.run()
    assert "Another program is installing packages. Waiting for it." in result.stdout
    assert system.done() == ["apt-get update", *INSTALLED]


def test_a_system_without_apt_is_told_what_is_needed(system):
    system.remove_tool("apt-get")
    result = system.run()
    assert "avahi-daemon libthing-14-dev|libthing" in result.stdout
    assert result.stdout.endswith("went on\n")
    assert system.done() == []
