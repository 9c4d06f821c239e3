"""The completions of vorn-device-list, in the real shells and from where an installation puts them."""

import contextlib
import fcntl
import os
import pathlib
import pty
import re
import select
import struct
import subprocess
import termios
import time

import pytest

BUILD = pathlib.Path(os.environ["VORN_BUILD"])
BINARY = BUILD / "bin" / "vorn-device-list"
PATIENCE = 40.0
SHELLS = ["bash", "zsh", "fish"]
ALL = "ALL"  # the keys that insert every completion into the line
# The program is a function that prints its arguments.
BASH = r"""
PS1='ready> '
bind 'set enable-bracketed-paste off'
. /usr/share/bash-completion/bash_completion
vorn-device-list() { printf '<%s>\n' "$@"; echo "that is all"; }
"""
ZSH = r"""
PS1='ready> '
unset zle_bracketed_paste
fpath=({share}/zsh/site-functions $fpath)
autoload -Uz compinit && compinit -u -D
_insert_all() { _main_complete; compstate[insert]=all; compstate[list]= }
zle -C insert-all complete-word _insert_all
bindkey '^T' insert-all
vorn-device-list() { printf '<%s>\n' "$@"; echo "that is all"; }
"""
KEYS = {"bash": b"\x1b*", "zsh": b"\x14"}


@pytest.fixture(scope="module")
def installed(tmp_path_factory):
    """The share folder of an installation."""
    prefix = tmp_path_factory.mktemp("prefix")
    subprocess.run(
        ["cmake", f"-DCMAKE_INSTALL_PREFIX={prefix}", "-P", BUILD / "packaging" / "cmake_install.cmake"],
        check=True, capture_output=True,
    )
    return prefix / "share"


@contextlib.contextmanager
def terminal(argv, folder, environment):
    pid, ours = pty.fork()
    if pid == 0:
        os.chdir(folder)
        os.execvpe(argv[0], argv, {**os.environ, **environment, "TERM": "xterm", "LC_ALL": "C.UTF-8"})
    fcntl.ioctl(ours, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 500, 0, 0))
    try:
        yield ours
    finally:
        os.close(ours)
        os.kill(pid, 9)
        os.waitpid(pid, 0)


def read_until(terminal_end, wanted):
    text = ""
    deadline = time.monotonic() + PATIENCE
    while wanted not in text:
        assert time.monotonic() < deadline, text
        if select.select([terminal_end], [], [], 0.1)[0]:
            text += os.read(terminal_end, 65536).decode(errors="replace")
    return text


class Shell:
    def __init__(self, name, share, folder):
        self._name = name
        self._folder = folder
        self._environment = {
            "XDG_DATA_DIRS": f"{share}:/usr/share", "HOME": str(folder), "ZDOTDIR": str(folder / "rc"),
            "BASH_COMPLETION_USER_DIR": "/nonexistent", "XDG_CONFIG_HOME": str(folder / "rc"),
            "PATH": f"{BINARY.parent}:{os.environ['PATH']}",  # fish completes only programs that exist
        }
        (folder / "rc").mkdir()
        (folder / "rc" / "bashrc").write_text(BASH)
        (folder / "rc" / ".zshrc").write_text(ZSH.replace("{share}", str(share)))
        (folder / "units.prom").touch()

    def arguments(self, typed, keys):
        """The arguments of the program after a person typed the text, pressed the keys and Return."""
        argv = ["bash", "--noprofile", "--rcfile", str(self._folder / "rc" / "bashrc"), "-i"]
        argv = ["zsh", "-d", "-i"] if self._name == "zsh" else argv
        with terminal(argv, self._folder, self._environment) as end:
            read_until(end, "ready> ")
            os.write(end, b"vorn-device-list " + typed.encode() + (KEYS[self._name] if keys == ALL else keys) + b"\r")
            return re.findall(r"^<(.*)>\r$", read_until(end, "\nthat is all"), re.MULTILINE)

    def all_after(self, typed):
        """Every completion of the text."""
        if self._name == "fish":
            script = f'complete -C "vorn-device-list {typed}"'
            result = subprocess.run(
                ["fish", "-c", script], cwd=self._folder, env={**os.environ, **self._environment},
                capture_output=True, text=True, check=True)
            return [line.split("\t")[0] for line in result.stdout.splitlines()]
        before = typed.split()
        return self.arguments(typed, ALL)[len(before) - (not typed.endswith(" ")):]


@pytest.fixture(params=SHELLS)
def shell(request, installed, tmp_path):
    return Shell(request.param, installed, tmp_path)


def run(option):
    """The program's answer in English."""
    environment = {**os.environ, "LC_ALL": "C"}
    return subprocess.run([BINARY, option], capture_output=True, text=True, env=environment, check=False)


def help_options():
    text = run("--help").stdout
    return set(re.findall(r"(?<=^  )-\w\b|(?<=, |^  )--[\w-]+", text.split("Exit status:")[0], re.MULTILINE))


def formats():
    return set(re.split(", | or ", re.search(r"--format takes (.*), not", run("--format=?").stderr).group(1)))


def test_every_option_of_the_help_is_completed_and_no_other(shell):
    assert len(help_options()) == 12
    assert {word.rstrip("=") for word in shell.all_after("-")} == help_options()


def test_every_format_is_completed_and_no_other(shell):
    assert {word.removeprefix("--format=") for word in shell.all_after("--format=")} == formats()
    assert set(shell.all_after("--format ")) == formats()


def test_a_file_is_completed_after_output_and_nowhere_else(shell):
    assert "units.prom" in [word.removeprefix("--output=") for word in shell.all_after("--output=uni")]
    assert "units.prom" in shell.all_after("--output uni")
    assert "units.prom" not in shell.all_after("--wait ") + shell.all_after("--watch ")


@pytest.mark.parametrize("name", ["bash", "zsh"])
def test_a_tab_finishes_what_a_person_began(name, installed, tmp_path):
    shell = Shell(name, installed, tmp_path)
    assert shell.arguments("--wat", b"\t") == ["--watch"]
    assert shell.arguments("--format=o", b"\t") == ["--format=openmetrics"]
    assert shell.arguments("--output un", b"\t") == ["--output", "units.prom"]


def test_debians_zsh_looks_where_the_package_puts_the_completion():
    """The other two shells look in the share folder of each prefix."""
    result = subprocess.run(["zsh", "-f", "-c", "print -l $fpath"], check=True, capture_output=True, text=True)
    rules = (pathlib.Path(__file__).resolve().parents[2] / "debian" / "rules").read_text()
    (folder,) = re.findall(r"-DVORN_ZSH_FOLDER=(\S+)", rules)
    assert f"/usr/{folder}" in result.stdout.split()
