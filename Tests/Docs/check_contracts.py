#!/usr/bin/env python3
"""Compares Docs/WindowsContracts.md with the imports and the methods of the DLL, and its tests with the test sources.

    check_contracts.py SOURCE-FOLDER
"""
import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))
from script_module import load_script  # noqa: E402  after the path to it

ROOT = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")
PAGE = (ROOT / "Docs/WindowsContracts.md").read_text(encoding="utf-8")
FIRST_RUN = (ROOT / "Docs/FirstRunOnWindows.md").read_text(encoding="utf-8")


def rows():
    """Returns the cells of each row about functions or methods."""
    found = []
    for table in re.findall(r"^\| (?:Function|Functions|Method) \|.*\n\|[-|]+\|\n((?:\|.*\n)+)", PAGE, re.MULTILINE):
        found += [[cell.strip() for cell in line[1:-1].split("|")] for line in table.splitlines()]
    return found


def names(cell):
    return re.findall(r"`([\w:]+)`", cell)


def imports_of_the_list():
    """Returns the functions that the DLL may import, for every machine, as Scripts/check-binary.py reads them."""
    scripts = ROOT / "Scripts"
    sys.path.insert(0, str(scripts))
    sys.dont_write_bytecode = True
    check_binary = load_script(scripts / "check-binary.py")
    found = set()
    for machine in ("x64", "x86", "arm64"):
        for runtime in ("gcc", "msvc"):
            allowed, _ = check_binary.read_imports(scripts / "binary-imports.txt", machine, runtime)
            # No name: any function of the library.
            found.update(name for _, name in allowed if name)
    return found


def methods_of_the_sources():
    """Returns the COM methods of the classes of the DLL, its exports and its entry point."""
    found = {"DllMain"}
    for header in ("ClassFactory.h", "KuvCredFilter.h"):
        text = (ROOT / "Src/KuvCredFilter" / header).read_text(encoding="utf-8")
        for name, body in re.findall(r"^class (\w+) .*?\{\n(.*?)^\};", text, re.MULTILINE | re.DOTALL):
            found.update(f"{name}::{method}" for method in re.findall(r"STDMETHODCALLTYPE\s+(\w+)\(", body))
    exports = (ROOT / "Src/KuvCredFilter/KuvCredFilter.def").read_text(encoding="utf-8")
    found.update(re.findall(r"^\s+(Dll\w+)", exports, re.MULTILINE))
    return found


def tests_of_the_sources():
    found = set()
    for source in (ROOT / "Tests").rglob("*.cpp"):
        text = source.read_text(encoding="utf-8")
        found.update(".".join(test) for test in re.findall(r"^TEST(?:_[FP])?\((\w+),\s*(\w+)\)", text, re.MULTILINE))
    return found


class Contracts(unittest.TestCase):
    maxDiff = None

    def test_every_import_and_every_method_has_one_row(self):
        of_page = [name for cells in rows() for name in names(cells[0])]
        self.assertEqual(sorted(of_page), sorted(imports_of_the_list() | methods_of_the_sources()))

    def test_sources_have_the_methods_of_two_classes(self):
        self.assertEqual(len(methods_of_the_sources()), 15)

    def test_every_row_is_complete(self):
        for cells in rows():
            with self.subTest(cells[0]):
                self.assertEqual(len(cells), 5)
                self.assertTrue(cells[1] and cells[2] and cells[4])

    def test_a_page_of_one_function_has_its_title(self):
        for cells in rows():
            of_row = names(cells[0])
            if len(of_row) == 1:
                with self.subTest(of_row[0]):
                    method = of_row[0].rpartition("::")[2]
                    title = rf"^(?:I\w+::)?{method}(?:\(REFIID,void\))? (?:function|method) \(\w+\.h\)"
                    self.assertRegex(cells[2], r"^DllMain entry point$" if method == "DllMain" else title)

    def test_every_test_exists(self):
        known = tests_of_the_sources()
        self.assertGreater(len(known), 100)
        for name in sorted(set(re.findall(r"`([A-Z]\w+\.[A-Z]\w+)`", PAGE))):
            with self.subTest(name):
                self.assertIn(name, known)

    def test_every_row_names_a_test(self):
        for cells in rows():
            with self.subTest(cells[0]):
                self.assertRegex(cells[4], r"`[A-Z]\w+\.[A-Z]\w+`")

    def test_every_check_has_its_number_and_anchor(self):
        checks = re.findall(r"\[check (\d+)\]\(FirstRunOnWindows\.md#(\d+)-", PAGE)
        self.assertTrue(checks)
        for number, anchor in checks:
            self.assertEqual(number, anchor)
            self.assertIn(f"\n### {number}. ", FIRST_RUN)


if __name__ == "__main__":
    unittest.main()
