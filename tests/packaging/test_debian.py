"""The debian folder agrees with the packages that the repository's own commands install."""

import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
# The name differs in one of the two places, or the package is always there.
SAME = {"g++": None, "pkg-config": "pkgconf"}


def packages_for(*purposes):
    """The packages that ./run and ./test install, each group by its best package."""
    script = f". {ROOT}/scripts/packages.sh; for purpose in {' '.join(purposes)}; do packages_for $purpose; done"
    words = subprocess.run(["bash", "-c", script], check=True, capture_output=True, text=True).stdout.split()
    named = (SAME.get(word, word) for word in (word.split("|")[0] for word in words))
    return {name for name in named if name}


def fields(path, name):
    """The packages that a field names, one set for each paragraph that has it."""
    found = re.findall(rf"^{name}:((?:.*\n)(?: .*\n)*)", (ROOT / "debian" / path).read_text(), re.MULTILINE)
    return [{entry.split()[0] for entry in re.sub(r"\(.*?\)", "", text).split(",") if entry.strip()} for text in found]


def test_the_packages_are_built_with_what_the_commands_install():
    (needed,) = fields("control", "Build-Depends")
    assert needed - {"debhelper-compat"} == packages_for("build")


def test_the_tests_of_the_packages_get_what_the_studio_and_its_desktop_need():
    terminal, application = fields("tests/control", "Depends")
    assert terminal == packages_for("studio") | {"vorn-device-list"}
    assert application == packages_for("studio", "desktop") | {"vorn-device-finder"}
