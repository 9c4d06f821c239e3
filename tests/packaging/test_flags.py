"""Which compiler flags count: a distribution's, otherwise the project's own."""

import json
import os
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[2]


def commands(folder, build_type, **environment):
    """The compile commands of the sources for a build of that type."""
    subprocess.run(
        ["cmake", "-G", "Ninja", "-S", ROOT, "-B", folder, f"-DCMAKE_BUILD_TYPE={build_type}",
         "-DVORN_BUILD_TESTS=OFF", "-DVORN_BUILD_APP=OFF"],
        env={name: value for name, value in os.environ.items() if name != "CXXFLAGS"} | environment, check=True,
        capture_output=True,
    )
    entries = json.loads((folder / "compile_commands.json").read_text())
    assert len(entries) > 20
    return [entry["command"] for entry in entries]


def flags(command, pattern):
    return re.findall(rf" ({pattern})(?= )", command)


def test_the_flags_of_a_distribution_stay(tmp_path):
    given = "-O1 -D_FORTIFY_SOURCE=3 -fno-stack-protector"
    for command in commands(tmp_path, "None", CXXFLAGS=given):
        assert flags(command, "-O.*?|-[DU]_FORTIFY_SOURCE.*?|-f[^ ]*stack-protector[^ ]*") == given.split()


def test_without_any_the_programs_are_hardened(tmp_path):
    for command in commands(tmp_path, "RelWithDebInfo"):
        assert flags(command, "-[DU]_FORTIFY_SOURCE.*?")[-1] == "-D_FORTIFY_SOURCE=2"
        assert flags(command, "-f[^ ]*stack-protector[^ ]*") == ["-fstack-protector-strong"]
