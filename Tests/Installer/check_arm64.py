#!/usr/bin/env python3
"""Checks the package for ARM64, made from stand-ins: the programs of the build with the machine type of ARM64.

The command line is that of package_script.py.
"""
import pathlib
import shutil
import struct
import subprocess
import tempfile
import unittest

import package_script
from package_script import VERSION
from package_tables import keyed, msiinfo, names, table

PROGRAMS = ("KuvCredFilter.dll", "KuvFilterCheck.exe", "KuvFilterSetup.exe")
ARM64 = 0xAA64


def set_machine(path, machine):
    content = bytearray(path.read_bytes())
    struct.pack_into("<H", content, struct.unpack_from("<I", content, 0x3C)[0] + 4, machine)
    path.write_bytes(content)


def make_programs(folder):
    folder.mkdir(parents=True)
    for name in PROGRAMS:
        shutil.copy(package_script.X64 / name, folder)
        set_machine(folder / name, ARM64)
    return folder


def run(programs, output, *arguments):
    return subprocess.run(package_script.command("--arm64", programs, "--output", output, *arguments),
                          capture_output=True, text=True)


class Arm64Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        work = tempfile.TemporaryDirectory()
        cls.addClassCleanup(work.cleanup)
        cls.work = pathlib.Path(work.name)
        cls.programs = make_programs(cls.work / "programs")
        made = run(cls.programs, cls.work)
        if made.returncode != 0:
            raise AssertionError(made.stderr)
        cls.output = made.stdout
        cls.package = cls.work / f"KuvCredFilter-{VERSION}-arm64.msi"
        cls.other = package_script.package()

    def test_is_a_package_for_arm64(self):
        summary = msiinfo("suminfo", self.package)
        self.assertIn("Template: Arm64;1033\n", summary)
        # The first version of Windows Installer that knows this processor.
        self.assertIn("Version: 500 ", summary)

    def test_contains_the_programs_for_arm64_and_the_32_bit_filter(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["msiextract", "-C", folder, self.package], check=True, stdout=subprocess.DEVNULL)
            found = {path.relative_to(folder).parts[0] + "/" + path.name: path.read_bytes()
                     for path in pathlib.Path(folder).rglob("*") if path.suffix in (".dll", ".exe")}
        expected = {f"PFiles64/{name}": (self.programs / name).read_bytes() for name in PROGRAMS}
        expected["Program Files/KuvCredFilter.dll"] = (package_script.X86 / "KuvCredFilter.dll").read_bytes()
        self.assertEqual({name: len(content) for name, content in found.items()},
                         {name: len(content) for name, content in expected.items()})
        self.assertEqual(found, expected)
        for name in PROGRAMS:
            self.assertIn(f"  arm64/{name}\n", self.output)

    def test_refuses_other_processors_with_a_message(self):
        conditions = keyed(self.package, "LaunchCondition", "Description", "Condition")
        self.assertEqual(
            conditions["This package is for ARM64 processors. On others, install the package for x64."],
            'Installed OR KUV_ARCHITECTURE ~= "ARM64"')

    def test_is_another_product_and_otherwise_like_the_package_for_x64(self):
        codes = [keyed(package, "Property", "Property", "Value") for package in (self.package, self.other)]
        self.assertNotEqual(codes[0].pop("ProductCode"), codes[1].pop("ProductCode"))
        self.assertEqual(*codes)
        self.assertEqual(names(self.package), names(self.other))
        # The summary information has the package code and the processor.
        for name in names(self.package) - {"LaunchCondition", "Property", "_SummaryInformation"}:
            self.assertEqual(*(sorted(map(str, table(package, name))) for package in (self.package, self.other)), name)
        self.assertEqual(len(table(self.package, "LaunchCondition")), len(table(self.other, "LaunchCondition")))

    def test_the_same_programs_make_the_same_bytes(self):
        again = self.work / "again"
        self.assertEqual(run(self.programs, again).returncode, 0)
        self.assertEqual((again / self.package.name).read_bytes(), self.package.read_bytes())


class Refusal(unittest.TestCase):
    def setUp(self):
        work = tempfile.TemporaryDirectory()
        self.addCleanup(work.cleanup)
        self.work = pathlib.Path(work.name)
        self.programs = make_programs(self.work / "programs")

    def refused(self, *arguments):
        output = self.work / "output"
        result = run(self.programs, output, *arguments)
        self.assertNotEqual(result.returncode, 0)
        self.assertFalse(output.exists())
        return result.stderr

    def test_refuses_a_program_for_x64(self):
        for name in PROGRAMS:
            with self.subTest(name):
                set_machine(self.programs / name, 0x8664)
                self.assertIn(f"{name} is for x64, not for arm64", self.refused())
                set_machine(self.programs / name, ARM64)

    def test_refuses_a_32_bit_filter_that_is_none(self):
        tree = self.work / "x86" / "bin"
        tree.mkdir(parents=True)
        shutil.copy(package_script.X64 / "KuvCredFilter.dll", tree)
        self.assertIn("KuvCredFilter.dll is for x64, not for x86", self.refused("--x86-build", tree.parent))

    def test_refuses_programs_of_different_versions(self):
        path = self.programs / "KuvFilterSetup.exe"
        content = bytearray(path.read_bytes())
        # The last number of the file version.
        content[content.index(struct.pack("<I", 0xFEEF04BD)) + 12] ^= 1
        path.write_bytes(content)
        self.assertIn(f"arm64/KuvFilterSetup.exe has the version {VERSION[:-1]}1", self.refused())

    def test_refuses_a_folder_without_a_program(self):
        (self.programs / "KuvFilterCheck.exe").unlink()
        self.assertIn("KuvFilterCheck.exe", self.refused())

    def test_does_not_make_the_package_for_x64_from_programs_for_arm64(self):
        tree = self.work / "x64"
        tree.mkdir()
        self.programs.rename(tree / "bin")
        command = package_script.command("--x64-build", tree, "--version", VERSION, "--output", self.work)
        result = subprocess.run(command, capture_output=True, text=True)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("KuvCredFilter.dll is for arm64, not for x64", result.stderr)


if __name__ == "__main__":
    unittest.main()
