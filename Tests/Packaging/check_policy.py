#!/usr/bin/env python3
"""Checks the group policy template: every reference resolves, and each policy writes what the library reads.

    check_policy.py SOURCE-FOLDER
"""
import pathlib
import re
import sys
import unittest
import xml.etree.ElementTree as ET

ROOT = pathlib.Path(sys.argv.pop(1) if len(sys.argv) > 1 else ".")
NAMESPACE = "{http://schemas.microsoft.com/GroupPolicy/2006/07/PolicyDefinitions}"
POLICY_KEY = r"Software\Policies\Kuvant\KuvCredProv"

TEXT, FLAG, LIST = "text", "flag", "list"
# How the library reads each setting: numbers with what it takes at face value, enumerations with what it knows.
SETTINGS = {
    "Host": TEXT,
    "IKey": TEXT,
    "SKey": TEXT,
    "FailOpen": FLAG,
    "EnableSmartCards": FLAG,
    "WrapSmartCards": FLAG,
    "AutoPush": FLAG,
    "local_ip_fallback": FLAG,
    "UsernameFormatForService": {0, 1, 2},
    "HttpProxyHost": TEXT,
    "HttpProxyPort": (1, 65535),
    "OfflineAvailable": FLAG,
    "OfflineMaxUsers": (0, 50),
    "ProvidersWhitelist": LIST,
    "ElevationProtectionMode": {0, 1, 2},
    "ElevationOfflineEnable": FLAG,
    "ElevationOfflineEnrollment": FLAG,
    "InactivityTimeoutSeconds": (0, 0xFFFFFFFF),
    "Debug": {1, 2},
    "RdpOnly": FLAG,
    "LogFileMaxSizeMB": (0, 4096),
    "LogFileMaxCount": (0, 100),
}


def parse(name):
    return ET.parse(ROOT / "Packaging" / "PolicyDefinitions" / name).getroot()


def settings_of_the_sources():
    """Every name that the library gives to one of its readers of settings."""
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

    def test_references_resolve_and_nothing_is_left_over(self):
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
        self.assertEqual(set(names), set(SETTINGS))
        self.assertEqual(set(names), settings_of_the_sources())

    def test_policies_write_below_the_policy_key_of_the_machine(self):
        for policy in self.policies:
            self.assertEqual((policy.get("key"), policy.get("class")), (POLICY_KEY, "Machine"))
        keys = (ROOT / "Src/KuvAuth/Support/SettingsKeys.h").read_text(encoding="utf-8")
        self.assertIn('"' + POLICY_KEY.replace("\\", "\\\\") + '"', keys)

    def test_types_and_ranges_are_those_that_are_read(self):
        for policy in self.policies:
            name = policy.get("name")
            with self.subTest(name):
                self.assertEqual(self.kind_of(policy), SETTINGS[name])

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
                # 1,024 bytes with the terminator.
                self.assertEqual(element.get("maxLength"), "1023")
                self.assertIsNone(element.get("expandable"))
                return TEXT
            case "multiText":
                # Nine identifiers of 38 characters fit 760 bytes, ten do not.
                self.assertEqual((element.get("maxStrings"), element.get("maxLength")), ("9", "38"))
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
            default = int(controls[0].get("defaultValue"))
            self.assertTrue(int(element.get("minValue")) <= default <= int(element.get("maxValue")))


if __name__ == "__main__":
    unittest.main()
