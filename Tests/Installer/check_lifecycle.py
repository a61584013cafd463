#!/usr/bin/env python3
"""Takes one machine from installation to uninstallation under Wine, in the order and with the commands of the pages.

Each step depends on those before it, so the steps are one test. The command line is that of package_script.py.
"""
import json
import re
import unittest

import package_script
import wine_machine
from package_script import PACKAGES, VERSION, WORK, X64, package

ROOT = package_script.SOURCE
OLDER = ".".join([*VERSION.split(".")[:3], "999"])
FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"
KUV = "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418}"
KUV_SMART_CARD = "{C27D40E9-16B3-4A8E-B7F2-094E6D1A35C8}"
PASSWORD = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"
PROVIDERS = r"HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Providers"
LISTS = [rf"HKLM\SOFTWARE\{view}Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters\{FILTER}"
         for view in ("", "WOW6432Node\\")]
SETTINGS = r"HKLM\Software\Kuvant\KuvCredProv"
POLICY = r"HKLM\Software\Policies\Kuvant\KuvCredProv"
SECRET = "lifecycle-key-that-signs-nothing"
ALL = "console,remote,elevation"
# Wine reports a successful ReportEventW, and writes the text to its trace only.
TRACE_EVENTS = "-all,trace+eventlog,warn+eventlog,err+eventlog"


class Lifecycle(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.machine = wine_machine.Machine(ROOT / "Scripts/wine.sh", WORK)
        self.addCleanup(self.machine.stop)
        self.folder = None

    def run_installed(self, program, *arguments, expect=0, debug="-all"):
        """Runs a program of the installed version. No output may contain the client key."""
        code, output = self.machine.run(rf"{self.folder}\{program}.exe", *arguments, debug=debug)
        self.assertEqual(code, expect, output)
        self.assertNotIn(SECRET, output)
        return output

    def setup(self, *arguments, **expected):
        return self.run_installed("KuvFilterSetup", *arguments, **expected)

    def msiexec(self, *arguments):
        self.machine.must("msiexec", *arguments, "/qn", "/norestart")

    def package(self, version):
        return package(version, PACKAGES if version == VERSION else WORK)

    def install(self, version, *properties):
        self.msiexec("/i", self.machine.windows(self.package(version)), *properties)
        self.folder = rf"C:\Program Files\Kuvant\KuvCredProv\{version}"

    def value(self, key, name):
        """Returns the text of a registry value, or None."""
        code, output = self.machine.run("reg", "query", key, "/v", name)
        match = re.search(rf"^\s+{name}\s+REG_\w+\s+(.*)$", output, re.MULTILINE)
        return match[1].strip() if code == 0 and match else None

    def exists(self, key):
        return self.machine.run("reg", "query", key)[0] == 0

    def on_the_screen(self):
        """Returns which of two providers the registered filter allows at logon."""
        report = json.loads(self.machine.must(self.machine.windows(X64 / "KuvFilterHost.exe"),
                                              "--scenario", "logon", "--json"))
        return {row["clsid"] for row in report["providers"] if row["enabled"]["logon"]} & {KUV, PASSWORD}

    def coverage(self, covered=True):
        """Returns the state of each kind of sign-in, after checking the exit code."""
        code, output = self.machine.run(rf"{self.folder}\KuvFilterCheck.exe", "--json", "--require", ALL)
        self.assertNotIn(SECRET, output)
        now = json.loads(output)["now"]
        found = {finding["id"] for finding in now["findings"] if finding["severity"] != "note"}
        # Wine maps an access list of a folder to the permissions of this host, so the one that the filter sets reads
        # back as open to others.
        by_wine = found & {"access.log-folder"}
        if covered:
            self.assertEqual((code, found - by_wine), (1 if by_wine else 0, set()), output)
        else:
            self.assertEqual(code, 2, output)
        return {kind: coverage["state"] for kind, coverage in now["coverage"].items()}

    def everywhere(self, state):
        return dict.fromkeys(ALL.split(","), state)

    def test_from_installation_to_uninstallation(self):
        log = self.machine.drive / "ProgramData/Kuvant/kuv.log"
        secret = WORK / "skey.txt"
        secret.write_text(SECRET + "\n")
        self.addCleanup(secret.unlink, missing_ok=True)
        self.machine.add_sample_providers(ROOT)

        self.install(OLDER)
        self.assertEqual(self.coverage(covered=False), self.everywhere("off"), "without settings")
        self.assertEqual(self.on_the_screen(), {PASSWORD}, "without settings")

        self.assertIn(rf"{SETTINGS}: protected", self.setup("prepare"))
        # Wine does not store who owns a folder, so a second run moves it aside once more. The keys need no change.
        self.assertNotIn("HKLM", self.setup("prepare"))
        self.setup("set-key", "--from", self.machine.windows(secret))
        self.assertEqual(self.value(SETTINGS, "SKey"), SECRET)

        for name, kind, data in (("Host", "REG_SZ", "auth.kuv.example"), ("IKey", "REG_SZ", "CLIENTIDENTIFIER"),
                                 ("ElevationProtectionMode", "REG_DWORD", "2")):
            self.machine.must("reg", "add", POLICY, "/v", name, "/t", kind, "/d", data, "/f")
        self.assertIn(rf"{POLICY}: protected", self.setup("prepare"))
        self.assertEqual(self.coverage(), self.everywhere("required"))
        self.check_event()
        self.assertEqual(self.on_the_screen(), {KUV})
        self.assertIn("supported", log.read_text())

        self.install(VERSION)
        self.assertFalse(self.machine.host(rf"C:\Program Files\Kuvant\KuvCredProv\{OLDER}\KuvCredFilter.dll").exists())
        self.assertEqual(self.value(SETTINGS, "SKey"), SECRET)
        self.assertEqual(self.coverage(), self.everywhere("required"), "after the upgrade")
        self.assertEqual(self.on_the_screen(), {KUV}, "after the upgrade")

        disabled = self.setup("disable", debug=TRACE_EVENTS)
        self.assertRegex(disabled, r':ReportEventW L"KuvFilterSetup disabled the filter\. User: ')
        self.assertEqual([self.exists(key) for key in LISTS], [False, False])
        self.assertEqual(self.coverage(covered=False), self.everywhere("off"), "disabled")

        # The Kuv smart card provider alone: the filter would hide all others, and smart cards are not allowed.
        self.machine.must("reg", "delete", rf"{PROVIDERS}\{KUV}", "/f")
        self.machine.must("reg", "add", rf"{PROVIDERS}\{KUV_SMART_CARD}", "/f")
        self.setup("enable", "--require", ALL, expect=2)
        self.assertEqual([self.exists(key) for key in LISTS], [False, False], "while no one could sign in")
        self.machine.must("reg", "delete", rf"{PROVIDERS}\{KUV_SMART_CARD}", "/f")
        self.machine.add_sample_providers(ROOT)
        self.setup("enable", "--require", ALL)
        self.assertEqual([self.exists(key) for key in LISTS], [True, True])
        self.assertEqual(self.coverage(), self.everywhere("required"), "enabled again")

        for key in LISTS:
            self.machine.must("reg", "delete", key, "/f")
        self.machine.host(rf"{self.folder}\KuvCredFilter.dll").unlink()
        self.install(VERSION, *self.repair_properties())
        self.assertEqual(self.coverage(), self.everywhere("required"), "repaired")
        self.assertEqual(self.on_the_screen(), {KUV}, "repaired")

        self.msiexec("/x", self.machine.windows(self.package(VERSION)))
        self.assertEqual([self.exists(key) for key in LISTS], [False, False])
        self.assertFalse(self.machine.host(self.folder).exists())
        self.assertEqual((self.value(SETTINGS, "SKey"), self.value(POLICY, "Host"), log.exists()),
                         (SECRET, "auth.kuv.example", True), "what stays")
        self.assertNotIn(SECRET, log.read_text())

    def check_event(self):
        """Checks the beginning of the event: Wine's trace truncates long texts."""
        output = self.run_installed("KuvFilterCheck", "--event", "--require", ALL, debug=TRACE_EVENTS)
        [text] = re.findall(r':ReportEventW L"(.*)"', output)
        covered = json.dumps(self.everywhere("required"), sort_keys=True, separators=(",", ":"))
        self.assertTrue(text.replace('\\"', '"').startswith(f'{{"coverage":{covered},"exitCode":0,'), text)

    def repair_properties(self):
        page = (ROOT / "Docs/Installer.md").read_text(encoding="utf-8")
        [properties] = re.findall(r"^\| repair .*?/qn /norestart (.+?)` \|$", page, re.MULTILINE)
        return properties.split()


def setUpModule():
    WORK.mkdir(parents=True, exist_ok=True)
    package_script.make(OLDER, WORK)


if __name__ == "__main__":
    unittest.main()
