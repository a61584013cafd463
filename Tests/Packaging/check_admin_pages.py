#!/usr/bin/env python3
"""Checks what is written for administrators against the sources.

    check_admin_pages.py SOURCE-FOLDER
"""
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")
FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"

# What only other programs log, through the library.
OTHERS = {"LocalMachineRegistry.cpp", "Registry.cpp", "SocketFailure.cpp", "SystemEvents.cpp"}
LITERAL = r'(?:L?"(?:[^"\\]|\\.)*"\s*)+'


def text_of(literals):
    return "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))


def messages_of_the_sources():
    """Level and format of every message of the filter."""
    messages = set()
    for path in (ROOT / "Src").rglob("*.cpp"):
        if path.name in OTHERS or path.parent.name == "ServiceClient":
            continue
        source = path.read_text(encoding="utf-8")
        for level, literals in re.findall(rf"KUV_LOG\(\s*LogLevel::(\w+),\s*({LITERAL})", source):
            messages.add((level, text_of(literals)))
        # A format that is chosen, or handed on by "%s", stands elsewhere as a whole.
        for level, choices in re.findall(rf"KUV_LOG\(\s*LogLevel::(\w+),([^\"]*\?[^;]*)\);", source):
            messages.update((level, text_of(literals)) for literals in re.findall(LITERAL, choices))
    return messages


def messages_of_the_page():
    page = (ROOT / "Docs" / "LogMessages.md").read_text(encoding="utf-8")
    rows = re.findall(r"^\| (Error|Warning|Info|Debug|Trace) \| `(.+?)` \|(.+)\|$", page, re.MULTILINE)
    return [(level, message) for level, message, _ in rows]


class LogMessages(unittest.TestCase):
    # Written with "%s" for a text that the sources choose from.
    CHOSEN = {
        ("Info", "Remote login session (RDP)"),
        ("Info", "Local login session"),
        ("Debug", "Provider %s is ENABLED."),
        ("Debug", "Provider %s is DISABLED."),
    }

    def test_every_message_is_told_once(self):
        page = messages_of_the_page()
        self.assertEqual(len(page), len(set(page)))
        sources = messages_of_the_sources() - {("Info", "%s")} | self.CHOSEN
        self.assertEqual(set(page) - sources, set())
        self.assertEqual(sources - set(page), set())

    def test_chosen_texts_stand_in_the_sources(self):
        decision = (ROOT / "Src/KuvCredFilter/FilterDecision.cpp").read_text(encoding="utf-8")
        for _, message in self.CHOSEN:
            self.assertIn(f'"{message}"', decision)


class Recovery(unittest.TestCase):
    KEY = r"Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters" + "\\" + FILTER

    def test_identifier_is_the_filters(self):
        identifiers = (ROOT / "Src/KuvCredFilter/Identifiers.cpp").read_text(encoding="utf-8")
        self.assertIn(f"// {FILTER}\nconst CLSID CLSID_KuvCredFilter = ", identifiers)
        registration = (ROOT / "Src/KuvCredFilter/SelfRegistration.cpp").read_text(encoding="utf-8")
        # The macro holds the identifier.
        registration = registration.replace("KUV_FILTER_CLSID", f'L"{FILTER}"')
        self.assertIn("SOFTWARE\\" + self.KEY, text_of(registration).replace("\\\\", "\\"))

    def test_registry_file_removes_the_filter_from_both_views_and_nothing_else(self):
        file = (ROOT / "Packaging/Recovery/RemoveFilter.reg").read_text(encoding="ascii").replace("\r\n", "\n")
        self.assertTrue(file.startswith("Windows Registry Editor Version 5.00\n"))
        actions = [line for line in file.splitlines()[1:] if line and not line.startswith(";")]
        self.assertEqual(
            actions,
            [rf"[-HKEY_LOCAL_MACHINE\OFFLINE\{view}{self.KEY}]" for view in ("", "WOW6432Node\\")],
        )

    def test_page_names_both_keys(self):
        page = (ROOT / "Docs/Recovery.md").read_text(encoding="utf-8")
        for view in ("", "WOW6432Node\\"):
            self.assertIn(f'reg delete "HKLM\\SOFTWARE\\{view}{self.KEY}" /f', page)


if __name__ == "__main__":
    unittest.main()
