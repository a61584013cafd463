#!/usr/bin/env python3
"""Checks the group policy template: every reference resolves, each policy writes a value that the library reads, and
each explanation is complete and agrees with the table of settings.

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
# Every user can read a policy.
SECRET = "SKey"

# The paragraphs about the three states of a policy setting. Disabling one that has only an element deletes its value.
ENABLED = "If you enable this policy setting, "
DISABLED = "If you disable this policy setting, "
LOCAL = "the local value applies. If there is no local value, the default applies."
WITHOUT = "If you do not configure this policy setting, " + LOCAL
ELEMENT_WITHOUT = "If you disable or do not configure this policy setting, " + LOCAL
# If the policy key exists, the library ignores the local value of this setting.
NO_LOCAL = {
    "OfflineMaxUsers": "If you disable or do not configure this policy setting, the local value applies only on "
                       "machines without any policy setting of this product. On all other machines the default "
                       "applies."}
EFFECTS = {"at once": "at the next logon screen or prompt", "next screen": "at the next logon screen or prompt",
           "next process": "after you sign out or restart", "next log": "after you sign out or restart"}
BYPASS = "without the second factor"
PASSWORD_PROVIDER = "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD}"


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


class PolicyTestCase(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.admx, cls.adml = parse("Kuvant.admx"), parse("en-US/Kuvant.adml")
        cls.policies = cls.admx.findall(f".//{NAMESPACE}policy")
        printed = subprocess.run([*PROGRAM, "--json"], check=True, stdout=subprocess.PIPE).stdout
        cls.table = json.loads(printed)
        cls.settings = {row["name"]: kind_in_table(row) for row in cls.table["settings"]}
        cls.defaults = {row["name"]: row["default"] for row in cls.table["settings"]}
        cls.texts = {text.get("id"): text.text for text in cls.adml.iter(NAMESPACE + "string")}


class Template(PolicyTestCase):
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

    def test_every_setting_except_the_secret_has_one_policy(self):
        names = [policy.get("name") for policy in self.policies]
        self.assertEqual(len(names), len(set(names)))
        self.assertEqual(set(self.settings), settings_of_the_sources())
        self.assertEqual(set(self.settings) - set(names), {SECRET})
        self.assertEqual(set(names) - set(self.settings), set())
        for name in ("Kuvant.admx", "en-US/Kuvant.adml"):
            self.assertNotIn(SECRET, (ROOT / "Packaging/PolicyDefinitions" / name).read_text(encoding="utf-8"))

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


class Explanations(PolicyTestCase):
    """The texts that the policy editor shows next to a policy setting."""

    def each(self):
        """Returns name, element or None, explanation without its last lines, and these lines by their label."""
        for policy in self.policies:
            name = policy.get("name")
            self.assertEqual(policy.get("explainText"), f"$(string.{name}_Explain)")
            *paragraphs, facts = self.texts[name + "_Explain"].split("\n\n")
            elements = policy.find(NAMESPACE + "elements")
            lines = [line.split(": ", 1) for line in facts.split("\n")]
            self.assertEqual(len(dict(lines)), len(lines), name)
            yield name, elements[0] if elements is not None else None, paragraphs, dict(lines)

    def choices(self, element):
        """Returns the texts of a drop-down list by value."""
        return {item.find(f".//{NAMESPACE}decimal").get("value"):
                self.texts[re.fullmatch(r"\$\(string\.(\w+)\)", item.get("displayName"))[1]]
                for item in element.iter(NAMESPACE + "item")}

    def test_begins_with_the_purpose_and_describes_all_three_states(self):
        for name, element, paragraphs, _ in self.each():
            with self.subTest(name):
                self.assertTrue(paragraphs[0].startswith("This policy setting "))
                states = paragraphs[1]
                self.assertTrue(states.startswith(ENABLED))
                if element is None:
                    self.assertEqual(states.count(DISABLED), 1)
                    self.assertTrue(states.endswith(" " + WITHOUT))
                else:
                    self.assertNotIn(DISABLED, states)
                    self.assertTrue(states.endswith(" " + NO_LOCAL.get(name, ELEMENT_WITHOUT)))

    def test_gives_the_default_of_the_library(self):
        for name, element, _, facts in self.each():
            with self.subTest(name):
                default = self.defaults[name]
                if element is None:
                    default = {"0": "disabled", "1": "enabled"}[default]
                elif element.tag == NAMESPACE + "enum":
                    # A default that the editor does not offer.
                    default = self.choices(element).get(default, "none")
                elif element.tag == NAMESPACE + "decimal" and int(default) < int(element.get("minValue")):
                    default = "none"
                self.assertEqual(facts["Default"], default)

    def test_gives_range_and_unit(self):
        for name, element, _, facts in self.each():
            with self.subTest(name):
                kind = element.tag.removeprefix(NAMESPACE) if element is not None else FLAG
                ranges = {
                    "text": lambda: f"up to {int(element.get('maxLength')):,} characters",
                    "multiText": lambda: f"up to {element.get('maxStrings')} identifiers of {element.get('maxLength')} "
                                         "characters",
                    "decimal": lambda: f"{int(element.get('minValue')):,} to {int(element.get('maxValue')):,}",
                }
                self.assertEqual(facts.get("Range"), ranges[kind]() if kind in ranges else None)
                self.assertEqual("Unit" in facts, kind == "decimal")
                if kind == "decimal":
                    # The editor shows the unit in front of the number.
                    box = self.adml.find(f".//{NAMESPACE}presentation[@id='{name}']/{NAMESPACE}decimalTextBox")
                    self.assertEqual(box.text.lower(), facts["Unit"] + ":")

    def test_gives_a_possible_example(self):
        for name, element, _, facts in self.each():
            with self.subTest(name):
                example = facts["Example"]
                kind = element.tag.removeprefix(NAMESPACE) if element is not None else FLAG
                match kind:
                    case "text":
                        self.assertTrue(0 < len(example) <= int(element.get("maxLength")) and " " not in example)
                    case "multiText":
                        self.assertRegex(example, r"^\{[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}\}$")
                        self.assertNotEqual(example, PASSWORD_PROVIDER)
                    case "decimal":
                        self.assertTrue(int(element.get("minValue")) <= int(example) <= int(element.get("maxValue")))
                    case "enum":
                        self.assertIn(example, self.choices(element).values())
                    case _:
                        self.assertRegex(example, r"^(enable|disable) it .+\.$")

    def test_says_when_a_change_takes_effect(self):
        effects = {row["name"]: row["effect"] for row in self.table["settings"]}
        for name, _, _, facts in self.each():
            with self.subTest(name):
                self.assertEqual(facts["Takes effect"], EFFECTS[effects[name]])

    def test_has_no_other_facts(self):
        for name, _, _, facts in self.each():
            with self.subTest(name):
                labels = ("Default", "Unit", "Range", "Example", "Takes effect")
                self.assertEqual(list(facts), [label for label in labels if label in facts])

    def test_names_no_value_that_is_not_offered(self):
        for name, element, paragraphs, _ in self.each():
            with self.subTest(name):
                text = " ".join(paragraphs)
                numbers = {int(number) for number in re.findall(r"(?<![\w:{-])\d+(?![\w}-])", text)}
                if element is not None and element.tag == NAMESPACE + "decimal":
                    for number in numbers:
                        self.assertTrue(int(element.get("minValue")) <= number <= int(element.get("maxValue")))
                else:
                    self.assertEqual(numbers - ({443} if name == "Host" else set()), set())
                # An empty box is refused or writes no value.
                self.assertNotRegex(text, r"(?i)\bempty\b")

    def test_names_other_policy_settings_by_their_titles(self):
        titles = {self.texts[policy.get("name")] for policy in self.policies}
        for name, _, paragraphs, facts in self.each():
            with self.subTest(name):
                quoted = set(re.findall(r'"([^"]+)"', " ".join([*paragraphs, facts["Example"]]))) - {":port"}
                self.assertLessEqual(quoted, titles - {self.texts[name]})

    def test_says_how_users_can_sign_in_without_the_second_factor(self):
        texts = {name: " ".join(paragraphs) for name, _, paragraphs, _ in self.each()}
        for name in ("ProvidersWhitelist", "EnableSmartCards", "WrapSmartCards", "RdpOnly"):
            self.assertIn(BYPASS, texts[name], name)
        self.assertIn("Do not list the Windows password provider, " + PASSWORD_PROVIDER, texts["ProvidersWhitelist"])
        for name in ("Host", "IKey"):
            self.assertIn("The client key is not a policy setting, because every user can read policy settings",
                          texts[name])


if __name__ == "__main__":
    unittest.main()
