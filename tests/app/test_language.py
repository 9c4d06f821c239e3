"""The real program chooses the user's language as other programs on the toolkit do."""

import os
import subprocess

import pytest

from desktop import PROGRAM

ENGLISH = "Shows the Vorn units"
GERMAN = "Zeigt die Vorn-Geräte"


def help_text(**language):
    names = ("LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES")
    environment = {name: value for name, value in os.environ.items() if name not in names}
    done = subprocess.run([PROGRAM, "--help"], env=environment | language, check=True, capture_output=True)
    return done.stdout.decode("utf-8")


@pytest.mark.parametrize(
    "language",
    [
        {"LANG": "de_DE.UTF-8"},
        {"LANG": "de_AT.UTF-8"},
        {"LANG": "en_US.UTF-8", "LC_MESSAGES": "de_DE.UTF-8"},
        {"LANG": "en_US.UTF-8", "LC_MESSAGES": "en_US.UTF-8", "LC_ALL": "de_DE.UTF-8"},
        {"LANG": "en_US.UTF-8", "LANGUAGE": "de"},
        {"LANG": "en_US.UTF-8", "LANGUAGE": "tlh:de_CH:en"},
    ],
)
def test_a_german_user_reads_german(language):
    assert GERMAN in help_text(**language)


@pytest.mark.parametrize(
    "language",
    [
        {},
        {"LANG": "C.UTF-8"},
        {"LANG": "fr_FR.UTF-8"},
        {"LANG": "de_DE.UTF-8", "LANGUAGE": "en_US"},
        {"LANG": "de_DE.UTF-8", "LANGUAGE": "en_GB:en:de"},
        {"LANG": "de_DE.UTF-8", "LC_MESSAGES": "en_US.UTF-8"},
        {"LANG": "de_DE.UTF-8", "LC_ALL": "C.UTF-8"},
    ],
)
def test_any_other_user_reads_english(language):
    assert ENGLISH in help_text(**language)
