"""Every text of the sources is translated into every language, and nothing else is."""

import json
import pathlib
import re
import shutil
import subprocess
import xml.etree.ElementTree as ElementTree

import pytest

ROOT = pathlib.Path(__file__).resolve().parents[2]
REMEDY = "Run scripts/update-translations, then translate what is new in translations/ (CONTRIBUTING.md says how)."
PLACE = re.compile(r"%L?(?:\d|n)")
LANG = "{http://www.w3.org/XML/1998/namespace}lang"


def copy_of_sources(folder):
    """A copy of what the catalogues are made from, and of the catalogues."""
    for name in ("scripts", "translations", "packaging"):
        shutil.copytree(ROOT / name, folder / name)
    for name in ("src", "tools"):
        shutil.copytree(ROOT / name, folder / name, ignore=shutil.ignore_patterns("*.svg"))
    return folder


def languages():
    """The languages that the build knows, without English."""
    told = re.search(r"set\(VORN_LANGUAGES ([^)]*)\)", (ROOT / "cmake" / "VornTranslations.cmake").read_text())
    found = told[1].split()
    assert found[0] == "en"
    return found[1:]


def qt_messages(path):
    """The messages of one of Qt's catalogues: (context, source, comment) and the translations of each."""
    messages = {}
    for context in ElementTree.parse(path).iter("context"):
        for message in context.iter("message"):
            translation = message.find("translation")
            done = "type" not in translation.attrib
            forms = [form.text or "" for form in translation.iter("numerusform")] or [translation.text or ""]
            key = (context.findtext("name"), message.findtext("source"), message.findtext("comment") or "")
            messages[key] = forms if done else [""]
    return messages


def gettext_messages(path):
    """The messages of one of gettext's catalogues: msgctxt and msgid, and the translations of each."""
    text = subprocess.run(["msgattrib", "--no-fuzzy", "--no-obsolete", path], check=True, capture_output=True).stdout
    untranslated = subprocess.run(["msgattrib", "--only-fuzzy", "--no-obsolete", path], check=True, capture_output=True)
    messages = {}
    for block, done in [(text.decode(), True), (untranslated.stdout.decode(), False)]:
        for entry in block.split("\n\n"):
            fields = re.findall(r'^(msg\w+(?:\[\d\])?) ((?:".*"\n?)+)', entry, re.MULTILINE)
            values = {name: "".join(re.findall(r'"(.*)"', value)) for name, value in fields}
            if values.get("msgid"):
                forms = [value for name, value in values.items() if name.startswith("msgstr")]
                messages[values["msgid"]] = forms if done else [""]
    return messages


READERS = {".ts": qt_messages, ".po": gettext_messages}
TEXT = r'((?:"(?:[^"\\]|\\.)*"\s*)+)'
MARKED = re.compile(rf'(?:\btr\(\s*|\b(?:translate|Translatable)\(\s*"\w+",\s*){TEXT}')


def marked_texts(folder):
    """The texts that the sources mark, found in the simplest way. Qt's own tool leaves out what it cannot parse."""
    for path in sorted(folder.rglob("*")):
        if path.suffix in (".cpp", ".h"):
            for literals in MARKED.findall(path.read_text(encoding="utf-8")):
                yield path.name, "".join(json.loads(literal) for literal in re.findall(r'"(?:[^"\\]|\\.)*"', literals))


def faults(root):
    """What is wrong with the catalogues of a tree, as text."""
    fresh = root / "fresh-translations"
    shutil.copytree(root / "translations", fresh)
    subprocess.run([root / "scripts" / "update-translations", "--in", fresh], check=True, capture_output=True)
    known = {source for _, source, _ in qt_messages(fresh / "vorn-device-finder_de.ts")}
    for name, text in marked_texts(root / "src"):
        if text not in known:
            yield f"{name}: lupdate does not see {text!r}; a number of its own variable helps: tr(text, nullptr, number)"
    for path in sorted((root / "translations").iterdir()):
        read = READERS[path.suffix]
        before, after = read(path), read(fresh / path.name)
        for message in before.keys() - after.keys():
            yield f"{path.name}: no source has the text {message}"
        for message, forms in after.items():
            if not all(forms):
                yield f"{path.name}: not translated: {message}"
        if path.suffix == ".ts":
            for (_, source, _), forms in after.items():
                if any(form and set(PLACE.findall(form)) != set(PLACE.findall(source)) for form in forms):
                    yield f"{path.name}: the places for values differ: {source}"


def desktop_faults(text, language):
    """The keys of a desktop file that lack a language. A name of the program itself is not translated."""
    for line in text.splitlines():
        key, _, value = line.partition("=")
        if key in ("GenericName", "Comment", "Keywords", "Name") and not value.startswith("@"):
            if not re.search(rf"^{re.escape(line)}\n{key}\[{language}\]=.", text, re.MULTILINE):
                yield f"{key}[{language}] is missing"


def metainfo_faults(text, language):
    """The texts of a metainfo file that lack a language. The notes of releases are English."""
    component = ElementTree.fromstring(text)
    for release in component.iter("releases"):
        release.clear()
    for parent in component.iter():
        texts = [child for child in parent if child.tag in ("summary", "p", "caption")]
        english = [child for child in texts if LANG not in child.attrib]
        translated = [child for child in texts if child.get(LANG) == language and (child.text or "").strip()]
        if len(english) != len(translated):
            yield f"<{parent.tag}> has {len(translated)} of {len(english)} texts in {language}"


def test_every_text_of_the_programs_is_translated(tmp_path):
    found = list(faults(copy_of_sources(tmp_path)))
    assert not found, "\n".join([*found, REMEDY])


def test_every_language_has_its_two_catalogues():
    names = {path.name for path in (ROOT / "translations").iterdir()}
    expected = {f"vorn-device-{name}" for language in ["en", *languages()]
                for name in (f"finder_{language}.ts", f"list_{language}.po")}
    assert names == expected


@pytest.mark.parametrize("language", languages())
def test_the_desktops_files_are_translated(language):
    assert not list(desktop_faults((ROOT / "packaging" / "desktop.in").read_text(), language))
    assert not list(metainfo_faults((ROOT / "packaging" / "metainfo.xml.in").read_text(), language))


# --- the rules find what they are for ---------------------------------------


def replace(path, old, new):
    text = path.read_text()
    assert old in text
    path.write_text(text.replace(old, new, 1))


@pytest.mark.parametrize(
    ("file", "old", "new", "fault"),
    [
        ("src/ui/StatusMenu.cpp", 'tr("Show Devices")', 'tr("Show New Devices")', "Show New Devices"),
        ("src/ui/StatusMenu.cpp", 'tr("Show Devices")', "QString()", "no source has the text"),
        ("src/ui/DeviceWords.cpp", "nullptr, number)", "nullptr, static_cast<int>(count))", "lupdate does not see"),
        ("src/devicelist/Entry.cpp", '"AVB switch"', '"AVB bridge"', "AVB bridge"),
        ("translations/vorn-device-finder_de.ts", "<translation>Einstellungen<", '<translation type="unfinished"><',
         "not translated"),
        ("translations/vorn-device-finder_de.ts", "%1 beenden", "beenden", "the places for values differ"),
        ("translations/vorn-device-list_de.po", 'msgstr "Keine lokalen Geräte gefunden."', 'msgstr ""',
         "not translated"),
    ],
)
def test_an_untranslated_or_stale_text_is_found(tmp_path, file, old, new, fault):
    root = copy_of_sources(tmp_path)
    replace(root / file, old, new)
    assert any(fault in found for found in faults(root))


def test_a_missing_text_of_the_desktops_files_is_found():
    desktop = "[Desktop Entry]\nName=@NAME@\nComment=Find units\nComment[de]=Finden\nKeywords=AVB;\n"
    assert list(desktop_faults(desktop, "de")) == ["Keywords[de] is missing"]
    assert len(list(desktop_faults(desktop, "fr"))) == 2
    xml = '<c><summary>s</summary><summary xml:lang="de">S</summary><d><p>x</p></d><releases><p>y</p></releases></c>'
    assert list(metainfo_faults(xml, "de")) == ["<d> has 0 of 1 texts in de"]
