"""Reads CHANGELOG.md."""

import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent


def versions() -> set[str]:
    """The released versions."""
    text = (ROOT / "CHANGELOG.md").read_text(encoding="utf-8")
    return set(re.findall(r"^## ([0-9.]+) ", text, flags=re.MULTILINE))


def items(version: str) -> list[str]:
    """The items of a version's section, each on one line. Without such a section, the items of the unreleased one."""
    parts = re.split(r"^## ", (ROOT / "CHANGELOG.md").read_text(encoding="utf-8"), flags=re.MULTILINE)[1:]
    chosen = next((part for part in parts if part.startswith(version + " ")), parts[0])
    joined = re.sub(r"\n  (?=\S)", " ", chosen)
    return [line[2:] for line in joined.splitlines() if line.startswith("- ")]
