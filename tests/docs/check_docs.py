"""Fails if the documentation names a test, a file or a page that does not exist.

- docs/reliability.md: every row of a table with a column "tests" names at least one test, as `Suite.Name`, as
  `Suite.*` or as `test_file.py::function`.
- Every page: each link to a file, and each path in backticks that begins with a folder of this tree.
- Every page: no word that the glossary replaces by another one.
- docs/packaging.md: the table of build variables has every variable that CMake keeps.
- docs/architecture.md: the table of layers has the rules of tests/layers.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "layers"))

from check_layers import ALLOWED, CORE  # noqa: E402

PAGES = ["README.md", "CONTRIBUTING.md", "CHANGELOG.md", "studio/README.md", *sorted(
    path.relative_to(ROOT).as_posix() for path in (ROOT / "docs").rglob("*") if path.suffix in {".md", ".in"})]
GLOSSARY = "docs/glossary.md"

TEST = re.compile(r"^\s*TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", re.MULTILINE)
FUNCTION = re.compile(r"^def (test_\w+)", re.MULTILINE)
CODE = re.compile(r"`([^`\n]+)`")
VARIABLE = re.compile(r"(?:(?:option|find_\w+)\(|set\((?=\w+ [^\n]* CACHE ))(VORN_\w+)")
LINK = re.compile(r"\]\((?!https?:)([^)#\s]+)[^)]*\)")
# Parts of a path that stand for something else, and folders that only a build makes.
PLACEHOLDER = re.compile(r"[*<>{}]|^build\b")


def tests_of(folder: pathlib.Path) -> set[str]:
    """Every test below the folder that a CMakeLists.txt beside it names."""
    names = set()
    for path in folder.rglob("*"):
        is_python = path.suffix == ".py" and path.name.startswith("test_")
        if not is_python and path.suffix != ".cpp":
            continue
        text = path.read_text(encoding="utf-8")
        found = FUNCTION.findall(text) if is_python else TEST.findall(text)
        if not found or not is_built(path):
            continue
        for item in found:
            names.add(f"{path.name}::{item}" if is_python else ".".join(item))
    return names


def is_built(path: pathlib.Path) -> bool:
    """Whether CMake knows the test file: C++ by its name, Python also by the part after test_."""
    lists = path.parent / "CMakeLists.txt"
    if not lists.is_file():
        return False
    words = set(re.findall(r"[\w.]+", lists.read_text(encoding="utf-8")))
    return path.name in words or path.suffix == ".py" and path.stem.removeprefix("test_") in words


def exists(name: str, tests: set[str]) -> bool:
    if name.endswith(".*"):
        return any(test.startswith(name[:-1]) for test in tests)
    return name in tests


def tables(page: str):
    """Each table's header and rows, as lists of cells, with the line of a row."""
    header = None
    for number, line in enumerate(page.splitlines(), 1):
        if not line.startswith("|"):
            header = None
            continue
        cells = [cell.strip() for cell in line.strip("|").split("|")]
        if header is None:
            header = cells
        elif not set(line) <= set("|- :"):
            yield header, cells, number


def test_faults(page: str, tests: set[str]):
    """What is wrong with the tests that a page of faults names."""
    rows = 0
    for header, cells, number in tables(page):
        if "tests" not in header:
            continue
        rows += 1
        if len(cells) != len(header):
            yield f"line {number}: {len(cells)} cells below a header of {len(header)}"
            continue
        named = CODE.findall(cells[header.index("tests")])
        if not named:
            yield f"line {number}: names no test"
        for name in named:
            if not exists(name, tests):
                yield f"line {number}: there is no test {name}"
    if rows == 0:
        yield "has no row that names tests"


def path_faults(page: str, folder: pathlib.Path, root: pathlib.Path):
    """Every linked or named file that is missing."""
    for link in LINK.findall(page):
        if not (folder / link).exists():
            yield f"there is no {link} to link to"
    tops = {path.name for path in root.iterdir() if path.is_dir()}
    for code in CODE.findall(page):
        path = code.split()[0].rstrip(":,")
        if "/" not in path or path.split("/")[0] not in tops or PLACEHOLDER.search(path):
            continue
        if not (root / path).exists():
            yield f"there is no {path}"


def layer_faults(page: str, allowed: dict[str, set[str]]):
    """Every layer whose row differs from the rules; "the core" in a row means its layers."""
    told = {}
    for header, cells, _ in tables(page):
        if "may include" in header:
            layer, last = CODE.findall(cells[0])[0].rstrip("/"), cells[header.index("may include")]
            told[layer] = set(CODE.findall(last)) | (CORE if "the core" in last else set())
    for layer in sorted(allowed.keys() | told.keys()):
        if told.get(layer) != allowed.get(layer):
            yield f"the layer {layer} may include {sorted(allowed.get(layer, ['nothing: it is no layer']))}"


def replaced_words(glossary: str) -> dict[str, str]:
    """The words that nobody shall write, each with the word for it."""
    return {
        word: cells[0]
        for header, cells, _ in tables(glossary) if "do not write" in header
        for word in re.split(r",\s*", cells[header.index("do not write")]) if word
    }


def word_faults(page: str, replaced: dict[str, str]):
    """Every word that has another one in the glossary, but for names in backticks and links."""
    prose = re.sub(r"```.*?```|`[^`\n]*`|\]\([^)]*\)", " ", page, flags=re.DOTALL)
    for word, instead in replaced.items():
        for _ in re.findall(rf"\b{re.escape(word)}s?\b(?!\.conf)", prose, re.IGNORECASE):
            yield f'"{word}" is written "{instead}" here'


def variable_faults(page: str, cmake: str):
    """Every build variable that a builder may set and that the table leaves out, or that it has too many."""
    told = {
        name for header, cells, _ in tables(page) if header[0] == "variable"
        for name in CODE.findall(cells[0]) if name.startswith("VORN_")
    }
    for name in sorted(told ^ set(VARIABLE.findall(cmake))):
        yield f"the build variable {name} stands here or in CMake alone"


def self_test() -> None:
    """The rules must find what they are for."""
    tests = {"SuiteTest.Works", "test_a.py::test_b"}
    table = "| fault | tests |\n| --- | --- |\n| x | {} |\n"
    assert not list(test_faults(table.format("`SuiteTest.Works`, `test_a.py::test_b`, `SuiteTest.*`"), tests))
    assert list(test_faults(table.format("`SuiteTest.Fails`"), tests))
    assert list(test_faults(table.format("`test_a.py::test_c`"), tests))
    assert list(test_faults(table.format("`Other.*`"), tests)) and list(test_faults(table.format("nothing"), tests))
    assert list(test_faults("no table", tests))
    assert list(path_faults("`docs/none.md`", ROOT, ROOT)) and list(path_faults("[x](none.md)", ROOT, ROOT))
    assert not list(path_faults("`docs/glossary.md` `build/x` [x](README.md)", ROOT, ROOT))
    layers = "| layer | may include |\n| --- | --- |\n| `a/` | `b` |\n| `b/` | nothing |\n"
    assert not list(layer_faults(layers, {"a": {"b"}, "b": set()}))
    assert list(layer_faults(layers, {"a": set(), "b": set()})) and list(layer_faults(layers, {"a": {"b"}}))
    variables = "| variable | default |\n| --- | --- |\n| `VORN_A`, `VORN_B` | x |\n"
    cmake = 'option(VORN_A "a" ON)\nset(VORN_B "b" CACHE STRING "b")\nset(VORN_OURS "c")\n'
    assert not list(variable_faults(variables, cmake)) and list(variable_faults(variables, cmake + "option(VORN_C "))
    assert list(variable_faults(variables, "option(VORN_A "))
    words = replaced_words("| word | meaning | do not write |\n| --- | --- | --- |\n| unit | x | box, endpoint |\n")
    assert words == {"box": "unit", "endpoint": "unit"}
    assert list(word_faults("two Boxs", words)) and not list(word_faults("`box` and boxing", words))


def main() -> int:
    self_test()
    replaced = replaced_words((ROOT / GLOSSARY).read_text(encoding="utf-8"))
    found = [f"docs/reliability.md: {fault}" for fault in test_faults(
        (ROOT / "docs/reliability.md").read_text(encoding="utf-8"), tests_of(ROOT / "tests"))]
    found += [f"docs/architecture.md: {fault}" for fault in layer_faults(
        (ROOT / "docs/architecture.md").read_text(encoding="utf-8"), ALLOWED)]
    cmake = "".join(path.read_text(encoding="utf-8") for path in (
        ROOT / "CMakeLists.txt", *(ROOT / "cmake").glob("*.cmake"), *(ROOT / "src").rglob("CMakeLists.txt")))
    found += [f"docs/packaging.md: {fault}" for fault in variable_faults(
        (ROOT / "docs/packaging.md").read_text(encoding="utf-8"), cmake)]
    for name in PAGES:
        page = (ROOT / name).read_text(encoding="utf-8")
        found += [f"{name}: {fault}" for fault in path_faults(page, (ROOT / name).parent, ROOT)]
        if name != GLOSSARY:
            found += [f"{name}: {fault}" for fault in word_faults(page, replaced)]
    print("\n".join(found) or "every test, file and word of the documentation is right")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
