"""The desktop tests share this: a desktop and a studio for each test, always stopped at the end."""

import os
import pathlib
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path[:0] = [str(ROOT / "studio"), str(pathlib.Path(__file__).resolve().parent), str(ROOT / "tests" / "e2e")]
for variable in ("DISPLAY", "WAYLAND_DISPLAY", "XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"):
    os.environ.pop(variable, None)

from finder import Finder  # noqa: E402
from vorndesktop import VirtualDesktop  # noqa: E402
from vornstudio import Studio  # noqa: E402

UNITS = {
    "update_server": {"wait": 0},
    "releases": {"Vorn 16A": "1.4.2+311", "avbswitch": "3.0.4+12"},
    "unit": [
        {"name": "Control Room", "model": "Vorn 16A", "firmware": "1.4.2+311"},
        {"name": "Live Room", "model": "Vorn 16A", "firmware": "1.4.0+290"},
        {"name": "Attic", "kind": "plexaswitch", "firmware": "3.0.4+12"},
    ],
}
CONTROL_ROOM = "Control Room, audio interface, firmware 1.4.2+311"
MENU_ENTRIES = {"Control Room", "Live Room (update 1.4.2 available)"}
LIVE_ROOM = "Live Room, audio interface, firmware 1.4.0+290, update 1.4.2 available"


@pytest.fixture
def desktop(request):
    """A screen with a window manager and the bus for assistive tools, without a bar.

    The test may give another size.
    """
    with VirtualDesktop(*getattr(request, "param", (960, 600))) as made:
        made.start_screen()
        made.start_bus()
        made.start_window_manager()
        made.start_accessibility()
        yield made


@pytest.fixture
def finder(desktop):
    """The program, not yet started, in a studio of two audio interfaces and a switch."""
    with Studio(UNITS) as studio:
        made = Finder(desktop, studio)
        yield made
        made.close()
