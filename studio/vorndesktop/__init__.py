"""A desktop on a virtual screen: display, session bus, window manager, bar, notification server."""

from .application import Application
from .desktop import VirtualDesktop
from .pictures import Picture
from .waiting import DesktopError, eventually, stays, wait_until, wait_until_still

__all__ = [
    "Application", "DesktopError", "Picture", "VirtualDesktop", "eventually", "stays", "wait_until", "wait_until_still",
]
