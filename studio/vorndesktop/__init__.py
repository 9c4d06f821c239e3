"""A desktop of one's own on a virtual screen: display, session bus, window manager, bar, notification server."""

from .application import Application
from .desktop import VirtualDesktop
from .pictures import Picture
from .processes import DesktopError, wait_until

__all__ = ["Application", "DesktopError", "Picture", "VirtualDesktop", "wait_until"]
