"""What the programs link: the terminal program is for machines without a desktop, so it brings no toolkit."""

import os
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]
BIN = pathlib.Path(os.environ["VORN_BIN"])
TOOLKIT = re.compile(r"libQt|libicu|libX11|libxcb|libwayland|libGL")


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, env=os.environ | {"LC_ALL": "C"}).stdout


def needed(program):
    """The libraries that the program itself asks for."""
    return re.findall(r"\(NEEDED\).*\[(.+)\]", output_of("readelf", "-d", BIN / program))


def loaded(program):
    """Those and the ones that they bring."""
    return re.findall(r"^\s*(\S+)", output_of("ldd", BIN / program), re.MULTILINE)


def test_the_terminal_program_links_no_toolkit():
    libraries = needed("vorn-device-list")
    assert any(library.startswith("libc.so") for library in libraries)
    assert not list(filter(TOOLKIT.match, libraries))


def test_no_library_of_the_terminal_program_brings_one():
    libraries = loaded("vorn-device-list")
    assert any(library.startswith("libc.so") for library in libraries)
    assert not list(filter(TOOLKIT.match, libraries))


def test_the_application_links_it():
    """So that the names above are the ones to look for."""
    assert "libQt6Core.so.6" in filter(TOOLKIT.match, needed("vorn-device-finder"))
    assert "libQt6Core.so.6" in filter(TOOLKIT.match, loaded("vorn-device-finder"))


def test_the_terminal_program_is_built_where_there_is_no_toolkit(tmp_path):
    subprocess.run(
        ["cmake", "-S", ROOT, "-B", tmp_path, "-DVORN_BUILD_APP=OFF", "-DVORN_BUILD_TESTS=OFF",
         "-DCMAKE_DISABLE_FIND_PACKAGE_Qt6=ON"], check=True, capture_output=True,
    )
    targets = output_of("cmake", "--build", tmp_path, "--target", "help")
    assert re.search(r"\bvorn-device-list\b", targets) and not re.search(r"\bvorn-device-finder\b", targets)
