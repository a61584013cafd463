#!/usr/bin/env python3
"""Runs the commands of the recovery page, exactly as printed there, in a Wine prefix.

    check_recovery.py --wine SCRIPT --prefix FOLDER --bin FOLDER --source FOLDER

Registers the built filter and removes it from the list by each method of the page that works under Wine.
"""
import argparse
import json
import pathlib
import re
import shutil
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))
from page_marks import marked_lines  # noqa: E402  after the path to it
from wine_prefix import Prefix  # noqa: E402  after the path to it

FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"
OTHER = "{00000000-0000-0000-0000-000000000001}"
KUV = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"
PASSWORD = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"
LIST = r"Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters"
SETTINGS = r"HKLM\Software\Kuvant\KuvCredProv"
VIEWS = ("", "WOW6432Node\\")
# The running system, and another system whose hive is loaded.
ROOTS = (r"HKLM\SOFTWARE", r"HKLM\OFFLINE")


class Machine(Prefix):
    def __init__(self, given):
        super().__init__(given.wine, given.prefix)
        self.bin = given.bin
        self.lines = set()

    def cmd(self, line):
        """Runs a line of the page like a command prompt: the arguments without their quotes."""
        self.lines.add(line)
        self.must(*(word.strip('"') for word in re.findall(r'"[^"]*"|\S+', line)))

    def listed(self, root, view):
        """Returns the entries of a list of filters."""
        output = self.must("reg", "query", rf"{root}\{view}{LIST}").decode("ascii")
        return re.findall(r"\\(\{[^\\}]+\})\s*$", output, re.MULTILINE)

    def merge(self, keys):
        """Imports a registry file that creates keys, or removes those that begin with a minus."""
        with tempfile.NamedTemporaryFile("w", suffix=".reg", encoding="ascii") as file:
            file.write("REGEDIT4\n\n")
            file.writelines(f"[{key}]\n\n".replace("HKLM", "HKEY_LOCAL_MACHINE") for key in keys)
            file.flush()
            self.must("reg", "import", file.name)

    def install(self):
        """Copies the filter to the folder that the package uses, with the page's placeholder for the version."""
        target = self.drive / self.dll[3:].replace("\\", "/")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(self.bin / "KuvCredFilter.dll", target)

    def uninstall(self):
        shutil.rmtree(self.drive / "Program Files/Kuvant", ignore_errors=True)

    @property
    def dll(self):
        return r"C:\Program Files\Kuvant\KuvCredProv\VERSION\KuvCredFilter.dll"

    def enabled_at_logon(self):
        report = json.loads(self.must(str(self.bin / "KuvFilterHost.exe"), "--scenario", "logon", "--json"))
        return {row["clsid"] for row in report["providers"] if row["enabled"]["logon"]}


def expect(what, actual, expected):
    if actual != expected:
        raise SystemExit(f"{what}: {actual}, not {expected}")


def commands(page, start):
    found = re.findall(rf"^{re.escape(start)}.*$", page, re.MULTILINE)
    if not found:
        raise SystemExit(f"the page has no command '{start}'")
    return found


def check(machine, page, file, sample):
    entries = [rf"{root}\{view}{LIST}\{entry}" for root in ROOTS for view in VIEWS for entry in (FILTER, OTHER)]
    machine.must("reg", "import", sample)

    machine.install()
    machine.must("regsvr32", "/s", machine.dll)
    expect("registered", machine.listed(ROOTS[0], ""), [FILTER])
    expect("with the sample settings", machine.enabled_at_logon() & {KUV, PASSWORD}, {KUV})
    [line] = commands(page, "reg add")
    machine.cmd(line)
    expect("with an empty IKey", machine.enabled_at_logon() & {KUV, PASSWORD}, {PASSWORD})
    machine.merge(entries)
    [line] = commands(page, "regsvr32")
    machine.cmd(line)
    expect("after regsvr32", machine.listed(ROOTS[0], ""), [OTHER])

    machine.merge(entries)
    for root in ROOTS:
        for line in commands(page, f'reg delete "{root}'):
            machine.cmd(line)
        for view in VIEWS:
            expect(f"after reg delete in {root}", machine.listed(root, view), [OTHER])

    # An ordinary key takes the place of a loaded hive.
    machine.merge(entries)
    for _ in range(2):  # the second time, the entries are already gone
        machine.must("reg", "import", file)
    for view in VIEWS:
        expect("after reg import", machine.listed(ROOTS[1], view), [OTHER])


def tidy(machine):
    machine.run("regsvr32", "/s", "/u", machine.dll)
    machine.uninstall()
    machine.merge(["-" + SETTINGS, "-" + ROOTS[1], *(rf"-{ROOTS[0]}\{view}{LIST}\{OTHER}" for view in VIEWS)])


def main():
    parser = argparse.ArgumentParser()
    for option in ("wine", "prefix"):
        parser.add_argument("--" + option, required=True)
    for option in ("bin", "source"):
        parser.add_argument("--" + option, required=True, type=pathlib.Path)
    given = parser.parse_args()
    page = (given.source / "Docs/Recovery.md").read_text(encoding="utf-8")
    with Machine(given) as machine:
        try:
            check(machine, page, str(given.source / "Packaging/Recovery/RemoveFilter.reg"),
                  str(given.source / "Tools/FilterHost/Sample.reg"))
            marked = {line for _, line in marked_lines(given.source / "Docs", "Tests/Installer/check_recovery.py")}
            expect("marked commands that were not run", marked - machine.lines, set())
        finally:
            tidy(machine)


if __name__ == "__main__":
    sys.exit(main())
