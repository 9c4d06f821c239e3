"""The debian folder agrees with the packages that the repository's own commands install."""

import json
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
    entries = [re.sub(r"\(.*?\)|<.*?>|:native", "", text).split(",") for text in found]
    return [{entry.strip() for entry in names if entry.strip()} for names in entries]


def test_the_packages_are_built_with_what_the_commands_install():
    (needed,) = fields("control", "Build-Depends")
    tests = {"libgmock-dev", "libgtest-dev", "locales"}
    assert needed - {"debhelper-compat"} == packages_for("build") | tests


def test_the_tests_of_the_packages_get_what_the_studio_and_its_desktop_need():
    terminal, application = fields("tests/control", "Depends")
    assert terminal == packages_for("studio") | {"vorn-device-list"}
    assert application == packages_for("studio", "desktop") | {"vorn-device-finder"}


def test_the_tests_at_the_packages_build_need_neither_bus_nor_network_nor_python(tmp_path):
    subprocess.run(["cmake", "-G", "Ninja", "-S", ROOT, "-B", tmp_path, "-DVORN_BUILD_TESTS=core"], check=True,
                   capture_output=True)
    command = ["ctest", "--test-dir", tmp_path, "--show-only=json-v1"]
    tests = json.loads(subprocess.run(command, check=True, capture_output=True, text=True).stdout)["tests"]
    labels = {test["name"]: {p["name"]: p["value"] for p in test["properties"]}["LABELS"] for test in tests}
    assert len(labels) > 15
    assert {tuple(found) for found in labels.values()} == {("core",)}, labels
