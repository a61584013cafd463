#!/usr/bin/env python3
"""Checks Docs/FilterSetup.md against the sources: the commands, their options, the exit codes, and the JSON output.

    check_doc.py SOURCE-FOLDER
"""
import json
import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import help_page  # noqa: E402  (the path is set above)

ROOT = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")
PAGE = (ROOT / "Docs/FilterSetup.md").read_text(encoding="utf-8")
FOLDER = ROOT / "Tools/FilterSetup"
OPTIONS = (FOLDER / "Options.cpp").read_text(encoding="utf-8")
SOURCES = "".join(path.read_text(encoding="utf-8") for path in sorted(FOLDER.rglob("*.cpp")))


def commands():
    """Returns the options of each command, from the tables of the source."""
    names = dict(re.findall(r'constexpr Option (k\w+)\{L"(--[a-z-]+)"', OPTIONS))
    lists = {name: {names[option] for option in re.findall(r"k\w+", items)}
             for name, items in re.findall(r"constexpr Option (k\w+)\[\] = \{([^}]*)\};", OPTIONS)}
    return {name: lists[options]
            for name, options in re.findall(r'\{L"([a-z-]+)", Command::\w+, (k\w+)\}', OPTIONS)}


class FilterSetupPage(unittest.TestCase):
    def test_options_and_exit_codes_match_the_help(self):
        help_page.check_options_and_exit_codes(self, PAGE, OPTIONS, {"--help", "--version"})

    def test_every_command_has_a_section_with_its_options(self):
        self.assertEqual(len(commands()), 5)
        sections = dict(re.findall(r"^## ([a-z-]+)\n(.*?)(?=^## |\Z)", PAGE, re.MULTILINE | re.DOTALL))
        self.assertEqual(sorted(sections), sorted(commands()))
        self.assertEqual(sorted(re.findall(r"^  ([a-z-]+)  +[a-z]", OPTIONS.split("Options\n")[0], re.MULTILINE)),
                         sorted(commands()))
        for name, options in commands().items():
            with self.subTest(name):
                used = re.search(rf"^KuvFilterSetup {name}(.*)$", sections[name], re.MULTILINE).group(1)
                self.assertEqual(set(re.findall(r"--[a-z-]+", used)), options)

    def test_option_table_names_the_commands_of_each_option(self):
        rows = re.findall(r"^\| `(--[a-z-]+)[^`]*` \| ([^|]*) \|", PAGE, re.MULTILINE)
        for option, used in rows:
            if option in ("--help", "--version"):
                continue
            with self.subTest(option):
                self.assertEqual(re.findall(r"`([a-z-]+)`", used),
                                 [name for name, options in commands().items() if option in options])

    def test_example_has_the_members_of_the_json_output(self):
        example = json.loads(re.search(r"^```json\n(.*?)^```$", PAGE, re.MULTILINE | re.DOTALL).group(1))
        names = set()
        for part in [example, *example["changes"], *example["failures"], *example["filter"]]:
            names.update(part)
        of_source = set(re.findall(r'(?:status|entry)\["(\w+)"\]', SOURCES))
        of_source.update(re.findall(r'JsonOf\(changes\.\w+\(\), "(\w+)"\)', SOURCES))
        self.assertEqual(names, of_source)

    def test_texts_of_log_and_events_are_those_of_the_sources(self):
        texts = set(re.findall(r'L"(KuvFilterSetup \w+ the filter)"', SOURCES))
        self.assertEqual(len(texts), 2)
        self.assertEqual(texts, set(re.findall(r"`(KuvFilterSetup \w+ the [^`]*)`", PAGE)))


if __name__ == "__main__":
    unittest.main()
