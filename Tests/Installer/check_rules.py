#!/usr/bin/env python3
"""Checks the package against the rules of Windows Installer that its validation (the ICE checks) would apply.

The command line is that of package_script.py. The number of an ICE check is next to the rule that it contains. The
checks themselves run on Windows only. Left out on purpose: ICE33, which prefers the Class table to registry values.
That table cannot write the same class to both views.
"""
import itertools
import re
import unittest

import package_script
import package_tables
from package_tables import BITS_64, PERMANENT, REGISTRY_KEY_PATH

GUID = re.compile(r"\{[0-9A-F]{8}-([0-9A-F]{4}-){3}[0-9A-F]{12}\}")
IDENTIFIER = re.compile(r"[A-Za-z_][A-Za-z0-9_.]*")
PUBLIC_PROPERTY = re.compile(r"[A-Z_][A-Z0-9_.]*")

# Standard actions by the documented order, as far as the package uses them.
ORDER = ["FindRelatedProducts", "AppSearch", "LaunchConditions", "ValidateProductID", "CostInitialize", "FileCost",
         "CostFinalize", "SetInstallLocation", "MigrateFeatureStates", "InstallValidate", "InstallInitialize",
         "ProcessComponents", "UnpublishFeatures", "RemoveRegistryValues", "RemoveFiles", "RemoveFolders",
         "CreateFolders", "InstallFiles", "WriteRegistryValues", "RegisterUser", "RegisterProduct", "PublishFeatures",
         "PublishProduct", "InstallExecute", "RemoveExistingProducts", "InstallFinalize"]
REQUIRED = {"CostInitialize", "FileCost", "CostFinalize", "InstallValidate", "InstallInitialize", "ProcessComponents",
            "UnpublishFeatures", "RemoveRegistryValues", "RemoveFiles", "RemoveFolders", "CreateFolders",
            "InstallFiles", "WriteRegistryValues", "RegisterUser", "RegisterProduct", "PublishFeatures",
            "PublishProduct", "InstallFinalize"}

# Foreign keys: (table, column) to (table, column of the key).
REFERENCES = {
    ("Component", "Directory_"): ("Directory", "Directory"),
    ("CreateFolder", "Component_"): ("Component", "Component"),
    ("CreateFolder", "Directory_"): ("Directory", "Directory"),
    ("Directory", "Directory_Parent"): ("Directory", "Directory"),
    ("FeatureComponents", "Component_"): ("Component", "Component"),
    ("FeatureComponents", "Feature_"): ("Feature", "Feature"),
    ("File", "Component_"): ("Component", "Component"),
    ("MsiFileHash", "File_"): ("File", "File"),
    ("Registry", "Component_"): ("Component", "Component"),
    ("AppSearch", "Signature_"): ("RegLocator", "Signature_"),
}
# Folders that Windows Installer defines.
PREDEFINED = {"ProgramFiles64Folder", "ProgramFilesFolder", "CommonAppDataFolder", "TARGETDIR"}


class Rules(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        package = package_script.package()
        cls.tables = {name: package_tables.table(package, name) for name in package_tables.names(package)}
        cls.path = staticmethod(lambda name: package_tables.target_path(package, name))
        cls.properties = {row["Property"]: row["Value"] for row in cls.tables["Property"]}
        cls.components = {row["Component"]: row for row in cls.tables["Component"]}
        cls.summary = package_tables.msiinfo("suminfo", package)

    def attributes(self, component):
        return int(self.components[component]["Attributes"])

    def sequence(self, table):
        return {row["Action"]: int(row["Sequence"]) for row in self.tables[table]}

    def test_references_have_targets(self):  # ICE03
        for (table, column), (target, key) in REFERENCES.items():
            known = {row[key] for row in self.tables[target]}
            for row in self.tables[table]:
                if row[column]:
                    self.assertIn(row[column], known, f"{table}.{column}")

    def test_identifiers_are_well_formed_and_unique(self):  # ICE03
        keys = {"Component": "Component", "Directory": "Directory", "File": "File", "Registry": "Registry",
                "Property": "Property", "CustomAction": "Action", "Feature": "Feature", "Icon": "Name",
                "MsiLockPermissionsEx": "MsiLockPermissionsEx"}
        for table, key in keys.items():
            found = [row[key] for row in self.tables[table]]
            self.assertTrue(found, table)
            self.assertEqual(len(found), len(set(found)), table)
            for name in found:
                self.assertRegex(name, IDENTIFIER)
                self.assertLessEqual(len(name), 38 if table == "Feature" else 72)

    def test_identifiers_of_products_and_components_are_unique_guids(self):  # ICE08, ICE24, ICE92
        guids = [row["ComponentId"] for row in self.tables["Component"]]
        guids += [self.properties["ProductCode"], self.properties["UpgradeCode"]]
        self.assertEqual(len(guids), len(set(guids)))
        for guid in guids:
            self.assertRegex(guid, rf"^{GUID.pattern}$")

    def test_product_properties_are_complete(self):  # ICE24
        for name in ("ProductName", "ProductVersion", "ProductLanguage", "Manufacturer"):
            self.assertTrue(self.properties[name], name)
        major, minor, build = map(int, self.properties["ProductVersion"].split(".")[:3])
        self.assertTrue(major < 256 and minor < 256 and build < 65536)
        # A package that is always per machine.
        self.assertEqual(self.properties["ALLUSERS"], "1")

    def test_every_component_has_a_valid_key_path(self):  # ICE18
        files = {row["File"]: row["Component_"] for row in self.tables["File"]}
        values = {row["Registry"]: row for row in self.tables["Registry"]}
        created = {(row["Directory_"], row["Component_"]) for row in self.tables["CreateFolder"]}
        for name, row in self.components.items():
            key = row["KeyPath"]
            with self.subTest(name):
                if self.attributes(name) & REGISTRY_KEY_PATH:
                    self.assertEqual(values[key]["Component_"], name)
                    # A key without a value cannot be a key path.
                    self.assertNotIn(values[key]["Name"], ("+", "-", "*"))
                    self.assertTrue(values[key]["Value"])
                elif key:
                    self.assertEqual(files[key], name)
                else:
                    self.assertIn((row["Directory_"], name), created)

    def test_attributes_of_components_are_known(self):  # ICE45
        known = BITS_64 | PERMANENT | REGISTRY_KEY_PATH
        for name in self.components:
            self.assertEqual(self.attributes(name) & ~known, 0, name)

    def test_64_bit_attributes_fit_folders_and_platform(self):  # ICE80
        self.assertRegex(self.summary, r"Template: x64;")
        self.assertGreaterEqual(int(re.search(r"Version: (\d+)", self.summary)[1]), 200)
        tops = {"ProgramFiles64Folder": True, "ProgramFilesFolder": False}
        seen = set()
        for name, row in self.components.items():
            top = self.path(row["Directory_"])[0]
            if top in tops:
                self.assertEqual(bool(self.attributes(name) & BITS_64), tops[top], name)
                seen.add(top)
        self.assertEqual(seen, set(tops))
        # The shared folder for data has one component for each view of the registry.
        data = [bool(self.attributes(name) & BITS_64) for name, row in self.components.items()
                if row["Directory_"] == "DataFolder"]
        self.assertEqual(sorted(data), [False, True])

    def test_no_two_components_contain_the_same_file_or_value(self):  # ICE30
        files = [(*self.path(self.components[row["Component_"]]["Directory_"]), part.lower())
                 for row in self.tables["File"] for part in set(row["FileName"].split("|"))]
        self.assertEqual(len(files), len(set(files)))
        values = [(self.attributes(row["Component_"]) & BITS_64, row["Root"], row["Key"].lower(), row["Name"].lower())
                  for row in self.tables["Registry"]]
        self.assertEqual(len(values), len(set(values)))

    def test_names_of_files_and_folders_are_valid(self):  # ICE03
        # The short name, 8.3, or the short and the long name.
        short = re.compile(r"[\w~-]{1,8}(\.[\w~-]{1,3})?")
        names = [row["FileName"] for row in self.tables["File"]]
        names += [row["DefaultDir"] for row in self.tables["Directory"]]
        for name in names:
            first, _, long = name.partition("|")
            if first != "SourceDir":
                self.assertRegex(first, rf"^{short.pattern}$")
            self.assertNotRegex(long or first, r'[\\?|><:/*"]')

    def test_only_machine_data_is_installed(self):  # ICE38, ICE57, ICE64
        # 2: HKEY_LOCAL_MACHINE.
        self.assertEqual({row["Root"] for row in self.tables["Registry"]}, {"2"})
        self.assertEqual({self.path(row["Directory_"])[0] for row in self.components.values()},
                         PREDEFINED - {"TARGETDIR"})

    def test_only_components_for_data_are_permanent(self):  # ICE92
        permanent = {name for name in self.components if self.attributes(name) & PERMANENT}
        self.assertEqual(permanent, {"Data64", "Data32"})
        # An uninstall would remove a folder that this table names.
        self.assertEqual(self.tables.get("RemoveFile", []), [])

    def test_files_have_sequence_numbers_of_the_medium(self):  # ICE04, ICE71
        numbers = sorted(int(row["Sequence"]) for row in self.tables["File"])
        self.assertEqual(numbers, list(range(1, len(numbers) + 1)))
        self.assertEqual([(row["DiskId"], row["LastSequence"], row["Cabinet"]) for row in self.tables["Media"]],
                         [("1", str(len(numbers)), "#files.cab")])

    def test_files_with_a_version_have_a_language(self):  # ICE60
        for row in self.tables["File"]:
            self.assertEqual(bool(row["Version"]), bool(row["Language"]), row["File"])
        versions = [row["File"] for row in self.tables["File"] if row["Version"]]
        self.assertEqual({name for name in versions if not name.endswith((".dll", ".exe"))}, set())
        self.assertGreaterEqual(len(versions), 2)

    def test_actions_are_known_and_in_order(self):  # ICE26, ICE27, ICE63, ICE82, ICE84
        order = self.sequence("InstallExecuteSequence")
        self.assertEqual(sorted(order, key=order.get), [action for action in ORDER if action in order])
        self.assertLessEqual(REQUIRED, set(order))
        self.assertEqual(len(set(order.values())), len(order))
        for row in self.tables["InstallExecuteSequence"]:
            self.assertEqual(row["Condition"], "NOT Installed" if row["Action"] == "InstallExecute" else "")

    def test_each_table_has_its_actions(self):
        used = {"File": {"InstallFiles", "RemoveFiles"}, "CreateFolder": {"CreateFolders", "RemoveFolders"},
                "Registry": {"WriteRegistryValues", "RemoveRegistryValues"},
                "Upgrade": {"FindRelatedProducts", "MigrateFeatureStates", "RemoveExistingProducts"},
                "AppSearch": {"AppSearch"}, "LaunchCondition": {"LaunchConditions"}}
        order = self.sequence("InstallExecuteSequence")
        for table, actions in used.items():
            self.assertTrue(self.tables[table], table)
            self.assertLessEqual(actions, set(order), table)

    def test_searches_and_conditions_run_once_with_and_without_a_window(self):
        execute, window = (self.sequence(f"Install{name}Sequence") for name in ("Execute", "UI"))
        for action in ("FindRelatedProducts", "AppSearch", "LaunchConditions"):
            self.assertEqual(execute[action], window[action])
        # The process with the window passes only these properties to the service.
        secure = self.properties["SecureCustomProperties"].split(";")
        found = {row["Property"] for row in self.tables["AppSearch"]}
        found |= {row["ActionProperty"] for row in self.tables["Upgrade"]}
        self.assertEqual(sorted(secure), sorted(found))
        for name in secure:
            self.assertRegex(name, rf"^{PUBLIC_PROPERTY.pattern}$")

    def test_advertisement_publishes_the_product(self):  # ICE72, ICE96
        actions = set(self.sequence("AdvtExecuteSequence"))
        self.assertLessEqual({"PublishFeatures", "PublishProduct"}, actions)
        self.assertNotIn("SetInstallLocation", actions)

    def test_upgrades_are_declared_consistently(self):  # ICE61
        rows = self.tables["Upgrade"]
        self.assertEqual({row["UpgradeCode"] for row in rows}, {self.properties["UpgradeCode"]})
        self.assertEqual(len({row["ActionProperty"] for row in rows}), len(rows))
        own = [int(part) for part in self.properties["ProductVersion"].split(".")[:3]]
        limit = ".".join(map(str, [*own[:2], own[2] + 1]))
        # 256: the lowest version is part of the range. 2: only detected.
        self.assertEqual(sorted((row["VersionMin"], row["VersionMax"], int(row["Attributes"]) & 2) for row in rows),
                         sorted([("0.0.0", limit, 0), (limit, "", 2)]))

    def test_properties_in_conditions_and_formats_exist(self):
        known = {*self.properties, *(row["Property"] for row in self.tables["AppSearch"]),
                 *(row["ActionProperty"] for row in self.tables["Upgrade"]), "Installed",
                 *(row["Directory"] for row in self.tables["Directory"])}
        for row in self.tables["LaunchCondition"]:
            words = set(re.findall(r"[A-Za-z_]\w*", re.sub(r'"[^"]*"', "", row["Condition"]))) - {"OR", "NOT", "AND"}
            self.assertLessEqual(words, known, row["Condition"])
            self.assertTrue(row["Condition"].startswith("Installed OR "), "an uninstall must always be possible")
        formats = [row["Value"] for row in self.tables["Registry"]]
        formats += [row["Target"] for row in self.tables["CustomAction"]]
        used = set(itertools.chain.from_iterable(re.findall(r"\[(\w+)\]", text) for text in formats))
        self.assertEqual(used, {"Folder64", "Folder32"})
        self.assertLessEqual(used, known)

    def test_folder_identifiers_differ_from_properties(self):  # ICE99
        self.assertEqual(set(self.properties) & {row["Directory"] for row in self.tables["Directory"]}, set())

    def test_the_icon_is_named_like_its_file_type(self):  # ICE50
        names = {row["Name"] for row in self.tables["Icon"]}
        self.assertEqual(names, {self.properties["ARPPRODUCTICON"]})
        self.assertTrue(all(name.endswith(".ico") for name in names))

    def test_locked_objects_exist(self):  # ICE55
        targets = {"CreateFolder": {row["Directory_"] for row in self.tables["CreateFolder"]},
                   "Registry": {row["Registry"] for row in self.tables["Registry"]}}
        for row in self.tables["MsiLockPermissionsEx"]:
            self.assertIn(row["LockObject"], targets[row["Table"]])


if __name__ == "__main__":
    unittest.main()
