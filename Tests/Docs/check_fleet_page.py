#!/usr/bin/env python3
"""Compares Docs/Fleet.md with the policy template, the sources, and the package.

    check_fleet_page.py SOURCE-FOLDER [--write]

--write updates the table of policy settings in the page.
"""
import pathlib
import re
import sys
import unittest
from xml.etree import ElementTree

WRITE = "--write" in sys.argv and not sys.argv.remove("--write")
ROOT = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")
PAGE = ROOT / "Docs" / "Fleet.md"
ADMX = "{http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions}"
# The name of the app in the addresses, which the import of the template chooses.
APP = "Kuvant"
FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"
FINDING_ID = r"[a-z][a-z0-9-]*\.[a-z0-9][a-z0-9-]*"


def read(path):
    return (ROOT / path).read_text(encoding="utf-8")


def template():
    return ElementTree.parse(ROOT / "Packaging/PolicyDefinitions/Kuvant.admx").getroot()


def area_of(policy, parents):
    """Returns the area of a policy in an address: the app and the path of categories."""
    path = [policy.find(ADMX + "parentCategory").get("ref")]
    while path[0] in parents:
        path.insert(0, parents[path[0]])
    return "~".join([APP, "Policy", *path])


def data_of(element):
    """Returns the example value of an element of a policy, and the values that it accepts."""
    match element.tag.removeprefix(ADMX):
        case "text":
            return "TEXT", f"at most {int(element.get('maxLength')):,} characters"
        case "decimal":
            return "NUMBER", f"{int(element.get('minValue')):,} to {int(element.get('maxValue')):,}"
        case "enum":
            return "NUMBER", ", ".join(value.get("value") for value in element.iter(ADMX + "decimal"))
        case "multiText":
            return "CLSID&#xF000;CLSID", f"at most {element.get('maxStrings')} class identifiers in braces"
    raise ValueError(element.tag)


def value_of(policy):
    """Returns the value that enables a policy, and its range."""
    elements = policy.findall(f"{ADMX}elements/*")
    if not elements:
        on, off = (policy.find(f"{ADMX}{name}Value/{ADMX}decimal").get("value") for name in ("enabled", "disabled"))
        return "`<enabled/>`", f"{on}; {off} with `<disabled/>`"
    texts = [(element.get("id"), *data_of(element)) for element in elements]
    data = "".join(f'<data id="{name}" value="{value}"/>' for name, value, _ in texts)
    return f"`<enabled/>{data}`", "; ".join(accepted for _, _, accepted in texts)


def policy_table():
    root = template()
    parents = {category.get("name"): category.find(ADMX + "parentCategory").get("ref")
               for category in root.iter(ADMX + "category") if category.find(ADMX + "parentCategory") is not None}
    rows = ["| OMA-URI | Value | Sets |", "|---|---|---|"]
    for policy in root.iter(ADMX + "policy"):
        value, accepted = value_of(policy)
        address = f"./Device/Vendor/MSFT/Policy/Config/{area_of(policy, parents)}/{policy.get('name')}"
        rows.append(f"| `{address}` | {value} | {accepted} |")
    return "\n".join(rows) + "\n"


def with_table(page):
    start, end = "<!-- policies -->\n", "<!-- end of policies -->\n"
    return page[:page.index(start) + len(start)] + policy_table() + page[page.index(end):]


class FleetPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.page = PAGE.read_text(encoding="utf-8")

    def test_lists_every_policy_of_the_template(self):
        self.assertEqual(self.page.splitlines(), with_table(self.page).splitlines())
        self.assertEqual(self.page.count("| `./Device/Vendor"), len(list(template().iter(ADMX + "policy"))))

    # What MDM requires of a template: names that can be in an address, and a key outside those of Windows.
    def test_template_can_be_imported(self):
        for element in (*template().iter(ADMX + "category"), *template().iter(ADMX + "policy")):
            self.assertRegex(element.get("name"), r"^\w+$")
        for policy in template().iter(ADMX + "policy"):
            self.assertEqual(policy.get("class"), "Machine")
            self.assertNotRegex(policy.get("key").lower(), r"^(system|software\\(policies\\)?microsoft)\\")
        self.assertIn(f"/ADMXInstall/{APP}/Policy/KuvCredProv`", self.page)

    def test_detection_rule_matches_the_package(self):
        rule = dict(re.findall(r"^\| (Key path|Value name|Value) \| `(.+)` \|$", self.page, re.MULTILINE))
        wxs = read("Packaging/Installer/KuvCredFilter.wxs")
        key = rule["Key path"].removeprefix("HKEY_LOCAL_MACHINE\\")
        self.assertIn(f'Key="{key}" Name="{rule["Value name"]}"', wxs)
        version = re.search(r"VERSION (\d+\.\d+\.\d+\.\d+)", read("CMakeLists.txt")).group(1)
        self.assertEqual(set(re.findall(r"\b\d+\.\d+\.\d{3,}\.\d+\b", self.page)), {version})
        self.assertEqual(rule["Value"], version)

    def test_audits_the_registration_and_the_settings_in_both_views(self):
        table = self.page[self.page.index("<!-- audit -->"):self.page.index("<!-- end of audit -->")]
        rules = dict(re.findall(r"^\| `HKLM\\SOFTWARE\\(.+?)` \| .+ \| ([AB]) \|$", table, re.MULTILINE))
        package = read("Packaging/Installer/KuvCredFilter.wxs")
        written = set(re.findall(r'<RegistryValue [^>]*Root="HKLM" Key="SOFTWARE\\([^"]+)"', package))
        written -= {r"Kuvant\KuvCredFilter"}
        shared = {r"Policies\Kuvant\KuvCredProv"}
        self.assertIn(r"Software\\" + r"Policies\\Kuvant\\KuvCredProv", read("Src/KuvAuth/Support/SettingsKeys.h"))
        for key in written:
            # The rule of a key applies to its subkeys.
            parents = {"\\".join(key.split("\\")[:count]) for count in range(1, key.count("\\") + 2)}
            self.assertTrue(parents & set(rules), key)
        for key in set(rules) - shared:
            if key.startswith(r"Microsoft\Windows\CurrentVersion") and "Filters" not in key:
                continue
            start = "WOW6432Node\\"
            other = key.replace("Classes\\", "Classes\\" + start) if key.startswith("Classes\\") else start + key
            self.assertTrue(start in key or other in rules, key)
        # The values of these keys may be in an event.
        self.assertEqual({key for key, rule in rules.items() if rule == "B"},
                         {r"Kuvant\KuvCredProv", r"WOW6432Node\Kuvant\KuvCredProv"})

    # Bits of the rights of a registry key.
    def test_audit_rules_have_the_described_rights(self):
        bits = {"CC": 1, "DC": 2, "LC": 4, "SW": 8, "RP": 0x10, "WP": 0x20, "SD": 0x10000, "RC": 0x20000,
                "WD": 0x40000, "WO": 0x80000}
        rules = dict(re.findall(r"^\| ([AB]) \| `S:\(AU;CISA;(\w+);;;WD\)` \|", self.page, re.MULTILINE))
        masks = {name: sum(bits[right] for right in re.findall("..", text)) for name, text in rules.items()}
        described = {int(number, 16) for number in re.findall(r"(0x\w+) \(", self.page[self.page.index("| 4663 |"):])}
        self.assertEqual(masks["B"], sum(described))
        self.assertEqual(masks["A"], masks["B"] | 2)
        self.assertIn(f"'S:(AU;CISA;{rules['A']};;;WD)'", self.page)

    def test_every_finding_and_message_exists(self):
        findings = set(re.findall(rf"`({FINDING_ID})`", self.page)) - {"kuv.log", "kuv01.log", "msiexec.exe"}
        known = set(re.findall(rf"^\| `({FINDING_ID})` \|", read("Docs/FilterCheck.md"), re.MULTILINE))
        self.assertGreater(len(findings), 6)
        self.assertLessEqual(findings, known)
        messages = re.findall(r"^\| `(.+?)` \| `kuv.log`, level (\w+) \|", self.page, re.MULTILINE)
        self.assertEqual(len(messages), 2)
        for message, level in messages:
            self.assertIn(f"| {level} | `{message}` |", read("Docs/LogMessages.md"))
        self.assertIn('L"KuvFilterSetup disabled the filter"', read("Tools/FilterSetup/Actions/FilterSwitch.cpp"))

    def test_every_field_of_the_event_exists(self):
        fields = set(re.findall(r"`(exitCode|coverage|obstacle|filterVersion)`", self.page))
        self.assertEqual(len(fields), 4)
        schema = read("Docs/FilterCheckEvent.schema.json")
        for field in fields:
            self.assertIn(f'"{field}": {{', schema)

    def test_query_is_that_of_the_subscription(self):
        select = re.search(r"<Select [^>]*>(.+)</Select>", read("Packaging/Fleet/KuvantEvents.xml")).group(1)
        self.assertIn(f"```text\n{select}\n```", self.page)

    def test_settings_of_the_compliance_policy_are_those_of_the_rules(self):
        rules = set(re.findall(r'"SettingName": "(\w+)"', read("Packaging/Fleet/ComplianceRules.json")))
        self.assertEqual(set(re.findall(r"^\| `(KuvFilter\w+)` \|", self.page, re.MULTILINE)), rules)

    def test_times_of_the_task_are_those_of_the_file(self):
        task = read("Packaging/Fleet/KuvFilterCheckTask.xml")
        self.assertIn("<Delay>PT10M</Delay>", task)
        self.assertIn("T11:00:00</StartBoundary>", task)
        self.assertIn("<RandomDelay>PT2H</RandomDelay>", task)
        self.assertIn("ten minutes after each start of Windows and\nevery day between 11:00 and 13:00", self.page)
        command = re.search(r"^  (schtasks .+)$", task, re.MULTILINE).group(1)
        self.assertIn(command, self.page)
        self.assertIn(re.search(r"^  (wecutil .+)$", read("Packaging/Fleet/KuvantEvents.xml"), re.MULTILINE).group(1),
                      self.page)

    def test_example_line_matches_the_pattern(self):
        pattern = re.search(r"<!-- line -->\n```text\n(.+)\n```", self.page).group(1).replace("(?<", "(?P<")
        line = re.search(r"<!-- example -->\n```text\n(.+)\n```", self.page).group(1)
        self.assertEqual(re.fullmatch(pattern, line).groupdict(), {
            "month": "11", "day": "21", "year": "26", "hour": "09", "minute": "30", "second": "00", "process": "1234",
            "thread": "5678", "level": "Info", "message": "Local login session"})
        levels = re.findall(r'return L"(\w+)";', read("Src/KuvAuth/Logging/LogLevel.cpp"))
        self.assertEqual(re.search(r"\?P<level>([\w|]+)", pattern).group(1).split("|"), levels)

    def test_names_every_file(self):
        for path in (ROOT / "Packaging/Fleet").iterdir():
            self.assertIn(f"](../Packaging/Fleet/{path.name})", self.page)


if WRITE:
    PAGE.write_text(with_table(PAGE.read_text(encoding="utf-8")), encoding="utf-8")
else:
    unittest.main()
