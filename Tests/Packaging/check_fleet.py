#!/usr/bin/env python3
"""Checks the files in Packaging/Fleet against the documented forms, the sources, and the built programs under Wine.

    check_fleet.py --wine SCRIPT --prefix FOLDER --bin FOLDER --source FOLDER --version VERSION

Runs the command of the task, and each command of the PowerShell scripts, in a Wine prefix. The scripts are not run.
"""
import argparse
import copy
import json
import pathlib
import re
import shutil
import sys
import unittest
from xml.etree import ElementTree

import documented_forms as forms

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))
from wine_prefix import Prefix  # noqa: E402  after the path to it

parser = argparse.ArgumentParser()
for option in ("wine", "prefix", "bin", "source", "version"):
    parser.add_argument(f"--{option}", required=True)
GIVEN = parser.parse_args()
del sys.argv[1:]
ROOT = pathlib.Path(GIVEN.source)
FLEET = ROOT / "Packaging" / "Fleet"
SCRIPTS = sorted(FLEET.glob("*.ps1"))
PACKAGE_KEY = r"SOFTWARE\Kuvant\KuvCredFilter"
TASK = "{" + forms.TASK_NAMESPACE + "}"
SUBSCRIPTION = "{" + forms.SUBSCRIPTION_NAMESPACE + "}"
FOLDER = rf"C:\Program Files\Kuvant\KuvCredProv\{GIVEN.version}" "\\"


def source_text(path):
    return (ROOT / path).read_text(encoding="utf-8")


def tree(name):
    return ElementTree.parse(FLEET / name).getroot()


def commands_of(script):
    """Returns the programs that a script runs, with their arguments."""
    return [(program, arguments.split())
            for program, arguments in re.findall(r'& "\$\{folder\}(\w+\.exe)"((?: (?!2>)[\w,-]+)*)', script)]


class Task(unittest.TestCase):
    def test_has_the_documented_form(self):
        self.assertEqual(tree("KuvFilterCheckTask.xml").tag, TASK + "Task")
        self.assertEqual(forms.errors(tree("KuvFilterCheckTask.xml"), forms.TASK, forms.TASK_NAMESPACE), [])

    def test_check_of_the_form_finds_errors(self):
        for path, change in ((".//{}Delay", lambda e: setattr(e, "text", "10 min")),
                             (".//{}Delay", lambda e: setattr(e, "tag", "Wait")),
                             (".//{}ScheduleByDay", lambda e: e.clear()),
                             (".//{}CalendarTrigger", lambda e: e.insert(0, e[1])),
                             (".//{}CalendarTrigger", lambda e: e.__setitem__(slice(None), e[::-1])),
                             (".//{}Principal", lambda e: e.set("name", "x"))):
            task = copy.deepcopy(tree("KuvFilterCheckTask.xml"))
            change(task.find(path.replace("{}", TASK)))
            self.assertNotEqual(forms.errors(task, forms.TASK, forms.TASK_NAMESPACE), [])

    # A declared encoding stops Register-ScheduledTask, which passes the text as UTF-16.
    def test_is_ascii_without_a_declared_encoding(self):
        text = (FLEET / "KuvFilterCheckTask.xml").read_bytes().decode("ascii")
        self.assertTrue(text.startswith('<?xml version="1.0"?>\n'))

    def test_runs_as_system_at_the_start_and_daily(self):
        task = tree("KuvFilterCheckTask.xml")
        principal = task.find(f".//{TASK}Principal")
        self.assertEqual(principal.findtext(TASK + "UserId"), "S-1-5-18")
        self.assertEqual(task.find(TASK + "Actions").get("Context"), principal.get("id"))
        self.assertEqual([trigger.tag for trigger in task.find(TASK + "Triggers")],
                         [TASK + "BootTrigger", TASK + "CalendarTrigger"])
        self.assertEqual(task.findtext(f".//{TASK}DaysInterval"), "1")

    def test_runs_the_installed_program_and_returns_its_exit_code(self):
        arguments = tree("KuvFilterCheckTask.xml").findtext(f".//{TASK}Arguments")
        self.assertTrue(arguments.endswith('"%KKuvFilterCheck.exe" --event'))
        command = tree("KuvFilterCheckTask.xml").findtext(f".//{TASK}Command")
        self.assertEqual(command, r"%SystemRoot%\System32\cmd.exe")
        for extra in ("", " --require remote"):
            code, output, _ = WINE.batch(f"{command} {arguments.replace('%', '%%')}{extra}")
            expected, report, errors = WINE.run(FOLDER + "KuvFilterCheck.exe", "--event", *extra.split())
            self.assertEqual(errors, b"")
            self.assertEqual(code, expected)
            self.assertIn(expected, (1, 2))
            self.assertEqual(re.sub(rb"T\S+Z", b"", output.replace(b"\r\n", b"\n")), re.sub(rb"T\S+Z", b"", report))

    def test_runs_nothing_without_the_package(self):
        arguments = tree("KuvFilterCheckTask.xml").findtext(f".//{TASK}Arguments")
        WINE.must("reg", "delete", "HKLM\\" + PACKAGE_KEY, "/v", "InstallFolder", "/f")
        try:
            _, output, _ = WINE.batch("cmd.exe " + arguments.replace("%", "%%"))
            self.assertNotIn(b"Kuv filter check", output)
        finally:
            WINE.install()


class Subscription(unittest.TestCase):
    def test_has_the_documented_form(self):
        root = tree("KuvantEvents.xml")
        self.assertEqual(root.tag, SUBSCRIPTION + "Subscription")
        self.assertEqual(forms.errors(root, forms.SUBSCRIPTION, forms.SUBSCRIPTION_NAMESPACE), [])
        (FLEET / "KuvantEvents.xml").read_bytes().decode("ascii")

    # Domain controllers are not in Domain Computers.
    def test_accepts_all_computers_of_the_domain(self):
        descriptor = tree("KuvantEvents.xml").findtext(SUBSCRIPTION + "AllowedSourceDomainComputers")
        self.assertLessEqual({"DC", "DD"}, set(re.findall(r"\(A;;GA;;;(\w+)\)", descriptor)))

    def test_check_of_the_form_finds_wrong_order(self):
        root = tree("KuvantEvents.xml")
        root[:] = root[::-1]
        self.assertEqual(forms.errors(root, forms.SUBSCRIPTION, forms.SUBSCRIPTION_NAMESPACE),
                         ["Subscription: wrong order"])

    def test_selects_the_events_of_the_sources(self):
        query = ElementTree.fromstring(tree("KuvantEvents.xml").findtext(SUBSCRIPTION + "Query").strip())
        self.assertEqual(query.tag, "QueryList")
        self.assertEqual([(child.tag, sorted(child.attrib)) for child in query], [("Query", ["Id", "Path"])])
        select = query.find("Query/Select")
        writer = source_text("Src/KuvAuth/Logging/SystemEvents.cpp")
        source = re.search(r'RegisterEventSourceW\([^;]*L"(\w+)"\)', writer).group(1)
        identifier = int(re.search(r"kEventIdentifier = (0x\w+);", writer).group(1), 16)
        self.assertEqual(select.text, f"*[System[Provider[@Name='{source}'] and EventID={identifier & 0xFFFF}]]")
        # The log in which the package registers the source.
        wxs = source_text("Packaging/Installer/KuvCredFilter.wxs")
        log = re.search(rf"Services\\EventLog\\(\w+)\\{source}\"", wxs).group(1)
        self.assertEqual([element.get("Path") for element in (query.find("Query"), select)], [log, log])
        # The identifier of the message table.
        messages = source_text("Src/KuvCredFilter/KuvEvents.mc")
        severity, facility, message = (
            int(re.search(pattern, messages).group(1), 16)
            for pattern in (r"\(Error=(0x\w+)\)", r"\(Kuvant=(0x\w+)\)", r"MessageId=(0x\w+)"))
        self.assertEqual(severity << 30 | facility << 16 | message, identifier)


class Compliance(unittest.TestCase):
    def test_has_the_documented_form(self):
        content = (FLEET / "ComplianceRules.json").read_bytes()
        self.assertLessEqual(len(content), forms.MOST_RULES_BYTES)
        rules = json.loads(content)
        self.assertEqual(list(rules), ["Rules"])
        self.assertLessEqual(len(rules["Rules"]), forms.MOST_RULES)
        for rule in rules["Rules"]:
            self.assertEqual(forms.rule_errors(rule), [])

    def test_check_of_the_form_finds_errors(self):
        for name, value in (("Operator", "Equals"), ("DataType", "Int32"), ("Operand", "1"), ("MoreInfoUrl", "help"),
                            ("RemediationStrings", []), ("Other", 1)):
            rule = json.loads((FLEET / "ComplianceRules.json").read_bytes())["Rules"][0]
            rule[name] = value
            self.assertNotEqual(forms.rule_errors(rule), [], name)

    def test_rules_are_for_the_settings_of_the_script(self):
        script = (FLEET / "ComplianceDiscovery.ps1").read_text(encoding="ascii")
        last = script.rstrip().splitlines()[-1]
        self.assertTrue(re.fullmatch(r"return @\{ .* \} \| ConvertTo-Json -Compress", last))
        rules = json.loads((FLEET / "ComplianceRules.json").read_bytes())["Rules"]
        self.assertEqual([rule["SettingName"] for rule in rules], re.findall(r"(\w+) = \$", last))

    # 0 and 1 are covered; the script reports 3 without the filter.
    def test_operands_match_the_exit_codes_and_the_version(self):
        rules = json.loads((FLEET / "ComplianceRules.json").read_bytes())["Rules"]
        rules = {rule["SettingName"]: rule for rule in rules}
        codes = dict(re.findall(r"(\w+) = (\d),", source_text("Tools/FilterCheck/Model/Report.h")))
        code = rules["KuvFilterExitCode"]
        self.assertEqual((code["Operator"], code["Operand"]), ("LessEquals", int(codes["CoveredWithFindings"])))
        self.assertLess(code["Operand"], int(codes["NotCovered"]))
        script = (FLEET / "ComplianceDiscovery.ps1").read_text(encoding="ascii")
        answers = ", ".join(number for name, number in codes.items() if name != "Failed")
        self.assertEqual(re.findall(r"^.*\$code = .*$", script, re.MULTILINE),
                         [f"$code = {codes['Failed']}",
                          f"    if (@({answers}) -contains $LASTEXITCODE) {{ $code = $LASTEXITCODE }}"])
        version = rules["KuvFilterVersion"]
        self.assertEqual((version["Operator"], version["Operand"]), ("GreaterEquals", GIVEN.version))


class Scripts(unittest.TestCase):
    def test_say_that_they_are_not_run_here(self):
        self.assertEqual(len(SCRIPTS), 3)
        for path in SCRIPTS:
            with self.subTest(path.name):
                # ASCII is UTF-8 without a byte order mark.
                text = path.read_bytes().decode("ascii")
                self.assertTrue(text.startswith("# Not run by the tests of this repository, which have no PowerShell."))
                self.assertLess(len(text.splitlines()), 25)

    def test_read_the_folder_that_the_package_writes(self):
        wxs = source_text("Packaging/Installer/KuvCredFilter.wxs")
        self.assertIn(f'Key="{PACKAGE_KEY}" Name="InstallFolder"', wxs)
        for path in SCRIPTS:
            with self.subTest(path.name):
                text = path.read_text(encoding="ascii")
                self.assertEqual(re.findall(r"'HKLM:\\([^']+)'", text), [PACKAGE_KEY])
                self.assertEqual(re.findall(r"^\$folder = .*\)\.(\w+)$", text, re.MULTILINE), ["InstallFolder"])

    def test_every_command_runs(self):
        seen = []
        for path in SCRIPTS:
            commands = commands_of(path.read_text(encoding="ascii"))
            self.assertEqual(len(commands), path.read_text(encoding="ascii").count("& \""))
            for program, arguments in commands:
                seen.append((program, arguments[0]))
                with self.subTest(path.name):
                    code, _, errors = WINE.run(FOLDER + program, *arguments)
                    # 3 is wrong usage.
                    self.assertLess(code, 3, errors)
                    self.assertNotIn("--force", arguments)
        self.assertEqual(seen, [("KuvFilterCheck.exe", "--json"), ("KuvFilterSetup.exe", "status"),
                                ("KuvFilterSetup.exe", "prepare"), ("KuvFilterSetup.exe", "enable")])

    def test_every_field_is_in_the_output(self):
        check = json.loads(WINE.run(FOLDER + "KuvFilterCheck.exe", "--json")[1])
        status = json.loads(WINE.run(FOLDER + "KuvFilterSetup.exe", "status", "--json")[1])
        discovery = (FLEET / "ComplianceDiscovery.ps1").read_text(encoding="ascii")
        self.assertEqual(set(re.findall(r"\$answer\.([\w.]+)", discovery)), {"host.filterVersion"})
        self.assertIn("filterVersion", check["host"])
        detection = (FLEET / "RemediationDetect.ps1").read_text(encoding="ascii")
        fields = set(re.findall(r"\$status\.(\w+)", detection))
        self.assertEqual(fields, {"filter", "changes", "failures"})
        self.assertLessEqual(fields, set(status))
        self.assertIn("Where-Object { $_.registered -and -not $_.enabled }", detection)
        self.assertLessEqual({"registered", "enabled"}, set(status["filter"][0]))

    # Intune runs the remediation script only after exit code 1, and keeps 2,048 characters of its output.
    def test_keep_the_rules_of_intune(self):
        detection = (FLEET / "RemediationDetect.ps1").read_text(encoding="ascii")
        self.assertEqual(re.findall(r"exit (\d)", detection), ["0", "0", "1"])
        repair = (FLEET / "RemediationRepair.ps1").read_text(encoding="ascii")
        self.assertLessEqual(int(re.search(r"Min\(\$text\.Length, (\d+)\)", repair).group(1)), 2048)
        # A line on standard error counts as a failed script.
        self.assertEqual(repair.count('& "'), repair.count("2>&1"))

    # Values of a 32-bit process are in another view.
    def test_ask_for_the_64_bit_powershell(self):
        for path in SCRIPTS:
            if path.name != "RemediationRepair.ps1":
                self.assertRegex(path.read_text(encoding="ascii"), r"64-bit PowerShell")


class Machine(Prefix):
    """A prefix with the programs in the folder of the package."""

    def install(self):
        target = self.drive / FOLDER[3:].replace("\\", "/")
        target.mkdir(parents=True, exist_ok=True)
        for name in ("KuvFilterCheck.exe", "KuvFilterSetup.exe"):
            shutil.copyfile(pathlib.Path(GIVEN.bin) / name, target / name)
        self.must("reg", "add", "HKLM\\" + PACKAGE_KEY, "/v", "InstallFolder", "/d", FOLDER, "/f")

    def batch(self, line):
        """Runs a line as it is: arguments of a host's program would be quoted again. Returns the same as `run`."""
        (self.drive / "task.bat").write_bytes(f"@{line}\r\n@exit %ERRORLEVEL%\r\n".encode("ascii"))
        return self.run("cmd", "/c", r"C:\task.bat")


with Machine(GIVEN.wine, GIVEN.prefix) as WINE:
    WINE.install()
    unittest.main()
