"""scripts/release in a separate repository, where building, testing and packaging are fakes."""

import os
import pathlib
import re
import shutil
import subprocess
import xml.etree.ElementTree as ElementTree

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
NEEDED = (".gitignore", "CHANGELOG.md", "CMakeLists.txt", "cmake", "debian", "packaging", "scripts")
ID = "example.vorn.DeviceFinder"


class Project:
    """A repository with the files that a release needs.

    `test` and `packaging/build-deb` succeed unless a test changes them.
    """

    def __init__(self, folder):
        self.folder = folder
        self._environment = os.environ | {
            "GIT_CONFIG_GLOBAL": os.devnull, "GIT_AUTHOR_NAME": "A", "GIT_AUTHOR_EMAIL": "a@vorn.example",
            "GIT_COMMITTER_NAME": "A", "GIT_COMMITTER_EMAIL": "a@vorn.example",
        }
        for name in NEEDED:
            copy = shutil.copytree if (ROOT / name).is_dir() else shutil.copy
            copy(ROOT / name, folder / name)
        self.git("init", "-q")
        self.stand_in("test")
        self.stand_in("packaging/build-deb")

    def stand_in(self, program, code=0):
        """Adds a program that exits with a code, and commits."""
        path = self.folder / program
        path.write_text(f"#!/bin/sh\nexit {code}\n")
        path.chmod(0o755)
        self.commit()

    def change(self, *items):
        """Commits a visible change with its lines in the changelog."""
        path = self.folder / "CHANGELOG.md"
        lines = "".join(f"- {item}\n" for item in items)
        path.write_text(path.read_text().replace("## Unreleased\n\n", f"## Unreleased\n\n{lines}", 1))
        self.commit()

    def commit(self):
        self.git("add", "-A")
        self.git("commit", "-q", "--allow-empty", "-m", "A change")

    def git(self, *arguments):
        return subprocess.run(
            ["git", *arguments], cwd=self.folder, env=self._environment, check=True, capture_output=True, text=True
        ).stdout

    def release(self, *arguments):
        return subprocess.run(
            ["scripts/release", *arguments], cwd=self.folder, env=self._environment, capture_output=True, text=True,
            check=False,
        )

    def read(self, name):
        return (self.folder / name).read_text()

    def releases(self):
        """The metainfo's releases as (version, date, notes)."""
        return [
            (release.get("version"), release.get("date"), ["".join(item.itertext()) for item in release.iter("li")])
            for release in ElementTree.fromstring(self.read("packaging/metainfo.xml.in")).iter("release")
        ]


def test_the_metainfo_begins_with_the_version_of_the_project():
    version = subprocess.run([ROOT / "scripts/version"], check=True, capture_output=True, text=True).stdout.strip()
    metainfo = ElementTree.parse(ROOT / "packaging" / "metainfo.xml.in")
    newest = next(metainfo.iter("release"))
    assert newest.get("version") == version
    assert [item for item in newest.iter("li")], "what is new in it"


def test_the_packages_changelog_begins_with_the_version_of_the_project():
    version = subprocess.run([ROOT / "scripts/version"], check=True, capture_output=True, text=True).stdout.strip()
    assert (ROOT / "debian" / "changelog").read_text().startswith(f"vorn-device-finder ({version}-1) ")


@pytest.fixture
def project(tmp_path):
    return Project(tmp_path)


def test_each_release_is_added_with_its_own_notes(project, tmp_path_factory):
    project.change("`first` & <only>,\n  on two lines.", "Second.")
    assert project.release("1.0.0").returncode == 0
    project.change("Third.")
    assert project.release("1.1.0").returncode == 0
    (newer, newer_date, newer_notes), (older, older_date, older_notes) = project.releases()
    assert (newer, newer_notes) == ("1.1.0", ["Third."])
    assert (older, older_notes[:2]) == ("1.0.0", ["first & <only>, on two lines.", "Second."])
    assert re.findall(r"^## (.*)$", project.read("CHANGELOG.md"), re.MULTILINE) == [
        "Unreleased", f"1.1.0 ({newer_date})", f"1.0.0 ({older_date})"
    ]
    validate(project.read("packaging/metainfo.xml.in"), tmp_path_factory.mktemp("validated"))


def validate(template, folder):
    """Fails if the desktops' own validator finds an error in the metainfo."""
    for name, value in (("APP_ID", ID), ("HOMEPAGE", "http://www.vorn.example/")):
        template = template.replace(f"@VORN_{name}@", value)
    file = folder / f"{ID}.metainfo.xml"
    file.write_text(re.sub("@VORN_[A-Z_]*@", "vorn", template))
    subprocess.run(["appstreamcli", "validate", "--no-net", file], check=True)


def test_a_release_has_its_version_everywhere_and_a_tag(project):
    project.change("A change.")
    assert project.release("1.2.3").returncode == 0
    (_, date, _), = project.releases()
    assert "project(VornDeviceFinder VERSION 1.2.3 " in project.read("CMakeLists.txt")
    assert f'set(VORN_RELEASE_DATE "{date}" ' in project.read("cmake/VornIdentity.cmake")
    assert project.git("log", "-1", "--format=%s", "v1.2.3") == "Release 1.2.3\n"
    assert project.git("status", "--porcelain") == ""
    changes = project.read("debian/changelog")
    assert changes.startswith("vorn-device-finder (1.2.3-1) ") and "\n  * A change.\n" in changes


def test_the_packages_changelog_keeps_what_was_released(project):
    project.change("First.")
    assert project.release("1.0.0").returncode == 0
    project.change("Second.")
    assert project.release("1.1.0").returncode == 0
    listed = subprocess.run(
        ["dpkg-parsechangelog", "--all", "--file", project.folder / "debian/changelog"], check=True,
        capture_output=True, text=True).stdout
    assert re.findall(r"^ vorn-device-finder \((.*)\)", listed, re.MULTILINE) == ["1.1.0-1", "1.0.0-1"]
    assert listed.count("* First.") == listed.count("* Second.") == 1


@pytest.mark.parametrize("program", ["test", "packaging/build-deb"])
def test_a_release_that_fails_leaves_one_commit_and_no_tag(project, program):
    project.stand_in(program, code=1)
    before = project.git("rev-parse", "HEAD")
    assert project.release("1.2.3").returncode == 1
    assert project.git("rev-parse", "HEAD^") == before
    assert project.git("tag") == project.git("status", "--porcelain") == ""


@pytest.mark.parametrize("arguments", [[], ["1.2"], ["v1.2.3"]])
def test_what_is_no_version_is_refused(project, arguments):
    assert project.release(*arguments).returncode == 2


def test_a_tree_with_uncommitted_changes_is_refused(project):
    (project.folder / "CHANGELOG.md").write_text("another\n")
    assert project.release("1.2.3").returncode == 1
    assert project.git("tag") == "" and project.read("CHANGELOG.md") == "another\n"
