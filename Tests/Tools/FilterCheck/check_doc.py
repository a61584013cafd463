#!/usr/bin/env python3
"""Checks Docs/FilterCheck.md against the sources: the findings, the fields of the JSON output, the options and the
exit codes.

    check_doc.py SOURCE-FOLDER [--write]

--write updates the tables of fields in the page.
"""
import json
import pathlib
import re
import sys
import unittest

import field_tables
import json_schema

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent))
import help_page  # noqa: E402  (the path is set above)

WRITE = "--write" in sys.argv and not sys.argv.remove("--write")
ROOT = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")
PAGE = ROOT / "Docs" / "FilterCheck.md"
SOURCES = ROOT / "Tools" / "FilterCheck"
# The name of a part of the page, its schema, and the title of the first table.
GENERATED = [("fields", "FilterCheck.schema.json", "answer"), ("event", "FilterCheckEvent.schema.json", "event")]
STOCK_HEADER = (SOURCES / "Model/StockProviders.h").read_text(encoding="utf-8")
STOCK = (SOURCES / "Model/StockProviders.cpp").read_text(encoding="utf-8")
STOCK_ROWS = re.findall(r'\{"(\{[-0-9A-F]{36}\})",\s*"([^"]+)",\s*Asks::(\w+)\}', STOCK)
FINDING_ID = r"[a-z][a-z0-9-]*\.[a-z0-9][a-z0-9-]*"


def page_text():
    return PAGE.read_text(encoding="utf-8")


def with_tables(page):
    """Returns the page with the tables of fields that the schemas generate."""
    for name, schema, title in GENERATED:
        start, end = f"<!-- {name} -->\n\n", f"<!-- end of {name} -->\n"
        tables = field_tables.tables(json.loads((ROOT / "Docs" / schema).read_text(encoding="utf-8")), title)
        page = page[:page.index(start) + len(start)] + tables + page[page.index(end):]
    return page


class FilterCheckPage(unittest.TestCase):
    def test_every_finding_is_documented_once(self):
        # Names such as "ntdll.dll" match the pattern as well.
        of_sources = {name for path in SOURCES.rglob("*.cpp")
                      for name in re.findall(rf'"({FINDING_ID})"', path.read_text(encoding="utf-8"))
                      if not name.endswith(".dll")}
        of_page = re.findall(rf"^\| `({FINDING_ID})` \|", page_text(), re.MULTILINE)
        self.assertGreater(len(of_page), 30)
        self.assertEqual(sorted(of_page), sorted(of_sources))

    def test_fields_match_the_schemas(self):
        self.assertEqual(page_text(), with_tables(page_text()))

    def test_example_of_an_event_matches_its_schema(self):
        example = re.search(r"```json\n(\{\"coverage\".*?\})\n```", page_text(), re.DOTALL).group(1)
        event = json.loads(example)
        schema = json.loads((ROOT / "Docs/FilterCheckEvent.schema.json").read_text(encoding="utf-8"))
        self.assertEqual(json_schema.errors(event, schema), [])
        # The order in which the program writes the fields, and no space between them.
        self.assertEqual(json.dumps(event, separators=(",", ":"), sort_keys=True), example.replace("\n", ""))
        self.assertLessEqual(set(event["findings"]), set(re.findall(rf"^\| `({FINDING_ID})` \|", page_text(), re.M)))

    def test_providers_match_the_table(self):
        texts = re.findall(r'"([^"]+)"', re.search(r"kTexts\[\] = \{([^}]*)\}", STOCK).group(1))
        kinds = re.findall(r"^  (\w+),", re.search(r"enum class Asks[^}]*\}", STOCK_HEADER).group(), re.MULTILINE)
        asks = dict(zip(kinds, texts))
        of_source = {(name, identifier, asks[kind]) for identifier, name, kind in STOCK_ROWS}
        row = r"^\| ([^|]+) \| `(\{[-0-9A-F]+\})` \| ([^|]+) \| (?:SDK: `\w+`|registry) \|$"
        of_page = re.findall(row, page_text(), re.MULTILINE)
        self.assertGreater(len(of_page), 25)
        self.assertEqual(sorted(of_page), sorted(of_source))

    def test_options_and_exit_codes_match_the_help(self):
        help_text = (SOURCES / "Options.cpp").read_text(encoding="utf-8")
        # ApplyOptions handles --help for all tools.
        help_page.check_options_and_exit_codes(self, page_text(), help_text, {"--help"})


if WRITE:
    PAGE.write_text(with_tables(page_text()), encoding="utf-8")
else:
    unittest.main()
