"""The end-to-end tests share this: the studio's package, and studios that are always stopped at the end."""

import os
import pathlib
import sys

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "studio"))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from vornstudio import Studio  # noqa: E402


@pytest.fixture
def studio():
    """An empty studio."""
    with Studio() as made:
        yield made


@pytest.fixture
def make_studio():
    """A function that starts a studio of any scenario. All are stopped after the test."""
    made = []

    def make(source=None, **options):
        one = Studio(source, **options)
        one.__enter__()
        made.append(one)
        return one

    yield make
    for one in made:
        one.close()


def pytest_configure(config):
    os.environ.setdefault("PYTHONDONTWRITEBYTECODE", "1")
