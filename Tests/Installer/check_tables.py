#!/usr/bin/env python3
"""Checks the tables of the package: what it declares, the order of its actions, and that it is reproducible.

The command line is that of package_script.py.
"""
import pathlib
import subprocess
import tempfile
import unittest

import package_script
from package_script import VERSION, make

FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"
CLASS = rf"SOFTWARE\Classes\CLSID\{FILTER}"
LIST = rf"SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters\{FILTER}"
EVENTS = r"SYSTEM\CurrentControlSet\Services\EventLog\Application\Kuvant"
LOCAL_MACHINE, BITS_64, REGISTRY_KEY_PATH = "2", 256, 4


def msiinfo(*arguments):
    return subprocess.run(["msiinfo", *arguments], check=True, capture_output=True, text=True).stdout


def names(package):
    return set(msiinfo("tables", package).split())


def table(package, name):
    """Returns the rows, each as a dictionary by column. An absent table has no rows."""
    if name not in names(package):
        return []
    text = msiinfo("export", package, name)
    lines = [line.split("\t") for line in text.replace("\r", "").rstrip("\n").split("\n")]
    return [dict(zip(lines[0], line)) for line in lines[3:]]


def keyed(package, name, column, value=None):
    return {row[column]: row[value] if value else row for row in table(package, name)}


class Package(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.package = package_script.package()
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.other = make("4.4.0.1", cls.folder.name)
        cls.properties = keyed(cls.package, "Property", "Property", "Value")

    def test_is_a_64_bit_package_for_all_users(self):
        self.assertIn("Template: x64;1033\n", msiinfo("suminfo", self.package))
        self.assertEqual(self.properties["ALLUSERS"], "1")

    def test_does_not_restart_the_machine_or_close_programs(self):
        self.assertEqual(self.properties["REBOOT"], "ReallySuppress")
        self.assertEqual(self.properties["MSIRESTARTMANAGERCONTROL"], "Disable")

    def test_runs_no_custom_actions(self):
        for name in ("CustomAction", "SelfReg", "Binary", "ServiceInstall", "ServiceControl"):
            self.assertEqual(table(self.package, name), [], name)

    def test_uninstall_removes_registry_values_before_files_and_upgrade_removes_old_version_last(self):
        order = {action: int(number)
                 for action, number in keyed(self.package, "InstallExecuteSequence", "Action", "Sequence").items()}
        wanted = ["FindRelatedProducts", "AppSearch", "LaunchConditions", "InstallValidate", "InstallInitialize",
                  "ProcessComponents", "RemoveRegistryValues", "RemoveFiles", "InstallFiles", "WriteRegistryValues",
                  "RegisterProduct", "PublishProduct", "InstallExecute", "RemoveExistingProducts", "InstallFinalize"]
        self.assertEqual([action for action in sorted(order, key=order.get) if action in wanted], wanted)

    def test_registers_the_filter_in_both_views(self):
        components = keyed(self.package, "Component", "Component")
        for bits, flags in (("64", BITS_64 | REGISTRY_KEY_PATH), ("32", REGISTRY_KEY_PATH)):
            name = f"Registration{bits}"
            rows = [row for row in table(self.package, "Registry") if row["Component_"] == name]
            self.assertEqual({row["Root"] for row in rows}, {LOCAL_MACHINE})
            self.assertEqual(sorted((row["Key"], row["Name"], row["Value"]) for row in rows), sorted([
                (LIST, "", "KuvCredFilter"),
                (CLASS, "", "KuvCredFilter"),
                (CLASS + r"\InprocServer32", "", f"[Folder{bits}]KuvCredFilter.dll"),
                (CLASS + r"\InprocServer32", "ThreadingModel", "Apartment")]))
            self.assertEqual(int(components[name]["Attributes"]), flags)
            self.assertEqual(int(components[f"Filter{bits}"]["Attributes"]), flags & BITS_64)

    def test_registers_only_the_event_source_and_the_version_besides(self):
        rows = [(row["Key"], row["Name"], row["Value"]) for row in table(self.package, "Registry")
                if not row["Component_"].startswith("Registration")]
        order = ".".join(f"{int(field):05}" for field in VERSION.split("."))
        self.assertEqual(sorted(rows), sorted([
            (EVENTS, "EventMessageFile", "#%[Folder64]KuvCredFilter.dll"),
            (EVENTS, "TypesSupported", "#7"),
            (r"SOFTWARE\Kuvant\KuvCredFilter", "VersionOrder", order)]))

    def test_every_component_belongs_to_the_feature(self):
        components = set(keyed(self.package, "Component", "Component"))
        self.assertEqual({row["Component_"] for row in table(self.package, "FeatureComponents")}, components)

    def test_installs_to_a_folder_named_by_the_version(self):
        folders = keyed(self.package, "Directory", "Directory")
        for bits, top in (("64", "ProgramFiles64Folder"), ("32", "ProgramFilesFolder")):
            folder, path = folders[f"Folder{bits}"], []
            while folder["Directory"] != top:
                path.append(folder["DefaultDir"].split("|")[-1])
                folder = folders[folder["Directory_Parent"]]
            self.assertEqual(path[::-1], ["Kuvant", "KuvCredProv", VERSION])

    # In an administrative image the two DLLs differ only by these folder names.
    def test_separates_64_and_32_bits_in_an_administrative_image(self):
        folders = keyed(self.package, "Directory", "Directory", "DefaultDir")
        self.assertEqual((folders["ProgramFiles64Folder"], folders["ProgramFilesFolder"]), ("PFiles64", "PFiles"))

    def test_every_file_has_a_version_or_a_hash(self):
        files, hashes = keyed(self.package, "File", "File"), keyed(self.package, "MsiFileHash", "File_")
        for name in ("Filter64.dll", "Filter32.dll"):
            self.assertEqual((files[name]["Version"], files[name]["Language"]), (VERSION, "1033"))
        self.assertEqual({name for name, row in files.items() if not row["Version"]}, set(hashes))

    def test_another_version_is_another_product_with_the_same_registration_components(self):
        other = keyed(self.other, "Property", "Property", "Value")
        self.assertEqual(other["UpgradeCode"], self.properties["UpgradeCode"])
        self.assertNotEqual(other["ProductCode"], self.properties["ProductCode"])
        first, second = (keyed(package, "Component", "Component") for package in (self.package, self.other))
        self.assertEqual(set(first), set(second))
        same = {name for name in first if first[name]["ComponentId"] == second[name]["ComponentId"]}
        self.assertEqual(same, {"Registration64", "Registration32", "EventSource", "VersionMark"})
        # Components with the same identifier must have the same key path.
        for name in same:
            self.assertEqual(first[name], second[name])

    def test_identifiers_do_not_change(self):
        self.assertEqual(self.properties["UpgradeCode"], "{8A9B1D5E-3C47-4F0A-9E62-D1B57C20F386}")
        identifiers = keyed(self.package, "Component", "Component", "ComponentId")
        self.assertEqual({name: identifiers[name] for name in
                          ("Registration64", "Registration32", "EventSource", "VersionMark")}, {
            "Registration64": "{5B2E6D11-94A3-4C8B-8F57-0E3A6BD91C24}",
            "Registration32": "{A1F3C8D6-72B5-4390-9D0E-5C4E86B72F1B}",
            "EventSource": "{D70F8E35-1B62-4E9D-A4C8-63F92B5017EA}",
            "VersionMark": "{E4C95A07-6F2D-4D18-B3E0-A87C1F46D952}"})

    def test_the_same_programs_make_the_same_bytes(self):
        with tempfile.TemporaryDirectory() as folder:
            again = make(VERSION, folder)
            self.assertEqual(again.read_bytes(), self.package.read_bytes())

    def test_a_downgrade_is_refused_with_a_message(self):
        conditions = keyed(self.package, "LaunchCondition", "Description", "Condition")
        order = ".".join(f"{int(field):05}" for field in VERSION.split("."))
        self.assertEqual(conditions, {
            "A newer version of the Kuv Credential Provider Filter is installed. "
            f"To go back to version {VERSION}, remove the newer one first.":
                f'Installed OR NOT (KUV_NEWER OR KUV_INSTALLED > "{order}")'})


class Command(unittest.TestCase):
    def fails(self, *arguments):
        run = subprocess.run(package_script.command(*arguments), capture_output=True, text=True)
        self.assertNotEqual(run.returncode, 0)
        return run.stderr

    def test_rejects_an_invalid_version(self):
        for version in ("4.3.1700", "4.3.1700.x", "4.3.1700.1150.1", "256.0.0.0", "1.256.0.0", "1.1.65535.0",
                        "1.1.1.65536"):
            with self.subTest(version), tempfile.TemporaryDirectory() as folder:
                well_formed = version.count(".") == 3 and version[-1].isdigit()
                self.assertIn(f"version {version}" if well_formed else "not a version",
                              self.fails("--output", folder, "--version", version))
                self.assertEqual(list(pathlib.Path(folder).iterdir()), [])

    def test_rejects_an_unknown_option(self):
        self.assertIn("unknown option --sign", self.fails("--sign"))
        self.assertIn("--version requires a value", self.fails("--version"))


if __name__ == "__main__":
    unittest.main()
