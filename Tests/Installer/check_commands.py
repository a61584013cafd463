#!/usr/bin/env python3
"""Runs the commands of the pages for administrators under Wine, exactly as printed, in the order of a first
installation: deployment, check, upgrade, recovery, repair, and uninstall.

A command block of a page is run if the comment before it names this file. The comment may also contain the exit code,
and "once" if the block cannot be run again; every other block is run twice. The machine has the credential providers of
Tools/FilterHost/Sample.reg. The command line of this file is that of package_script.py.
"""
import pathlib
import re
import shutil
import sys
import unittest

import package_script
import wine_machine
from package_script import VERSION, WORK, X64, package

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))
from page_marks import marked_blocks, marked_lines  # noqa: E402  after the path to it

TEST = "Tests/Installer/check_commands.py"
ROOT = package_script.SOURCE
OLDER = ".".join([*VERSION.split(".")[:2], str(int(VERSION.split(".")[2]) - 1), "65535"])
FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"
SOFTWARE = r"HKEY_LOCAL_MACHINE\Software"
LIST = r"\Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters" + "\\" + FILTER
VIEWS = (SOFTWARE, SOFTWARE + r"\Wow6432Node")
SETTINGS = SOFTWARE + r"\Kuvant\KuvCredProv"
POLICY = SOFTWARE + r"\Policies\Kuvant\KuvCredProv"
MARK = SOFTWARE + r"\Kuvant\KuvCredFilter"
KEY = "sample-key-that-signs-nothing"
# The programs that an administrator has in D:\Deploy, and the example program of the library.
PROGRAMS = ("KuvFilterSetup.exe", "KuvFilterCheck.exe", "KuvSignedRequest.exe")


def setUpModule():
    global machine, deploy
    machine = wine_machine.Machine(ROOT / "Scripts/wine.sh", WORK)
    unittest.addModuleCleanup(machine.stop)
    # Drive D is a folder of the test, with the files that the pages expect there.
    drive = WORK / "drive_d"
    shutil.rmtree(drive, ignore_errors=True)
    deploy = drive / "Deploy"
    deploy.mkdir(parents=True)
    link = machine.prefix / "dosdevices/d:"
    link.unlink(missing_ok=True)
    link.symlink_to(drive)
    (machine.drive / "Temp").mkdir()
    (deploy / "skey.txt").write_text(KEY + "\n")
    # Not in the folder of the packages: another test makes the same one there.
    package_script.make(OLDER, deploy)
    for file in (*(X64 / name for name in PROGRAMS), package(VERSION)):
        shutil.copy(file, deploy)
    machine.add_sample_providers(ROOT)
    # Another class, as on any machine. When an uninstall leaves the key of the 32-bit classes empty, Wine deletes it,
    # and then writes 32-bit classes to the 64-bit ones.
    machine.must("reg", "add", SOFTWARE + r"\Classes\Wow6432Node\CLSID\{0F1E2D3C-4B5A-4678-8796-A5B4C3D2E1F0}", "/f")


def page_text(name):
    return (ROOT / "Docs" / name).read_text(encoding="utf-8")


def blocks(name, section=None):
    """Returns the lines of the marked blocks of a page, their exit codes, and whether they are run once."""
    text = page_text(name)
    if section:
        [text] = re.findall(rf"^## {re.escape(section)}\n(.*?)(?=^## |\Z)", text, re.MULTILINE | re.DOTALL)
    found = marked_blocks(text, TEST)
    if not found:
        raise AssertionError(f"{name} has no command for this test")
    return [(lines, {int(code) for code in re.findall(r"\d+", options)} or {0}, "once" in options)
            for options, lines in found]


class FirstInstallation(unittest.TestCase):
    """One machine, from the first page to the last: the steps follow each other."""

    maxDiff = None

    def run_line(self, line, codes):
        self.lines.add(line)
        for placeholder, value in (("OLDVERSION", self.old), ("VERSION", self.version)):
            line = re.sub(rf"\b{placeholder}\b", value, line)
        if not line.isascii():
            # A batch file has the code page of Wine's console.
            program, *words = (word.strip('"') for word in re.findall(r'"[^"]*"|\S+', line))
            code, output = machine.run(str(X64 / f"{program}.exe"), *words)
            self.assertIn(code, codes, f"{line}\n{output}")
            return output
        batch = WORK / "line.bat"
        batch.write_bytes(f"@echo off\r\nd:\r\ncd \\Deploy\r\n{line}\r\nexit %errorlevel%\r\n".encode("utf-8"))
        code, output = machine.run("cmd", "/c", machine.windows(batch))
        self.assertIn(code, codes, f"{line}\n{output}")
        return output

    def run_blocks(self, name, section=None):
        """Runs the blocks of a page or of a section of it, and returns the output of each run of a block."""
        outputs = []
        for lines, codes, once in blocks(name, section):
            for _ in range(1 if once else 2):
                outputs.append("".join(self.run_line(line, codes) for line in lines))
        return outputs

    def values(self, key):
        return machine.registry([key]).get(key, {})

    def listed(self):
        keys = machine.registry([view + LIST.rpartition("\\")[0] for view in VIEWS])
        return [view + LIST in keys for view in VIEWS]

    def test_commands_of_the_pages_work_in_this_order(self):
        self.old, self.version, self.lines = "0.0.0.0", OLDER, set()
        self.deploy()
        self.check()
        self.upgrade()
        self.recover()
        self.uninstall()
        self.assertEqual({line for _, line in marked_lines(ROOT / "Docs", TEST)} - self.lines, set(), "never run")

    def deploy(self):
        self.run_blocks("Deployment.md")
        self.assertEqual(self.values(POLICY), {"Host": '"auth.kuv.example"', "IKey": '"SAMPLECLIENTIDENTIFIER"'})
        self.assertEqual(self.values(SETTINGS), {"SKey": f'"{KEY}"'})
        self.assertEqual(self.listed(), [True, True])
        self.assertEqual(self.values(MARK)["Version"], f'"{OLDER}"')
        report = (deploy / "check.json").read_text(encoding="utf-8")
        self.assertIn('"coverage"', report)
        self.assertNotIn(KEY, report)

    def check(self):
        self.run_blocks("FilterSetup.md")
        outputs = self.run_blocks("FilterCheck.md")
        self.assertIn("Assuming Policy:RdpOnly=1", outputs[0])
        self.assertIn("<html", (machine.drive / "Temp/check.html").read_text(encoding="utf-8"))
        [output] = set(self.run_blocks("SigningByHand.md"))
        [header] = re.findall(r"<!-- headers -->\n```text\n.*\n(.*)\n```", page_text("SigningByHand.md"))
        self.assertIn(header, output)

    def upgrade(self):
        self.old, self.version = OLDER, VERSION
        self.run_blocks("Upgrade.md", "Before")
        # An upgrade puts back a filter that was disabled, as the page says.
        self.run_line(r'"%ProgramFiles%\Kuvant\KuvCredProv\OLDVERSION\KuvFilterSetup.exe" disable', {0})
        self.assertEqual(self.listed(), [False, False])
        self.run_blocks("Upgrade.md", "Upgrade the filter")
        self.assertEqual(self.listed(), [True, True])
        self.assertEqual(self.values(MARK)["Version"], f'"{VERSION}"')
        self.assertEqual((deploy / "before.json").read_text(encoding="utf-8").count('"state"'),
                         (deploy / "after.json").read_text(encoding="utf-8").count('"state"'))
        disable, enable = blocks("Upgrade.md", "Upgrade the provider")
        self.run_line(disable[0][0], {0})
        self.assertEqual(self.listed(), [False, False])
        self.run_line(enable[0][0], {0})
        self.assertEqual(self.listed(), [True, True])
        [(lines, codes, _)] = blocks("Upgrade.md", "Go back to an older version")
        for line in lines:
            self.run_line(line, codes)
        self.assertEqual(self.values(MARK)["Version"], f'"{OLDER}"')
        self.assertEqual(self.values(SETTINGS), {"SKey": f'"{KEY}"'})
        self.old, self.version = VERSION, OLDER

    def recover(self):
        self.run_blocks("Recovery.md", "1. From a session on the machine")
        self.assertEqual(self.listed(), [False, False])
        back = blocks("Recovery.md", "Put the filter back")
        self.assertEqual(len(back), 2)
        for line in back[0][0]:
            self.run_line(line, {0, 1})
        self.assertEqual(self.listed(), [True, True])
        # Without its class, the filter cannot be enabled. The repair puts back both.
        for line in ('regsvr32 /s /u "%ProgramFiles%\\Kuvant\\KuvCredProv\\VERSION\\KuvCredFilter.dll"',
                     r"reg delete HKLM\Software\Classes\Wow6432Node\CLSID" + f"\\{FILTER} /f",
                     f'reg delete "HKLM\\Software\\Wow6432Node{LIST}" /f'):
            self.run_line(line, {0})
        self.run_line(back[0][0][0], {1})
        self.run_line(back[1][0][0], {0})
        self.assertEqual(self.listed(), [True, True])

    def uninstall(self):
        rows = dict(re.findall(r"^\| ([a-z][^|]*) \| `(msiexec [^`]+)` \|$", page_text("Installer.md"), re.MULTILINE))
        self.assertEqual(list(rows), ["install or upgrade", "repair missing files and values", "uninstall"])
        for line in rows.values():
            self.run_line(line, {0})
        self.assertEqual(self.listed(), [False, False])
        self.assertEqual(self.values(SETTINGS), {"SKey": f'"{KEY}"'})
        self.assertTrue((machine.drive / "ProgramData/Kuvant/kuv.log").exists())
        self.assertFalse((machine.drive / "Program Files/Kuvant").exists())


if __name__ == "__main__":
    unittest.main()
