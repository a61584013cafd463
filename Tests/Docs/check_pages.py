#!/usr/bin/env python3
"""Compares the pages with the sources: log messages, recovery commands, links, names in code type, and tables of
contents. Also requires for every command that a test runs it, or that the page marks it as not tried.

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
            "LocalAccountTokenFilterPolicy", "MOVEFILE_REPLACE_EXISTING", "MultiThreaded", "NOMINMAX",
            "PendingFileRenameOperations", "ProhibitFallbacks", "VCPKG_ROOT", "WIN32_LEAN_AND_MEAN", "WSAStartup",
            "supportedOS"}
PLACEHOLDERS = {"NEW", "OLD", "OLDVERSION", "VERSION"}


def page_text(page):
    """Returns a page without the table of Windows providers, which check_doc.py compares with the sources."""
    text = page.read_text(encoding="utf-8")
    return re.sub(r"<!-- providers -->.*<!-- end of providers -->", "", text, flags=re.DOTALL)


def prose(page):
    """Returns a page without its code blocks."""
    return re.sub(r"^(`{3,}).*?^\1 *$", "", page_text(page), flags=re.MULTILINE | re.DOTALL)


def headings(page):
    """Returns the marks, the text, and the anchor of each heading of a page, as GitHub generates them."""
    found = {}
    for marks, heading in re.findall(r"^(#{1,6}) +(.+?) *#*$", prose(page), re.MULTILINE):
        text = re.sub(r"!?\[([^]]*)\]\([^)]*\)", r"\1", heading)
        anchor = base = re.sub(r"[^\w\- ]", "", text.lower()).replace(" ", "-")
        number = 0
        while anchor in found:
            number += 1
            anchor = f"{base}-{number}"
        found[anchor] = marks, heading
    return [(*heading, anchor) for anchor, heading in found.items()]


def anchors(page):
    return {anchor for *_, anchor in headings(page)}


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

    def test_the_index_lists_every_page(self):
        index = (ROOT / "Docs/README.md").read_text(encoding="utf-8")
        section = index.partition("\n## All pages\n")[2].partition("\n## ")[0]
        linked = re.findall(r"\]\((\w+\.md)\)", section)
        self.assertEqual(sorted([*linked, "README.md"]), sorted(page.name for page in (ROOT / "Docs").glob("*.md")))

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
        imports = (ROOT / "Scripts/binary-imports.txt").read_text(encoding="ascii")
        words = words_of(SOURCE_FOLDERS) | PLATFORM | PLACEHOLDERS | set(re.findall(r"\w+", imports))
        more = words | words_of(DEVELOPERS_FOLDERS)
        for page in PAGES:
            for name in set(re.findall(r"`([A-Za-z]\w*[A-Z_]\w*)`", prose(page))):
                with self.subTest(f"{page.name}: {name}"):
                    self.assertTrue(name in (words if page.parent.name == "Docs" else more))

    def test_every_identifier_is_in_the_sources(self):
        form = r"\{[0-9A-Fa-f]{8}(?:-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}\}"
        # The audit subcategory Registry of Windows.
        known = {"{0CCE921E-69AE-11D9-BED3-505054503030}"}
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


PAGES_OF_DOCS = sorted((ROOT / "Docs").glob("*.md"))
# Its first paragraph marks all of it.
FIRST_RUN = ROOT / "Docs/FirstRunOnWindows.md"
# The languages of code blocks: commands, and everything else.
COMMANDS = {"bat", "powershell", "sh"}
NO_COMMANDS = {"cmake", "cpp", "json", "text", "xml"}
NOT_TRIED = r"(?i)\b(?:not (?:been )?tried|not run here|untested)\b"
LINK_TO_CHECK = r"\]\((?:Docs/)?FirstRunOnWindows\.md#\d+-"
# The programs of commands in code type, each with an argument.
PROGRAMS = (r"(?:auditpol|bcdedit|cmake|del|dir|gpupdate|icacls|manage-bde|msiexec|powershell|reg|regsvr32|sc\.exe|"
            r"schtasks|takeown|wecutil|wevtutil|winrs|Enter-PSSession|Get-\w+|Invoke-Command)")


def contents_links(page):
    """Returns text and anchor of each link in the table of contents: a paragraph, and a list if it has no links."""
    match = re.search(r"^Contents:(.*?)\n\n(.*?)(?:\n\n|\Z)", prose(page), re.MULTILINE | re.DOTALL)
    if not match:
        return None
    return re.findall(r"\[([^]]+)\]\(#([^)]+)\)", match[1] if match[1].strip() else match[2])


def plain(heading):
    """Returns a heading without its number, which a numbered list repeats."""
    return re.sub(r"^\d+\. ", "", heading).replace("`", "")


class Contents(unittest.TestCase):
    def test_every_page_lists_its_sections_in_order(self):
        for page in PAGES_OF_DOCS:
            sections = [(plain(heading), anchor) for marks, heading, anchor in headings(page) if marks == "##"]
            with self.subTest(page.name):
                links = contents_links(page)
                self.assertIsNotNone(links, "no paragraph that begins with Contents:")
                # There may be links to subsections as well; test_every_relative_link_has_a_target follows them.
                known = {anchor for _, anchor in sections}
                of_sections = [(plain(text), anchor) for text, anchor in links if anchor in known]
                self.assertEqual(of_sections, sections)


def code_blocks(page):
    """Returns the language, the lines, the mark, and the paragraph before each code block of a page."""
    for match in re.finditer(r"^```(\w*)\n(.*?)^```$", page_text(page), re.MULTILINE | re.DOTALL):
        before = page_text(page)[:match.start()].rstrip("\n")
        mark = re.search(r"^<!-- run: ([^ ,]+)(?:, [^>]*)? -->\Z", before, re.MULTILINE)
        paragraph = before[:mark.start() if mark else len(before)].rstrip("\n").rpartition("\n\n")[2]
        yield match[1], match[2].splitlines(), mark and mark[1], paragraph


def paragraphs(page):
    """Returns the paragraphs of a page without code blocks, and each row of a table with the mark of the table."""
    for block in prose(page).split("\n\n"):
        mark = re.search(r"^<!-- run: ([^ ,]+) -->$", block, re.MULTILINE)
        rows = block.split("\n") if re.search(r"^\|", block, re.MULTILINE) else [block]
        for row in rows:
            yield row, mark and mark[1]


def runs(test, page):
    """Returns whether a file is a test that reads this page."""
    path = ROOT / test
    return path.is_file() and test.startswith("Tests/") and page.name in path.read_text(encoding="utf-8")


class Commands(unittest.TestCase):
    def test_every_code_block_has_a_known_language(self):
        for page in PAGES_OF_DOCS:
            for language, lines, *_ in code_blocks(page):
                with self.subTest(f"{page.name}: {lines[0]}"):
                    self.assertIn(language, COMMANDS | NO_COMMANDS)

    def test_every_command_block_is_run_by_a_test_or_marked(self):
        found = set()
        for page in PAGES_OF_DOCS:
            for language, lines, test, before in code_blocks(page):
                if language not in COMMANDS or page == FIRST_RUN:
                    continue
                with self.subTest(f"{page.name}: {lines[0]}"):
                    tried = not re.search(NOT_TRIED, before)
                    # No test has a PowerShell.
                    self.assertFalse(tried and language == "powershell", "not marked")
                    self.assertEqual(tried, test is not None, "either a mark of a test, or \"not tried\" before it")
                    if tried:
                        self.assertTrue(runs(test, page), f"{test} is not a test that reads the page")
                        found.add(page.name)
        self.assertLessEqual({"Deployment.md", "Recovery.md", "Upgrade.md"}, found)

    def test_every_command_in_code_type_is_run_by_a_test_or_marked(self):
        # The test above holds the blocks. A name of a command, such as "reg import", is a part of a line of a block.
        of_blocks = {line for page in PAGES_OF_DOCS for language, lines, *_ in code_blocks(page)
                     if language in COMMANDS for line in lines}
        for page in PAGES_OF_DOCS:
            if page == FIRST_RUN:
                continue
            for text, test in paragraphs(page):
                for command in re.findall(rf"`({PROGRAMS} [^`]+)`", text):
                    with self.subTest(f"{page.name}: {command}"):
                        marked = re.search(NOT_TRIED, text) and re.search(LINK_TO_CHECK, text)
                        known = any(command in line for line in of_blocks)
                        self.assertTrue(marked or known or test and runs(test, page))

    def test_every_option_of_a_program_exists(self):
        options = {}
        for name in ("FilterCheck", "FilterSetup"):
            source = (ROOT / f"Tools/{name}/Options.cpp").read_text(encoding="utf-8")
            # The lines of its help, which another test compares with the options.
            options[name] = re.findall(r"^  (--[a-z-]+)", source, re.MULTILINE)
        for page in PAGES:
            for name, arguments in re.findall(r"\bKuv(FilterCheck|FilterSetup)(?:\.exe)?\"?((?: [^\n`]*)?)",
                                              page_text(page)):
                used = set(re.findall(r"(?<!\S)\[?(--[a-z-]+)", arguments)) - {"--help"}
                with self.subTest(f"{page.name}: Kuv{name}{arguments}"):
                    self.assertLessEqual(used, {*options[name], "--version"})

    def test_everything_not_tried_refers_to_a_check(self):
        for page in [ROOT / "README.md", *PAGES_OF_DOCS]:
            if page == FIRST_RUN:
                continue
            for text, _ in paragraphs(page):
                if re.search(NOT_TRIED, text):
                    with self.subTest(f"{page.name}: {text[:80]}"):
                        self.assertIn("FirstRunOnWindows.md", text)

    def test_checks_on_windows_are_numbered_and_can_be_ticked(self):
        text = FIRST_RUN.read_text(encoding="utf-8")
        checks = re.split(r"^### ", text, flags=re.MULTILINE)[1:]
        self.assertEqual([int(check.split(".")[0]) for check in checks], list(range(1, len(checks) + 1)))
        for check in checks:
            self.assertIn("\n- [ ] ", check, check.splitlines()[0])


if __name__ == "__main__":
    unittest.main()
