"""In a system with the package installed: an upgrade while the program runs. Arguments: the newer packages."""

import pathlib
import subprocess
import sys
import tempfile

from desktop import Desktop, eventually

SETTINGS = "[General]\nnotify=false\nshowSwitches=true\n"
PAGE = "http://192.0.2.1/#device"


def upgrade(packages):
    subprocess.run(["apt-get", "install", "-q", "-y", "--no-install-recommends", *packages], check=True,
                   stdout=subprocess.DEVNULL)


def answers(desktop):
    desktop.activate()
    assert eventually(desktop.panel_is_visible), desktop.console()
    desktop.activate_action("open-page", PAGE)
    assert eventually(lambda: PAGE in desktop.pages()), desktop.console()


def choices(desktop):
    lines = desktop.settings().read_text().splitlines()
    return {line for line in lines if line.startswith(("notify=", "showSwitches="))}


def main(packages):
    desktop = Desktop(pathlib.Path(tempfile.mkdtemp(prefix="vorn-upgrade-")))
    try:
        desktop.settings().parent.mkdir(parents=True)
        desktop.settings().write_text(SETTINGS)
        running = desktop.start()
        assert eventually(desktop.is_running), desktop.console()
        upgrade(packages)
        assert running.poll() is None, desktop.console()
        answers(desktop)  # the bus asks for it, as the newer program's second start does
        running.terminate()
        assert running.wait(10) == 0, desktop.console()
        newer = desktop.start_and_wait_until_it_runs()
        answers(desktop)
        newer.terminate()
        assert newer.wait(10) == 0, desktop.console()
        assert choices(desktop) == {"notify=false", "showSwitches=true"}, desktop.settings().read_text()
    finally:
        desktop.close()


main(sys.argv[1:])
