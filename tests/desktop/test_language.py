"""The program in the user's language, under a bar, and the panel of a user who reads from right to left."""

import pytest

from conftest import LIVE_ROOM, MENU_ENTRIES
from vorndesktop.pictures import span

GERMAN_MENU = [
    "Geräte anzeigen", "Live Room (Aktualisierung 1.4.2 verfügbar)", "Control Room", "Einstellungen",
    "Bei der Anmeldung starten", "Switches anzeigen", "Über Aktualisierungen benachrichtigen",
    "Nach neuer Firmware suchen", "Tastenkürzel", "Über Vorn Device Finder", "Vorn Device Finder beenden",
]
BADGE = (0, 94, 158)


def test_a_german_user_reads_german_in_the_bars_menu_and_in_the_panel(finder):
    finder.desktop.start_xfce_panel()
    finder.start_and_find(LANG="de_DE.UTF-8")
    finder.wait(lambda: [entry["title"] for entry in finder.menu()] == GERMAN_MENU, "the German menu")
    finder.open_panel()
    row = finder.row("Live Room").name
    assert row == "Live Room, Audio-Interface, Firmware 1.4.0+290, Aktualisierung 1.4.2 verfügbar"
    assert finder.panel().named("Einstellungen")


def test_the_login_item_describes_the_program_in_the_users_language(finder):
    finder.desktop.start_xfce_panel()
    finder.start(LANG="de_DE.UTF-8")
    path = f".config/autostart/{finder.application.identifier}.Launcher.desktop"
    finder.wait(lambda: finder.file(path), "the login item")
    assert "Comment=Startet bei der Anmeldung in der Statusleiste\n" in finder.file(path)


def badge(finder):
    """The first and the last column of the panel with the badge's colour, counted from the panel's left edge."""
    left, top, width, height = finder.desktop.geometry(finder.window())
    picture = finder.desktop.picture(left, top, width, height)
    found = span([x for x in range(width) if any(picture.at(left + x, top + y) == BADGE for y in range(height))])
    return found and (*found, width)


@pytest.mark.parametrize(("language", "is_left"), [("ar_EG.UTF-8", True), ("he_IL.UTF-8", True), ("en_US.UTF-8", False)])
def test_the_panel_is_mirrored_for_a_user_who_reads_from_right_to_left(finder, language, is_left):
    """There is no catalogue for these languages, so the texts are English."""
    finder.desktop.start_xfce_panel()
    finder.start_and_find(LANG=language)
    finder.wait_until_listed(MENU_ENTRIES)
    finder.open_panel()
    finder.row("Live Room")
    first, last, width = finder.wait(lambda: badge(finder), "the badge")
    assert LIVE_ROOM in finder.rows()
    assert (last < width / 2) == is_left
    assert (first > width / 2) != is_left
    settings = finder.panel().named("Settings").middle[0] - finder.panel().place[0]
    assert (settings < width / 2) == is_left
