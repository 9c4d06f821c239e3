"""The terminal program speaks the user's language to people, and no language to other programs."""

import json
import os
import pathlib
import subprocess

import pytest

BINARY = pathlib.Path(os.environ["VORN_BIN"]) / "vorn-device-list"
LOCALES = ("de_DE", "en_US")


@pytest.fixture(scope="session")
def run(tmp_path_factory):
    """Runs the program in an environment of these variables, on a system without a responder and with two languages."""
    locales = tmp_path_factory.mktemp("locales")
    for name in LOCALES:
        subprocess.run(["localedef", "-i", name, "-f", "UTF-8", locales / f"{name}.UTF-8"], check=True)
    names = ("LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES", "LC_CTYPE")
    environment = {name: value for name, value in os.environ.items() if name not in names}
    environment |= {"LOCPATH": str(locales), "DBUS_SYSTEM_BUS_ADDRESS": f"unix:path={locales}/no-bus"}

    def run_program(*arguments, **language):
        return subprocess.run([BINARY, *arguments], env=environment | language, capture_output=True, encoding="utf-8",
                              check=False)

    return run_program


@pytest.mark.parametrize(
    "language",
    [
        {"LANG": "de_DE.UTF-8"},
        {"LANG": "en_US.UTF-8", "LC_MESSAGES": "de_DE.UTF-8"},
        {"LANG": "en_US.UTF-8", "LANGUAGE": "tlh:de:en"},
    ],
)
def test_a_german_user_reads_german(run, language):
    assert run("--help", **language).stdout.startswith("Aufruf: vorn-device-list [OPTION]...\nListet Audio-Interfaces")


@pytest.mark.parametrize(
    "language",
    [
        {},
        {"LANG": "C.UTF-8"},
        {"LANG": "nowhere"},
        {"LANG": "de_DE.UTF-8", "LC_ALL": "C.UTF-8"},
        {"LANG": "de_DE.UTF-8", "LANGUAGE": "en_US:en:de"},
    ],
)
def test_any_other_user_reads_english(run, language):
    assert run("--help", **language).stdout.startswith("Usage: vorn-device-list [OPTION]...\nLists the Vorn audio")


def test_a_help_text_fits_a_terminal_in_every_language(run):
    for language in LOCALES:
        assert max(map(len, run("--help", LANG=f"{language}.UTF-8").stdout.splitlines())) <= 80


def test_messages_keep_their_letters_and_quote_the_argument_as_it_is(run):
    result = run("--%1", LANG="de_DE.UTF-8")
    assert (result.returncode, result.stdout) == (2, "")
    assert result.stderr == "vorn-device-list: es gibt keine Option „--%1“; siehe --help\n"
    result = run("--wait", "ü", LANG="de_DE.UTF-8")
    assert "eine Anzahl von Sekunden zwischen 0 und 86400, nicht „ü“; siehe --help\n" in result.stderr


def test_the_reason_and_the_empty_list_are_in_german(run):
    result = run("--wait", "0", LANG="de_DE.UTF-8")
    assert result.stdout == "Keine lokalen Geräte gefunden.\n"
    assert result.stderr.startswith("vorn-device-list: ") and "DNS-SD-Dienst" in result.stderr


def test_tables_are_for_people_and_the_other_forms_are_for_programs(run):
    table = run("--interfaces", LANG="de_DE.UTF-8").stdout
    assert table.split()[:4] == ["NAME", "SCHNITTSTELLE", "AVB", "VIRTUELLE"]
    assert "keine solche" not in table and "nein: " in table and "unbekannt" in table
    for form in ("json", "csv"):
        german = run("--interfaces", "--format", form, LANG="de_DE.UTF-8")
        assert german.stdout == run("--interfaces", "--format", form, LANG="C.UTF-8").stdout
    assert json.loads(run("--interfaces", "--json", LANG="de_DE.UTF-8").stdout)["interfaces"]
