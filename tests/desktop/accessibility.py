"""What the program reports to assistive tools, read over their bus like a screen reader."""

import dataclasses

import dbus
import dbus.bus

ACCESSIBLE = "org.a11y.atspi.Accessible"
COMPONENT = "org.a11y.atspi.Component"
PROPERTIES = "org.freedesktop.DBus.Properties"
STATES = {1: "active", 4: "checked", 8: "enabled", 11: "focusable", 12: "focused", 23: "selected", 25: "showing", 30: "visible"}
DIRECTION_MARKS = dict.fromkeys(map(ord, "\u2066\u2067\u2068\u2069\u200e\u200f"))
OF_THE_SCREEN = dbus.UInt32(0)
MENUS = ("menu", "popup menu")
FIRST_OBJECT = 1 << 31  # the toolkit's first number
MOST_OBJECTS = 50  # the most that are searched for a menu


@dataclasses.dataclass
class Node:
    """One thing on the screen: a window, a row, a button."""

    role: str
    name: str
    states: frozenset
    place: tuple  # x, y, width, height on the screen
    children: list

    def all(self, role):
        """The things of a role at any depth, in order."""
        mine = [self] if self.role == role else []
        return mine + [found for child in self.children for found in child.all(role)]

    def named(self, name):
        """The first thing with this name at any depth; None if there is none."""
        if self.name == name:
            return self
        return next((found for child in self.children if (found := child.named(name))), None)

    @property
    def middle(self):
        x, y, width, height = self.place
        return x + width // 2, y + height // 2


class Accessibility:
    """Reads the windows of applications on the bus for assistive tools."""

    def __init__(self, session_address):
        session = dbus.bus.BusConnection(session_address)
        address = session.call_blocking("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", "", ())
        session.close()
        self._bus = dbus.bus.BusConnection(str(address))

    def close(self):
        self._bus.close()

    def windows(self, application):
        """The windows of an application. What disappears during the reading is left out."""
        for reference in self._applications(application):
            return [window for child in self._children(reference) if (window := self._read(child))]
        return []

    def ask_for_changes(self):
        """Makes applications report what appears. Only then do they number the parts of a menu that opens."""
        registry = ("org.a11y.atspi.Registry", "/org/a11y/atspi/registry")
        self._call(registry, "org.a11y.atspi.Registry", "RegisterEvent", "s", "object:state-changed:showing")

    def menu(self, application, first):
        """The menu of an application that begins with this entry; None while there is none."""
        for reference in self._applications(application):
            # An open menu is not among the windows, but every reported thing has a number.
            for number in range(FIRST_OBJECT, FIRST_OBJECT + MOST_OBJECTS):
                candidate = (reference[0], f"/org/a11y/atspi/accessible/{number}")
                entries = self._children(candidate) if self._call(candidate, ACCESSIBLE, "GetRoleName") in MENUS else ()
                if entries and self._property(entries[0], "Name") == first:
                    return self._read(candidate)
        return None

    def _applications(self, name):
        registry = ("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root")
        return [reference for reference in self._children(registry) if self._property(reference, "Name") == name]

    def _children(self, reference):
        return self._call(reference, ACCESSIBLE, "GetChildren") or ()

    def _read(self, reference):
        role = self._call(reference, ACCESSIBLE, "GetRoleName")
        name = self._property(reference, "Name")
        bits = self._call(reference, ACCESSIBLE, "GetState")
        if role is None or name is None or bits is None:
            return None
        number = int(bits[0]) | int(bits[1]) << 32
        states = frozenset(word for bit, word in STATES.items() if number >> bit & 1)
        place = self._call(reference, COMPONENT, "GetExtents", "u", OF_THE_SCREEN) or (0, 0, 0, 0)
        children = [self._read(child) for child in self._children(reference)]
        return Node(
            str(role), str(name).translate(DIRECTION_MARKS), states, tuple(int(number) for number in place),
            [child for child in children if child],
        )

    def _property(self, reference, name):
        value = self._call(reference, PROPERTIES, "Get", "ss", ACCESSIBLE, name)
        return None if value is None else str(value)

    def _call(self, reference, interface, method, signature="", *arguments):
        try:
            return self._bus.call_blocking(str(reference[0]), str(reference[1]), interface, method, signature, arguments)
        except dbus.DBusException:
            return None  # it has gone in the meantime
