"""Which compiler flags count: a distribution's, otherwise the project's own."""

import json
import os
import pathlib
import re
import subprocess

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]


def commands(folder, build_type, **environment):
    """The compile commands of the sources for a build of that type."""
    own = {name: value for name, value in os.environ.items() if name not in ("CXXFLAGS", "LDFLAGS")}
    subprocess.run(
        ["cmake", "-G", "Ninja", "-S", ROOT, "-B", folder, f"-DCMAKE_BUILD_TYPE={build_type}",
         "-DVORN_BUILD_TESTS=OFF", "-DVORN_BUILD_APP=OFF"],
        env=own | environment, check=True, capture_output=True,
    )
    entries = json.loads((folder / "compile_commands.json").read_text())
    assert len(entries) > 20
    return [entry["command"] for entry in entries]


def flags(command, pattern):
    return re.findall(rf" ({pattern})(?= )", command)


def link_flags(folder):
    """The flags of the link of the terminal program."""
    text = (folder / "build.ninja").read_text()
    return re.search(r"^build bin/vorn-device-list:.*\n(?:  .*\n)*?  LINK_FLAGS = (.*)$", text, re.MULTILINE)[1]


@pytest.mark.parametrize("build_type", ["None", ""])
def test_the_flags_of_a_distribution_stay(tmp_path, build_type):
    given = "-O1 -D_FORTIFY_SOURCE=3 -fno-stack-protector"
    for command in commands(tmp_path, build_type, CXXFLAGS=given, LDFLAGS="-Wl,-z,lazy"):
        assert flags(command, "-O.*?|-[DU]_FORTIFY_SOURCE.*?|-f[^ ]*stack-protector[^ ]*") == given.split()
    assert "-z,lazy" in link_flags(tmp_path) and "-z,now" not in link_flags(tmp_path)


@pytest.mark.parametrize("surroundings", [{}, {"CXXFLAGS": "-O2", "LDFLAGS": "-Wl,--as-needed"}])
def test_without_any_the_programs_are_hardened(tmp_path, surroundings):
    for command in commands(tmp_path, "", **surroundings):
        assert flags(command, "-[DU]_FORTIFY_SOURCE.*?")[-1] == "-D_FORTIFY_SOURCE=2"
        assert flags(command, "-f[^ ]*stack-protector[^ ]*") == ["-fstack-protector-strong"]
    assert "-z,relro,-z,now" in link_flags(tmp_path)
