"""Prints, as JSON, the texts that a bar draws for a menu from D-Bus: NAME PATH COUNT, with COUNT entries.

The labels come from the library that most bars use for such menus. The label has the text on the screen. The text for
assistive tools is not useful here, because the library drops every "_" from it.
"""

import ctypes
import json
import sys

gtk = ctypes.CDLL("libgtk-3.so.0")
menus = ctypes.CDLL("libdbusmenu-gtk3.so.4")


class List(ctypes.Structure):
    """GList."""


List._fields_ = [("data", ctypes.c_void_p), ("next", ctypes.POINTER(List))]


def function(library, name, result, *arguments):
    found = getattr(library, name)
    found.restype, found.argtypes = result, arguments
    return found


POINTER = ctypes.c_void_p
new_menu = function(menus, "dbusmenu_gtkmenu_new", POINTER, ctypes.c_char_p, ctypes.c_char_p)
iterate = function(gtk, "gtk_main_iteration", ctypes.c_int)
children_of = function(gtk, "gtk_container_get_children", ctypes.POINTER(List), POINTER)
submenu_of = function(gtk, "gtk_menu_item_get_submenu", POINTER, POINTER)
text_of = function(gtk, "gtk_label_get_text", ctypes.c_char_p, POINTER)
is_visible = function(gtk, "gtk_widget_get_visible", ctypes.c_int, POINTER)
is_a = function(gtk, "g_type_check_instance_is_a", ctypes.c_int, POINTER, ctypes.c_size_t)
TYPES = {name: function(gtk, f"gtk_{name}_get_type", ctypes.c_size_t)() for name in ("label", "container", "menu_item")}


def children(widget):
    item = children_of(widget)
    while item:
        yield item.contents.data
        item = item.contents.next


def label_in(widget):
    """The text of the label in an entry; None for a separator."""
    if is_a(widget, TYPES["label"]):
        return text_of(widget).decode()
    inner = children(widget) if is_a(widget, TYPES["container"]) else ()
    return next((text for child in inner if (text := label_in(child)) is not None), None)


def entries(menu):
    """All entries in order. The entries of a submenu come after its own entry."""
    for item in children(menu):
        text = label_in(item) if is_visible(item) else None
        if text is not None:
            yield text
        submenu = submenu_of(item)
        if submenu:
            yield from entries(submenu)


def main():
    name, path, count = sys.argv[1:]
    function(gtk, "gtk_init", None, POINTER, POINTER)(None, None)
    menu = new_menu(name.encode(), path.encode())
    while len(list(entries(menu))) < int(count):
        iterate()
    print(json.dumps(list(entries(menu))))


main()
