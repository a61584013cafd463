#!/usr/bin/env python3
"""Checks the group policy template: every reference resolves, and each policy writes a value that the library reads.

    check_policy.py SOURCE-FOLDER PROGRAM...

PROGRAM... is the command that runs KuvSettingsPage.
"""
import json
import pathlib
import re
import subprocess
import sys
import unittest
import xml.etree.ElementTree as ET

ROOT = pathlib.Path(sys.argv.pop(1))
NAMESPACE = "{http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions}"
POLICY_KEY = r"Software\Policies\Kuvant\KuvCredProv"

# Prints the table of the settings that the library reads.
PROGRAM = sys.argv[1:]
del sys.argv[1:]
TEXT, FLAG, LIST = "text", "flag", "list"


def kind_in_table(row):
    match row["kind"]:
        case "text":
            return TEXT
        case "flag":
            return FLAG
        case "providers":
            return LIST
        case "number":
            return row["least"], row["most"]
        case "choice":
            return set(range(row["least"], row["most"] + 1))


def parse(name):
    return ET.parse(ROOT / "Packaging" / "PolicyDefinitions" / name).getroot()


def settings_of_the_sources():
    """Returns every setting name that the library passes to one of its readers."""
    names = set()
    for path in (ROOT / "Src").rglob("*.cpp"):
        source = path.read_text(encoding="utf-8")
        table = re.search(r"Setting kSettings\[\] = \{(.*?)\n\};", source, re.DOTALL)
        names.update(re.findall(r'\{"(\w+)", Read', table[1]) if table else [])
        names.update(re.findall(r'\w*Setting\("(\w+)"', source))
        names.update(re.findall(r'QueryValueW\([^;]*?L"(\w+)"', source))
    return names


class Template(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.admx, cls.adml = parse("Kuvant.admx"), parse("en-US/Kuvant.adml")
        cls.policies = cls.admx.findall(f".//{NAMESPACE}policy")
        printed = subprocess.run([*PROGRAM, "--json"], check=True, stdout=subprocess.PIPE).stdout
        cls.table = json.loads(printed)
        cls.settings = {row["name"]: kind_in_table(row) for row in cls.table["settings"]}
        cls.defaults = {row["name"]: row["default"] for row in cls.table["settings"]}

    def test_references_resolve_and_no_text_is_unused(self):
        used = {"string": set(), "presentation": set()}
        for element in self.admx.iter():
            for value in element.attrib.values():
                for kind, name in re.findall(r"^\$\((string|presentation)\.(\w+)\)$", value):
                    used[kind].add(name)
        for kind, names in used.items():
            defined = [element.get("id") for element in self.adml.iter(NAMESPACE + kind)]
            self.assertEqual(len(defined), len(set(defined)))
            self.assertEqual(names, set(defined))
        for text in self.adml.iter(NAMESPACE + "string"):
            self.assertTrue(text.text and text.text.strip(), text.get("id"))

    def test_categories_and_platforms_resolve(self):
        categories = {element.get("name") for element in self.admx.iter(NAMESPACE + "category")}
        platforms = {element.get("name") for element in self.admx.iter(NAMESPACE + "definition")}
        for parent in self.admx.iter(NAMESPACE + "parentCategory"):
            self.assertIn(parent.get("ref"), categories)
        for policy in self.policies:
            self.assertIn(policy.find(NAMESPACE + "supportedOn").get("ref"), platforms)

    def test_every_setting_has_one_policy(self):
        names = [policy.get("name") for policy in self.policies]
        self.assertEqual(len(names), len(set(names)))
        self.assertEqual(set(names), set(self.settings))
        self.assertEqual(set(names), settings_of_the_sources())

    def test_policies_write_below_the_policy_key_of_the_machine(self):
        for policy in self.policies:
            self.assertEqual((policy.get("key"), policy.get("class")), (POLICY_KEY, "Machine"))
        keys = (ROOT / "Src/KuvAuth/Support/SettingsKeys.h").read_text(encoding="utf-8")
        self.assertIn('"' + POLICY_KEY.replace("\\", "\\\\") + '"', keys)

    def test_types_and_ranges_match_the_settings(self):
        for policy in self.policies:
            name = policy.get("name")
            with self.subTest(name):
                self.assertEqual(self.kind_of(policy), self.settings[name])

    def kind_of(self, policy):
        name = policy.get("name")
        elements = policy.find(NAMESPACE + "elements")
        if elements is None:
            self.assertEqual(policy.get("valueName"), name)
            self.assertIsNone(policy.get("presentation"))
            numbers = [
                policy.find(f"{NAMESPACE}{state}/{NAMESPACE}decimal").get("value")
                for state in ("enabledValue", "disabledValue")
            ]
            self.assertEqual(numbers, ["1", "0"])
            return FLAG
        self.assertEqual(len(elements), 1)
        element = elements[0]
        self.assertEqual((element.get("id"), element.get("valueName")), (name, name))
        self.check_presentation(policy, element)
        match element.tag.removeprefix(NAMESPACE):
            case "text":
                # The limit of the library includes the terminator.
                self.assertEqual(int(element.get("maxLength")), self.table["mostTextBytes"] - 1)
                self.assertIsNone(element.get("expandable"))
                return TEXT
            case "multiText":
                most, length = int(element.get("maxStrings")), int(element.get("maxLength"))
                self.assertEqual((most, length), (self.table["mostProviders"], 38))
                # So many entries fit, with their terminators and that of the list, and one more does not.
                fits = [2 * (count * (length + 1) + 1) <= self.table["mostListBytes"] for count in (most, most + 1)]
                self.assertEqual(fits, [True, False])
                return LIST
            case "decimal":
                self.assertIsNone(element.get("storeAsText"))
                return int(element.get("minValue")), int(element.get("maxValue"))
            case "enum":
                return {int(item.get("value")) for item in element.iter(NAMESPACE + "decimal")}

    def check_presentation(self, policy, element):
        name = policy.get("name")
        self.assertEqual(policy.get("presentation"), f"$(presentation.{name})")
        controls = self.adml.find(f".//{NAMESPACE}presentation[@id='{name}']")
        kinds = {"text": "textBox", "decimal": "decimalTextBox", "enum": "dropdownList", "multiText": "multiTextBox"}
        self.assertEqual(
            [(control.tag.removeprefix(NAMESPACE), control.get("refId")) for control in controls],
            [(kinds[element.tag.removeprefix(NAMESPACE)], name)],
        )
        if element.tag == NAMESPACE + "decimal":
            # Without a default value in the template, the editor shows 1.
            default = int(controls[0].get("defaultValue", "1"))
            self.assertTrue(int(element.get("minValue")) <= default <= int(element.get("maxValue")))
        if element.tag == NAMESPACE + "enum":
            self.check_first_choice(name, [item.get("value") for item in element.iter(NAMESPACE + "decimal")],
                                    int(controls[0].get("defaultItem")))

    def check_first_choice(self, name, values, item):
        # A choice without an item for the default, such as the log level, starts with the first item.
        default = self.defaults[name]
        self.assertEqual(values[item], default if default in values else values[0])


if __name__ == "__main__":
    unittest.main()
