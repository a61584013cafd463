#!/usr/bin/env python3
"""Checks the tables of the package: what it declares, the order of its actions, and that it is reproducible.

The command line is that of package_script.py.
"""
import hashlib
import pathlib
import re
import struct
import subprocess
import tempfile
import unittest

import package_script
from package_script import VERSION, make
from package_tables import BITS_64, PERMANENT, REGISTRY_KEY_PATH, keyed, msiinfo, table, target_path

FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"
CLASS = rf"SOFTWARE\Classes\CLSID\{FILTER}"
LIST = rf"SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters\{FILTER}"
EVENTS = r"SYSTEM\CurrentControlSet\Services\EventLog\Application\Kuvant"
SETTINGS = r"SOFTWARE\Kuvant\KuvCredProv"
LOCAL_MACHINE = "2"

# The components that all versions have in common.
SHARED = {
    "Registration64": "{5B2E6D11-94A3-4C8B-8F57-0E3A6BD91C24}",
    "Registration32": "{A1F3C8D6-72B5-4390-9D0E-5C4E86B72F1B}",
    "EventSource": "{D70F8E35-1B62-4E9D-A4C8-63F92B5017EA}",
    "VersionMark": "{E4C95A07-6F2D-4D18-B3E0-A87C1F46D952}",
    "Data64": "{C2A9E7D4-58B1-4F36-8D0C-7B41E95A3F68}",
    "Data32": "{1D84F06B-C3E7-4A52-9B1F-2E60D7A8953C}",
}


def security(text):
    """Returns the parts of a security descriptor in SDDL, or None if the text is not one."""
    match = re.fullmatch(r"O:(\w+)G:(\w+)D:(P?(?:AI)?(?:AR)?)((?:\([^()]*\))*)", text)
    return match and {"owner": match[1], "group": match[2], "flags": match[3],
                      "entries": [tuple(entry.split(";")) for entry in re.findall(r"\(([^()]*)\)", match[4])]}


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

    def test_runs_no_program_or_dll(self):
        # 51: sets a property.
        self.assertEqual([(row["Type"], row["Source"], row["Target"]) for row in table(self.package, "CustomAction")],
                         [("51", "ARPINSTALLLOCATION", "[Folder64]")])
        for name in ("SelfReg", "Binary", "ServiceInstall", "ServiceControl"):
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

    def test_registers_only_the_event_source_the_version_and_the_settings_keys_besides(self):
        rows = [(row["Key"], row["Name"], row["Value"]) for row in table(self.package, "Registry")
                if not row["Component_"].startswith("Registration")]
        order = ".".join(f"{int(field):05}" for field in VERSION.split("."))
        self.assertEqual(sorted(rows), sorted([
            (EVENTS, "EventMessageFile", "#%[Folder64]KuvCredFilter.dll"),
            (EVENTS, "TypesSupported", "#7"),
            (r"SOFTWARE\Kuvant\KuvCredFilter", "VersionOrder", order),
            (r"SOFTWARE\Kuvant\KuvCredFilter", "Version", VERSION),
            (r"SOFTWARE\Kuvant\KuvCredFilter", "InstallFolder", "[Folder64]"),
            (SETTINGS, "+", ""), (SETTINGS, "+", "")]))

    def test_creates_log_folder_and_settings_keys_and_keeps_them_on_uninstall(self):
        components = keyed(self.package, "Component", "Component")
        keys = {row["Component_"]: (row["Root"], row["Key"], row["Name"], row["Value"])
                for row in table(self.package, "Registry") if row["Key"] == SETTINGS}
        # The name "+" creates the key and removes nothing.
        self.assertEqual(keys, dict.fromkeys(("Data64", "Data32"), (LOCAL_MACHINE, SETTINGS, "+", "")))
        for name, flags in (("Data64", BITS_64 | PERMANENT), ("Data32", PERMANENT)):
            self.assertEqual((int(components[name]["Attributes"]), components[name]["Directory_"]),
                             (flags, "DataFolder"))
        self.assertEqual(target_path(self.package, "DataFolder"), ["CommonAppDataFolder", "Kuvant"])
        self.assertEqual({row["Directory_"] for row in table(self.package, "CreateFolder")}, {"DataFolder"})
        self.assertEqual(table(self.package, "RemoveFile"), [])

    def test_only_system_and_administrators_have_access_to_log_folder_and_settings_keys(self):
        """Parses the security descriptors. Wine ignores them."""
        keys = {row["Registry"] for row in table(self.package, "Registry") if row["Key"] == SETTINGS}
        rows = table(self.package, "MsiLockPermissionsEx")
        self.assertEqual({(row["Table"], row["LockObject"]) for row in rows},
                         {("CreateFolder", "DataFolder"), *(("Registry", key) for key in keys)})
        self.assertEqual((len(rows), len(keys)), (3, 2))
        for row in rows:
            folder = row["Table"] == "CreateFolder"
            # FA and KA: all access to a file and to a key. Files and folders inherit from a folder, keys from a key.
            entry = ("A", "OICI" if folder else "CI", "FA" if folder else "KA", "", "")
            self.assertEqual(security(row["SDDLText"]), {
                "owner": "BA", "group": "BA", "flags": "P", "entries": [(*entry, "SY"), (*entry, "BA")]})
            self.assertEqual(row["Condition"], "")
            page = (package_script.SOURCE / "Docs/Installer.md").read_text(encoding="utf-8")
            self.assertIn(f"| `{row['SDDLText']}` |", page)
        # Windows Installer 5.0 was the first to read this table, and reads no LockPermissions table next to it.
        self.assertIn("Version: 500 ", msiinfo("suminfo", self.package))
        self.assertEqual(table(self.package, "LockPermissions"), [])

    def test_shows_icon_help_link_and_folder_in_the_list_of_programs(self):
        self.assertEqual(self.properties["ARPHELPLINK"], "https://kuv.example/filter")
        self.assertEqual(self.properties["ARPPRODUCTICON"], "Kuvant.ico")
        self.assertEqual(list(keyed(self.package, "Icon", "Name")), ["Kuvant.ico"])
        icon = subprocess.run(["msiinfo", "extract", self.package, "Icon.Kuvant.ico"], check=True,
                              capture_output=True).stdout
        self.assertEqual(icon, (package_script.SOURCE / "Packaging/Installer/Kuvant.ico").read_bytes())
        reserved, kind, count = struct.unpack_from("<HHH", icon)
        images = [struct.unpack_from("<BBBBHHII", icon, 6 + 16 * number) for number in range(count)]
        self.assertEqual((reserved, kind, [image[0] for image in images]), (0, 1, [16, 32, 48]))
        self.assertEqual(images[-1][6] + images[-1][7], len(icon))

    def test_every_component_belongs_to_the_feature(self):
        components = set(keyed(self.package, "Component", "Component"))
        self.assertEqual({row["Component_"] for row in table(self.package, "FeatureComponents")}, components)

    def test_installs_to_a_folder_named_by_the_version(self):
        for bits, top in (("64", "ProgramFiles64Folder"), ("32", "ProgramFilesFolder")):
            self.assertEqual(target_path(self.package, f"Folder{bits}"), [top, "Kuvant", "KuvCredProv", VERSION])

    # In an administrative image the two DLLs differ only by these folder names.
    def test_separates_64_and_32_bits_in_an_administrative_image(self):
        folders = keyed(self.package, "Directory", "Directory", "DefaultDir")
        self.assertEqual((folders["ProgramFiles64Folder"], folders["ProgramFilesFolder"]), ("PFiles64", "PFiles"))

    def test_every_file_has_a_version_or_a_hash(self):
        files, hashes = keyed(self.package, "File", "File"), keyed(self.package, "MsiFileHash", "File_")
        for name in ("Filter64.dll", "Filter32.dll", "Check.exe", "Setup.exe"):
            self.assertEqual((files[name]["Version"], files[name]["Language"]), (VERSION, "1033"))
        self.assertEqual({name for name, row in files.items() if not row["Version"]}, set(hashes))

    def test_another_version_is_another_product_with_the_same_registration_components(self):
        other = keyed(self.other, "Property", "Property", "Value")
        self.assertEqual(other["UpgradeCode"], self.properties["UpgradeCode"])
        self.assertNotEqual(other["ProductCode"], self.properties["ProductCode"])
        first, second = (keyed(package, "Component", "Component") for package in (self.package, self.other))
        self.assertEqual(set(first), set(second))
        same = {name for name in first if first[name]["ComponentId"] == second[name]["ComponentId"]}
        self.assertEqual(same, set(SHARED))
        # Components with the same identifier must have the same key path.
        for name in same:
            self.assertEqual(first[name], second[name])

    def test_identifiers_do_not_change(self):
        self.assertEqual(self.properties["UpgradeCode"], "{8A9B1D5E-3C47-4F0A-9E62-D1B57C20F386}")
        identifiers = keyed(self.package, "Component", "Component", "ComponentId")
        self.assertEqual({name: identifiers[name] for name in SHARED}, SHARED)

    def test_the_same_programs_make_the_same_bytes(self):
        with tempfile.TemporaryDirectory() as folder:
            again = make(VERSION, folder)
            self.assertEqual(again.read_bytes(), self.package.read_bytes())

    def test_refuses_downgrade_older_windows_and_arm64_with_a_message(self):
        conditions = keyed(self.package, "LaunchCondition", "Description", "Condition")
        order = ".".join(f"{int(field):05}" for field in VERSION.split("."))
        self.assertEqual(conditions, {
            "The Kuv Credential Provider Filter requires Windows 10, Windows Server 2016, or later.":
                "Installed OR KUV_WINDOWS",
            "This package is for x64 processors. On ARM64, the logon screen cannot load this filter.":
                'Installed OR NOT (KUV_ARCHITECTURE ~= "ARM64")',
            "A newer version of the Kuv Credential Provider Filter is installed. "
            f"To go back to version {VERSION}, remove the newer one first.":
                f'Installed OR NOT (KUV_NEWER OR KUV_INSTALLED > "{order}")'})
        # 18: a value, in the 64-bit view.
        searches = keyed(self.package, "AppSearch", "Property", "Signature_")
        locators = keyed(self.package, "RegLocator", "Signature_")
        self.assertEqual({name: tuple(locators[search].values())[1:] for name, search in searches.items()}, {
            "KUV_INSTALLED": (LOCAL_MACHINE, r"SOFTWARE\Kuvant\KuvCredFilter", "VersionOrder", "18"),
            "KUV_WINDOWS": (LOCAL_MACHINE, r"SOFTWARE\Microsoft\Windows NT\CurrentVersion",
                            "CurrentMajorVersionNumber", "18"),
            "KUV_ARCHITECTURE": (LOCAL_MACHINE, r"SYSTEM\CurrentControlSet\Control\Session Manager\Environment",
                                 "PROCESSOR_ARCHITECTURE", "18")})


class Command(unittest.TestCase):
    def test_prints_product_code_upgrade_code_and_hashes(self):
        with tempfile.TemporaryDirectory() as folder:
            run = subprocess.run(package_script.command("--version", "4.4.0.2", "--output", folder), check=True,
                                 capture_output=True, text=True)
            package = package_script.package("4.4.0.2", folder)
            properties = keyed(package, "Property", "Property", "Value")
            self.assertIn(f"product code {properties['ProductCode']}\n", run.stdout)
            self.assertIn(f"upgrade code {properties['UpgradeCode']}\n", run.stdout)
            hashes = {name: digest for digest, name in re.findall(r"^([0-9a-f]{64})  (.+)$", run.stdout, re.MULTILINE)}
            self.assertEqual(hashes.pop(package.name), hashlib.sha256(package.read_bytes()).hexdigest())
            subprocess.run(["msiextract", "-C", folder, package], check=True, stdout=subprocess.DEVNULL)
            contents = [hashlib.sha256(path.read_bytes()).hexdigest()
                        for path in pathlib.Path(folder).rglob("*") if path.is_file() and path != package]
            icon = (package_script.SOURCE / "Packaging/Installer/Kuvant.ico").read_bytes()
            self.assertEqual(sorted(hashes.values()), sorted([*contents, hashlib.sha256(icon).hexdigest()]))

    def test_sets_the_help_link(self):
        with tempfile.TemporaryDirectory() as folder:
            link = "https://help.kuv.example/a?b=1&c=2"
            subprocess.run(package_script.command("--help-link", link, "--output", folder), check=True,
                           stdout=subprocess.DEVNULL)
            properties = keyed(package_script.package(folder=folder), "Property", "Property", "Value")
            self.assertEqual(properties["ARPHELPLINK"], link)

    def test_rejects_a_help_link_that_is_not_an_address(self):
        for link in ("", "kuv.example", "file:///C:/help", "https://kuv.example/a b", 'https://kuv.example/"'):
            with self.subTest(link):
                self.assertIn("not an HTTP or HTTPS address", self.fails("--help-link", link))

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
