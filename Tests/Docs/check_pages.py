#!/usr/bin/env python3
"""Compares the pages with the sources: log messages, recovery commands, links, and names in code type.

    check_pages.py SOURCE-FOLDER
"""
import json
import pathlib
import re
import sys
import unittest
import urllib.parse
from xml.etree import ElementTree

ROOT = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")
FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"

LITERAL = r'(?:L?"(?:[^"\\]|\\.)*"\s*)+'


def text_of(literals):
    return "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))


def messages_of_the_sources():
    """Returns the level and the format of every log message of the filter and of the library."""
    messages = set()
    for path in [*(ROOT / "Src").rglob("*.cpp"), *(ROOT / "Src").rglob("*.h")]:
        # An example in a comment is not a message.
        source = re.sub(r"^ *//.*$", "", path.read_text(encoding="utf-8"), flags=re.MULTILINE)
        for level, literals in re.findall(rf"KUV_LOG\(\s*LogLevel::(\w+),\s*({LITERAL})", source):
            messages.add((level, text_of(literals)))
        # A call may choose between two formats.
        for level, choices in re.findall(r"KUV_LOG\(\s*LogLevel::(\w+),([^\"]*\?[^;]*)\);", source):
            messages.update((level, text_of(literals)) for literals in re.findall(LITERAL, choices))
    return messages


def messages_of_the_page():
    page = (ROOT / "Docs" / "LogMessages.md").read_text(encoding="utf-8")
    rows = re.findall(r"^\| (Error|Warning|Info|Debug|Trace) \| `(.+?)` \|(.+)\|$", page, re.MULTILINE)
    return [(level, message) for level, message, _ in rows]


class LogMessages(unittest.TestCase):
    # The sources choose these texts and log them with "%s".
    CHOSEN = {
        ("Info", "Remote login session (RDP)"),
        ("Info", "Local login session"),
        ("Debug", "Provider %s is ENABLED."),
        ("Debug", "Provider %s is DISABLED."),
    }

    def test_documents_every_message_once(self):
        page = messages_of_the_page()
        self.assertEqual(len(page), len(set(page)))
        sources = messages_of_the_sources() - {("Info", "%s")} | self.CHOSEN
        self.assertEqual(set(page) - sources, set())
        self.assertEqual(sources - set(page), set())

    def test_chosen_texts_are_in_the_sources(self):
        decision = "".join((ROOT / "Src/KuvCredFilter" / name).read_text(encoding="utf-8")
                           for name in ("Decision.cpp", "FilterDecision.cpp"))
        for _, message in self.CHOSEN:
            self.assertIn(f'"{message}"', decision)


class Recovery(unittest.TestCase):
    KEY = r"Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters" + "\\" + FILTER

    def test_identifier_is_that_of_the_filter(self):
        identifiers = (ROOT / "Src/KuvCredFilter/Identifiers.cpp").read_text(encoding="utf-8")
        self.assertIn(f"// {FILTER}\nconst CLSID CLSID_KuvCredFilter = ", identifiers)
        registration = (ROOT / "Src/KuvCredFilter/SelfRegistration.cpp").read_text(encoding="utf-8")
        # The macro contains the identifier.
        registration = registration.replace("KUV_FILTER_CLSID", f'L"{FILTER}"')
        self.assertIn("SOFTWARE\\" + self.KEY, text_of(registration).replace("\\\\", "\\"))

    def test_registry_file_removes_only_the_filter_from_both_views(self):
        file = (ROOT / "Packaging/Recovery/RemoveFilter.reg").read_text(encoding="ascii").replace("\r\n", "\n")
        self.assertTrue(file.startswith("Windows Registry Editor Version 5.00\n"))
        actions = [line for line in file.splitlines()[1:] if line and not line.startswith(";")]
        self.assertEqual(
            actions,
            [rf"[-HKEY_LOCAL_MACHINE\OFFLINE\{view}{self.KEY}]" for view in ("", "WOW6432Node\\")],
        )

    def test_page_names_both_keys_for_each_method(self):
        page = (ROOT / "Docs/Recovery.md").read_text(encoding="utf-8")
        for root in (r"HKLM\SOFTWARE", r"\\NAME\HKLM\SOFTWARE", r"HKLM\OFFLINE"):
            for view in ("", "WOW6432Node\\"):
                self.assertEqual(page.count(f'reg delete "{root}\\{view}{self.KEY}" /f\n'), 1)


PAGES = [*sorted(ROOT.glob("*.md")), *sorted((ROOT / "Docs").glob("*.md"))]
SOURCE_FOLDERS = ("Src", "Tools", "Packaging", "Examples")
# Only the pages for developers name their contents.
DEVELOPERS_FOLDERS = ("Tests", "Benchmarks", "cmake", ".github")

# Names of the platform and its tools that the sources do not use.
PLATFORM = {"CMAKE_MSVC_RUNTIME_LIBRARY", "CMAKE_PREFIX_PATH", "ExcludedCredentialProviders", "KuvAuth_DIR",
            "LocalAccountTokenFilterPolicy", "MultiThreaded", "NOMINMAX", "ProhibitFallbacks", "WIN32_LEAN_AND_MEAN",
            "VCPKG_ROOT", "WSAStartup", "supportedOS"}


def page_text(page):
    """Returns a page without the table of Windows providers, which check_doc.py compares with the sources."""
    text = page.read_text(encoding="utf-8")
    return re.sub(r"<!-- providers -->.*<!-- end of providers -->", "", text, flags=re.DOTALL)


def prose(page):
    """Returns a page without its code blocks."""
    return re.sub(r"^(`{3,}).*?^\1 *$", "", page_text(page), flags=re.MULTILINE | re.DOTALL)


def anchors(page):
    """Returns the anchors of the headings of a page, as GitHub generates them."""
    found = set()
    for heading in re.findall(r"^#{1,6} +(.+?) *#*$", prose(page), re.MULTILINE):
        text = re.sub(r"!?\[([^]]*)\]\([^)]*\)", r"\1", heading)
        anchor = base = re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")
        number = 0
        while anchor in found:
            number += 1
            anchor = f"{base}-{number}"
        found.add(anchor)
    return found


def words_of(folders):
    words = set()
    for folder in folders:
        for path in (ROOT / folder).rglob("*"):
            # Not the Python files: this one contains every name in PLATFORM.
            if path.is_file() and path.suffix != ".py":
                words.update(re.findall(r"\w+", path.read_text(encoding="utf-8", errors="replace")))
    return words


class Pages(unittest.TestCase):
    def test_every_relative_link_has_a_target(self):
        for page in PAGES:
            links = re.findall(r"\]\(([^)\s]+)\)", re.sub(r"`[^`\n]*`", "", prose(page)))
            for link in links:
                if re.match(r"[a-z]+:", link):
                    continue
                with self.subTest(f"{page.name}: {link}"):
                    path, _, anchor = urllib.parse.unquote(link).partition("#")
                    target = (page.parent / path).resolve() if path else page.resolve()
                    self.assertTrue(target.exists(), "no such file")
                    self.assertTrue(target.is_relative_to(ROOT.resolve()), "outside the tree")
                    if anchor:
                        self.assertIn(anchor, anchors(target))

    def test_every_picture_is_well_formed_and_has_a_description(self):
        for picture in sorted((ROOT / "Docs").glob("*.svg")):
            with self.subTest(picture.name):
                svg = "{http://www.w3.org/2000/svg}"
                root = ElementTree.parse(picture).getroot()
                self.assertTrue(root.findtext(svg + "title") and root.findtext(svg + "desc"))
                self.assertIn("prefers-color-scheme: dark", root.findtext(svg + "style"))

    def test_every_named_script_exists(self):
        workflows = sorted((ROOT / ".github" / "workflows").glob("*.yml"))
        for page in PAGES + workflows:
            for name in set(re.findall(r"\bScripts/[\w-]+\.\w+", page.read_text(encoding="utf-8"))):
                with self.subTest(f"{page.name}: {name}"):
                    self.assertTrue((ROOT / name).is_file())

    def test_every_named_preset_exists(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))
        known = {preset["name"] for kind in presets if kind.endswith("Presets") for preset in presets[kind]}
        for page in PAGES + sorted((ROOT / ".github" / "workflows").glob("*.yml")):
            for name in set(re.findall(r"(?:--preset[ =]|\bpreset: )([\w-]+)", page.read_text(encoding="utf-8"))):
                with self.subTest(f"{page.name}: {name}"):
                    self.assertIn(name, known)

    # Finds misspelled and renamed settings.
    def test_every_name_in_code_type_is_in_the_sources(self):
        words = words_of(SOURCE_FOLDERS) | PLATFORM
        more = words | words_of(DEVELOPERS_FOLDERS)
        for page in PAGES:
            for name in set(re.findall(r"`([A-Za-z]\w*[A-Z_]\w*)`", prose(page))):
                with self.subTest(f"{page.name}: {name}"):
                    self.assertTrue(name in (words if page.parent.name == "Docs" else more))

    def test_every_identifier_is_in_the_sources(self):
        form = r"\{[0-9A-Fa-f]{8}(?:-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}\}"
        known = set()
        for folder in ("Src", "Tools", "Packaging/Installer"):
            for path in (ROOT / folder).rglob("*"):
                if path.is_file():
                    text = path.read_text(encoding="utf-8", errors="replace")
                    known.update(identifier.upper() for identifier in re.findall(form, text))
        self.assertIn(FILTER, known)
        for page in PAGES:
            for identifier in set(re.findall(form, page_text(page))):
                with self.subTest(f"{page.name}: {identifier}"):
                    self.assertIn(identifier.upper(), known)


if __name__ == "__main__":
    unittest.main()
