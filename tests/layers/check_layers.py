"""Fails if a source includes what its layer must not know, if the compiler would let it, or if a test mirrors no source.

Usage: check_layers.py SOURCE_FOLDER BUILD_FOLDER
"""

import json
import pathlib
import re
import shlex
import sys

CORE = {"foundation", "platform", "AVB/Util", "devicelist", "devicelist/http", "notification", "virtualentity"}

# Layer: the other layers that it may include.
ALLOWED = {
    "foundation": set(),
    "platform": {"foundation"},
    "AVB/Util": {"foundation"},
    "devicelist/http": {"foundation"},
    "devicelist": {"foundation", "platform", "AVB/Util", "devicelist/http"},
    "notification": {"foundation", "platform", "devicelist", "devicelist/http"},
    "virtualentity": {"foundation", "platform"},
    "platform/linux": {"foundation", "platform"},
    "platform/linux/notifications": {"foundation", "platform", "platform/linux"},
    "ui": CORE,
    "app": CORE | {"platform/linux", "platform/linux/notifications", "ui"},
}

# Toolkit modules that a layer may include. Other layers may include none.
QT_MODULES = {
    "platform/linux/notifications": {"Core", "DBus"},
    "ui": {"Core", "DBus", "Gui", "Widgets", "Svg"},
    "app": {"Core", "DBus", "Gui", "Widgets", "Svg"},
}
QT_NOT_GUI = re.compile(
    r"Q(String|Byte|Char|Core|Object|Settings|File|Dir|Standard|Timer|Variant|List|Map|Hash|Set|Lock|Save|Temp"
    r"|DBus|Meta|Socket|Process|Url$|Pointer|Scope|Mutex|Thread|Date|Elapsed|Global|Debug|Loggin|Json|Event)"
)

# Tests against a real or a hung thing outside, and of whole programs.
OUTSIDE_TEST = re.compile(r"^(Real|Hung)|ProgramTest$")

INCLUDE = re.compile(r'^\s*#include\s+([<"])([^>"]+)[>"]', re.MULTILINE)


def layer_of(path: str) -> str | None:
    """The longest layer name that the path lies in."""
    names = [name for name in ALLOWED if path.startswith(name + "/")]
    return max(names, key=len, default=None)


def qt_fault(layer: str, header: str) -> str | None:
    """What is wrong with the include of this toolkit header, if it is one."""
    name = header.rsplit("/", 1)[-1]
    if not re.match(r"(Qt[A-Z]|Q[A-Z])", name):
        return None
    if layer not in QT_MODULES:
        return "a core layer includes the toolkit"
    if "Gui" not in QT_MODULES[layer] and not QT_NOT_GUI.match(name):
        return "only Qt Core and Qt DBus are for this layer"
    return None


def faults(source_root: pathlib.Path):
    """Every forbidden include, as text."""
    for path in sorted(source_root.rglob("*")):
        if path.suffix not in {".h", ".cpp"}:
            continue
        relative = path.relative_to(source_root).as_posix()
        layer = layer_of(relative)
        if layer is None:
            yield f"{relative}: lies in no layer"
            continue
        for quote, header in INCLUDE.findall(path.read_text(encoding="utf-8")):
            fault = qt_fault(layer, header)
            other = layer_of(header) if quote == '"' else None
            if other is not None and other != layer and other not in ALLOWED[layer]:
                fault = f"{layer} must not know {other}"
            if fault:
                yield f"{relative}: {header}: {fault}"


def known_to(layer: str) -> set[str]:
    """The layer, those that it may include, and those that these include in their headers."""
    return {layer}.union(*(known_to(other) for other in ALLOWED[layer]))


def shown_by(include_folder: pathlib.Path) -> set[str]:
    """The layers whose headers are found in an include folder of a build, which holds links to folders and headers."""
    links = [path for path in include_folder.rglob("*") if path.is_symlink()]
    names = [path.relative_to(include_folder).as_posix() + ("/" if path.is_dir() else "") for path in links]
    nested = {layer for layer in ALLOWED for name in names if name.endswith("/") and f"{layer}/".startswith(name)}
    return nested | {layer for name in names if (layer := layer_of(name))}


def sight_faults(source_root: pathlib.Path, build: pathlib.Path):
    """Every layer that the compiler finds for a source that must not know it, as text."""
    for entry in json.loads((build / "compile_commands.json").read_text(encoding="utf-8")):
        path = pathlib.Path(entry["file"])
        if not path.is_relative_to(source_root):
            continue
        relative = path.relative_to(source_root).as_posix()
        layer = layer_of(relative)
        for word in shlex.split(entry["command"]):
            folder = pathlib.Path(word.removeprefix("-I"))
            if not word.startswith("-I/"):
                continue
            if source_root.is_relative_to(folder):
                yield f"{relative}: finds every layer in {folder}"
            elif folder.is_relative_to(build / "include"):
                for other in sorted(shown_by(folder) - known_to(layer)):
                    yield f"{relative}: finds {other} in {folder}"


def stray_tests(source_root: pathlib.Path):
    """Every test file that does not mirror a source file by its folder and the beginning of its name, as text."""
    tests = source_root.parent / "tests"
    for path in sorted(tests.rglob("*Test.cpp")):
        folder = path.parent.relative_to(tests)
        places = [source_root / folder] if folder != pathlib.Path("tools") else (source_root.parent / folder).iterdir()
        names = {file.stem for place in places if place.is_dir() for file in place.iterdir() if file.is_file()}
        if not OUTSIDE_TEST.search(path.stem) and not any(path.stem.startswith(name) for name in names):
            yield f"{path.relative_to(tests.parent)}: tests no file of {folder}"


def self_test() -> None:
    """The rules must catch what they are for."""
    assert qt_fault("devicelist", "QString")
    assert qt_fault("platform/linux/notifications", "QWidget") and qt_fault("platform/linux/notifications", "QIcon")
    assert not qt_fault("platform/linux/notifications", "QDBusConnection") and not qt_fault("ui", "QWidget")
    assert qt_fault("platform/linux", "QTimer")
    assert layer_of("platform/linux/files/A.h") == "platform/linux" and layer_of("platform/A.h") == "platform"
    assert "devicelist" not in ALLOWED[layer_of("devicelist/http/A.h")]
    assert "devicelist" not in ALLOWED["foundation"]
    assert "foundation" in known_to("ui") and "ui" not in known_to("devicelist")


def main() -> int:
    self_test()
    root, build = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    if not (root / "foundation").is_dir():
        print(f"{root} is not the source folder")
        return 2
    found = [*faults(root), *sight_faults(root, build), *stray_tests(root)]
    print("\n".join(found) or "every include keeps to its layer, and no compiler finds more")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
