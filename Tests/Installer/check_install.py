#!/usr/bin/env python3
"""Installs, upgrades, repairs and uninstalls the package silently under Wine, and checks the registry and the files.

The command line is that of package_script.py.
"""
import hashlib
import json
import pathlib
import re
import shutil
import unittest

import package_script
import wine_machine
from package_script import PACKAGES, VERSION, WORK, X64, X86, package

ROOT = package_script.SOURCE
WINE = ROOT / "Scripts/wine.sh"
TOOL = "KuvFilterCheck.exe"
FILTER = "{3F6A1C92-7E40-4B1D-A6C3-52D9E07B11F4}"
CLASS = rf"\CLSID\{FILTER}"
LIST = rf"\Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters\{FILTER}"
MACHINE_ROOT = "HKEY_LOCAL_MACHINE"
SOFTWARE = MACHINE_ROOT + r"\Software"
VIEWS = {"64": (SOFTWARE + r"\Classes", SOFTWARE),
         "32": (SOFTWARE + r"\Classes\Wow6432Node", SOFTWARE + r"\Wow6432Node")}
EVENTS = r"HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services\Eventlog\Application\Kuvant"
MARK = SOFTWARE + r"\Kuvant\KuvCredFilter"
SETTINGS = [software + r"\Kuvant\KuvCredProv" for _, software in VIEWS.values()]
WINDOWS = SOFTWARE + r"\Microsoft\Windows NT\CurrentVersion"
ENVIRONMENT = MACHINE_ROOT + r"\System\CurrentControlSet\Control\Session Manager\Environment"
PROGRAM_FILES = {"64": "Program Files", "32": "Program Files (x86)"}

# Two older versions. One has a lower fourth field, whose text is shorter; the other has a lower third field.
OLDER_BUILD = ".".join(VERSION.split(".")[:3] + ["999"])
OLDER = ".".join([*VERSION.split(".")[:2], str(int(VERSION.split(".")[2]) - 1), "65535"])

# A typical machine: it has another filter, another event source, and settings of an earlier installation.
FOREIGN = "{0F1E2D3C-4B5A-4678-8796-A5B4C3D2E1F0}"
MACHINE = "REGEDIT4\n" + "".join(
    f"\n[{key}]\n{values}\n" for key, values in (
        *((software + LIST.replace(FILTER, FOREIGN), '@="Another"') for _, software in VIEWS.values()),
        *((classes + CLASS.replace(FILTER, FOREIGN), '@="Another"') for classes, _ in VIEWS.values()),
        (EVENTS.replace("Kuvant", "Another"), '"TypesSupported"=dword:00000007'),
        *((settings, '"Host"="auth.kuv.example"\n"RdpOnly"=dword:00000001') for settings in SETTINGS),
        (SOFTWARE + r"\Policies\Kuvant\KuvCredProv", '"Debug"=dword:00000002')))
# The exit code of msiexec for error 1603, a fatal error. A refused installation ends with it too.
FATAL = 1603 & 0xFF


def folder(bits, version):
    return rf"C:\{PROGRAM_FILES[bits]}\Kuvant\KuvCredProv\{version}"


def registered(bits, module):
    """Returns the keys of a registered filter in one view of the registry."""
    classes, software = VIEWS[bits]
    return {
        software + LIST: {"@": '"KuvCredFilter"'},
        classes + CLASS: {"@": '"KuvCredFilter"'},
        classes + CLASS + r"\InprocServer32": {
            "@": quoted(module), "ThreadingModel": '"Apartment"'},
    }


def quoted(text):
    return '"' + text.replace("\\", "\\\\") + '"'


def expandable(text):
    return "hex(2):" + ",".join(f"{byte:02x}" for byte in (text + "\0").encode("utf-16-le"))


def of_the_registry(version):
    """Returns all keys with values of an installed version, except the records of Windows Installer."""
    return {
        **registered("64", folder("64", version) + r"\KuvCredFilter.dll"),
        **registered("32", folder("32", version) + r"\KuvCredFilter.dll"),
        EVENTS: {"EventMessageFile": expandable(folder("64", version) + r"\KuvCredFilter.dll"),
                 "TypesSupported": "dword:00000007"},
        MARK: {"VersionOrder": '"' + ".".join(f"{int(field):05}" for field in version.split(".")) + '"',
               "Version": f'"{version}"', "InstallFolder": quoted(folder("64", version) + "\\")},
    }


def of_the_disk(version):
    """Returns the hashes of all files of an installed version."""
    sources = {
        ("64", "KuvCredFilter.dll"): X64 / "KuvCredFilter.dll",
        ("64", TOOL): X64 / TOOL,
        ("64", "KuvFilterSetup.exe"): X64 / "KuvFilterSetup.exe",
        ("64", "RemoveFilter.reg"): ROOT / "Packaging/Recovery/RemoveFilter.reg",
        ("64", "PolicyDefinitions/Kuvant.admx"): ROOT / "Packaging/PolicyDefinitions/Kuvant.admx",
        ("64", "PolicyDefinitions/en-US/Kuvant.adml"): ROOT / "Packaging/PolicyDefinitions/en-US/Kuvant.adml",
        ("32", "KuvCredFilter.dll"): X86 / "KuvCredFilter.dll",
    }
    contents = {file: path.read_bytes() for file, path in sources.items()}
    # The installed file has Windows line endings; those of the source depend on the checkout.
    recovery = ("64", "RemoveFilter.reg")
    contents[recovery] = contents[recovery].replace(b"\r\n", b"\n").replace(b"\n", b"\r\n")
    return {folder(bits, version)[3:].replace("\\", "/") + "/" + name: hashlib.sha256(content).hexdigest()
            for (bits, name), content in contents.items()}


def setUpModule():
    global machine, clean, whole
    for version in (OLDER_BUILD, OLDER):
        package_script.make(version, PACKAGES)
    machine = wine_machine.Machine(WINE, WORK)
    unittest.addModuleCleanup(machine.stop)
    # Wine creates some keys at the first access.
    machine.run("msiexec", "/x", FILTER, "/qn")
    prepare()
    clean = Snapshot()
    whole = Snapshot(MACHINE_ROOT)


def prepare():
    machine.must("reg", "import", machine.windows(write("machine.reg", MACHINE)))
    write_log()


def write_log():
    log = machine.drive / "ProgramData/Kuvant/kuv.log"
    log.parent.mkdir(exist_ok=True)
    log.write_text("a line\n")


def write(name, text):
    (WORK / name).write_text(text)
    return WORK / name


# The places that the package or Windows Installer may write to. Exporting the whole registry takes seconds.
PLACES = [*(software + r"\Kuvant" for _, software in VIEWS.values()), SOFTWARE + r"\Policies",
          EVENTS.rpartition("\\")[0],
          *(classes + CLASS for classes, _ in VIEWS.values()),
          *(software + r"\Microsoft\Windows\CurrentVersion" for _, software in VIEWS.values())]


class Snapshot:
    """The files and the registry of the machine: the given keys, or PLACES."""

    def __init__(self, *keys):
        # Windows Installer remembers permanent components after an uninstall, as used by a product of this number.
        self.registry = {key: values for key, values in machine.registry(keys or PLACES).items()
                         if set(values) != {"0" * 32}}
        self.files = machine.files()


class Installer(unittest.TestCase):
    """Each test starts with settings and a log, and without the filter."""

    maxDiff = None
    installed = None

    def tearDown(self):
        if self.installed:
            self.remove(self.installed)

    def msiexec(self, *arguments, expect=0):
        code, output = machine.run("msiexec", *arguments, "/qn")
        self.assertEqual(code, expect, output)

    def install(self, version, *properties):
        self.msiexec("/i", machine.windows(package(version)), *properties)
        self.installed = version

    def remove(self, version):
        self.installed = None
        self.msiexec("/x", machine.windows(package(version)))

    def assert_same(self, before, now):
        added, gone = wine_machine.difference(before.registry, now.registry)
        # Wine creates the keys for the records of Windows Installer at the first use.
        added = {key: values for key, values in added.items() if values or not wine_machine.INSTALLER.match(key)}
        self.assertEqual((added, gone), ({}, {}))
        self.assertEqual(wine_machine.difference(before.files, now.files), ({}, {}))

    def assert_installed(self, version, *keys):
        """Asserts that the machine differs from its first state only by what this version installs."""
        before, now = whole if keys else clean, Snapshot(*keys)
        added, gone = wine_machine.difference(before.registry, now.registry)
        self.assertEqual(gone, {})
        self.assertEqual({key: values for key, values in added.items()
                          if values and not wine_machine.INSTALLER.match(key)}, of_the_registry(version))
        added, gone = wine_machine.difference(before.files, now.files)
        self.assertEqual(gone, {})
        self.assertEqual({name: content for name, content in added.items() if content}, of_the_disk(version))
        folders = {str(parent) for name in of_the_disk(version) for parent in pathlib.PurePath(name).parents}
        self.assertLessEqual({name for name, content in added.items() if not content}, folders)
        self.assertEqual(self.listed_products(now.registry), [version])

    def listed_products(self, registry):
        """Returns the versions in the list of installed programs."""
        return [values["DisplayVersion"].strip('"') for key, values in registry.items()
                if re.search(r"\\Uninstall\\", key) and "Kuv" in values.get("DisplayName", "")]

    def test_installs_what_it_declares_and_uninstall_keeps_settings_and_logs(self):
        # An uninstall must keep these.
        self.assertEqual(clean.registry[SOFTWARE + r"\Kuvant\KuvCredProv"]["Host"], '"auth.kuv.example"')
        self.assertEqual(clean.registry[SOFTWARE + r"\Policies\Kuvant\KuvCredProv"]["Debug"], "dword:00000002")
        self.assertIn("ProgramData/Kuvant/kuv.log", clean.files)
        self.assertNotIn("Program Files/Kuvant", clean.files)
        self.install(VERSION)
        self.assert_installed(VERSION, MACHINE_ROOT)
        self.remove(VERSION)
        self.assert_same(whole, Snapshot(MACHINE_ROOT))

    def test_registers_like_dll_self_registration(self):
        dll = machine.windows(X64 / "KuvCredFilter.dll")
        machine.must("regsvr32", "/s", dll)
        own, gone = wine_machine.difference(clean.registry, Snapshot().registry)
        machine.must("regsvr32", "/s", "/u", dll)
        self.assertEqual(gone, {})
        # The other tests expect these entries, except for the path of the module. The 32-bit DLL cannot run here; its
        # entries are the same, in the other view.
        self.assertEqual({key: values for key, values in own.items() if values}, registered("64", dll))

    def test_the_installed_filter_loads_by_its_class(self):
        providers = write("providers.txt", "{5E1B7C30-9A42-4D6F-8C15-A3F02E76D418} Kuv\n"
                                           "{60B78E88-EAD8-445C-9CFD-0B87F74EA6CD} Password\n")
        ask = [str(X64 / "KuvFilterHost.exe"), "--json", "--scenario", "logon",
               "--providers", machine.windows(providers)]
        self.install(VERSION)
        report = machine.must(*ask)
        write_log()
        self.remove(VERSION)
        self.assertIn(folder("64", VERSION) + r"\KuvCredFilter.dll", report.replace("\\\\", "\\"))
        code, _ = machine.run(*ask)
        self.assertEqual(code, 6, "no longer registered")

    def test_the_installed_tool_finds_a_complete_registration_in_both_views(self):
        self.install(VERSION)
        # Exit code 2: no credential provider with a second factor is installed.
        code, report = machine.run(folder("64", VERSION) + "\\" + TOOL, "--json")
        self.assertEqual(code, 2, report)
        views = {view.pop("view"): view for view in json.loads(report)["registration"]["filter"]}
        self.assertEqual(set(views), {"64-bit", "32-bit"})
        for bits in VIEWS:
            view = views[f"{bits}-bit"]
            self.assertEqual(view["module"], folder(bits, VERSION) + r"\KuvCredFilter.dll")
            self.assertEqual(view["threadingModel"], "Apartment")
            for fact in ("architectureFits", "inFilterList", "moduleExists"):
                self.assertIs(view[fact], True, fact)

    # One upgrade at a time: when Wine removes the old version, it also removes the upgrade code of the new one.
    def test_an_upgrade_leaves_only_the_new_version(self):
        for older in (OLDER, OLDER_BUILD):
            with self.subTest(older):
                self.install(older)
                self.assertTrue(machine.host(folder("64", older)).exists())
                self.install(VERSION)
                self.assert_installed(VERSION)
                self.remove(VERSION)
        self.assert_same(clean, Snapshot())

    def test_a_downgrade_is_refused_and_changes_nothing(self):
        self.install(VERSION)
        before = Snapshot()
        for older in (OLDER, OLDER_BUILD):
            with self.subTest(older):
                self.msiexec("/i", machine.windows(package(older)), expect=FATAL)
        self.assert_same(before, Snapshot())

    def assert_refused(self, key, change, restore):
        """Asserts that the package cannot be installed while a value of the machine is changed."""
        machine.must("reg", *change[:1], key, *change[1:], "/f")
        try:
            before = Snapshot()
            self.msiexec("/i", machine.windows(package(VERSION)), expect=FATAL)
            self.assert_same(before, Snapshot())
        finally:
            machine.must("reg", "add", key, *restore, "/f")

    def test_refuses_windows_before_10(self):
        value = ["/v", "CurrentMajorVersionNumber"]
        self.assert_refused(WINDOWS, ["delete", *value], [*value, "/t", "REG_DWORD", "/d", "10"])

    def test_refuses_arm64(self):
        value = ["/v", "PROCESSOR_ARCHITECTURE", "/d"]
        self.assert_refused(ENVIRONMENT, ["add", *value, "ARM64"], [*value, "AMD64"])

    def test_uninstalls_even_where_it_could_not_be_installed(self):
        self.install(VERSION)
        value = ["/v", "CurrentMajorVersionNumber"]
        machine.must("reg", "delete", WINDOWS, *value, "/f")
        self.addCleanup(machine.must, "reg", "add", WINDOWS, *value, "/t", "REG_DWORD", "/d", "10", "/f")
        self.remove(VERSION)
        self.assert_same(clean, Snapshot())

    def test_creates_log_folder_and_settings_keys_and_keeps_them(self):
        """A machine without them. Wine ignores the security descriptors; check_tables.py reads them."""
        log = machine.drive / "ProgramData/Kuvant"
        self.addCleanup(prepare)
        for key in SETTINGS:
            machine.must("reg", "delete", key, "/f")
        shutil.rmtree(log)
        self.install(VERSION)
        for _ in range(2):
            keys = machine.registry(PLACES)
            self.assertEqual([keys.get(key) for key in SETTINGS], [{}, {}])
            self.assertEqual(list(log.iterdir()), [])
            if self.installed:
                self.remove(VERSION)
        self.assertNotIn(MARK, keys)

    def test_a_repair_creates_log_folder_and_settings_keys_again(self):
        self.addCleanup(prepare)
        self.install(VERSION)
        for key in SETTINGS:
            machine.must("reg", "delete", key, "/f")
        shutil.rmtree(machine.drive / "ProgramData/Kuvant")
        self.repair()
        keys = machine.registry(PLACES)
        self.assertEqual([keys.get(key) for key in SETTINGS], [{}, {}])
        self.assertTrue((machine.drive / "ProgramData/Kuvant").is_dir())

    def test_the_list_of_programs_shows_link_and_folder(self):
        self.install(VERSION)
        [entry] = [values for key, values in machine.registry(PLACES).items()
                   if re.search(r"\\Uninstall\\", key) and "Kuv" in values.get("DisplayName", "")]
        self.assertEqual((entry["HelpLink"], entry["InstallLocation"]),
                         ('"https://kuv.example/filter"', quoted(folder("64", VERSION) + "\\")))

    def repair(self):
        """Runs the command of the page."""
        page = (ROOT / "Docs/Installer.md").read_text(encoding="utf-8")
        [properties] = re.findall(r"^\| repair .*?/qn /norestart (.+?)` \|$", page, re.MULTILINE)
        self.install(VERSION, "/norestart", *properties.split())

    def test_a_repair_puts_the_filter_back_after_the_recovery_commands(self):
        self.install(VERSION)
        page = (ROOT / "Docs/Recovery.md").read_text(encoding="utf-8")
        lines = re.findall(r'^reg delete "(HKLM\\SOFTWARE\\.+)" /f$', page, re.MULTILINE)
        self.assertEqual(len(lines), len(VIEWS))
        lists = {software + LIST for _, software in VIEWS.values()}
        self.assertLessEqual(lists, set(machine.registry(PLACES)))
        for key in lines:
            machine.must("reg", "delete", key, "/f")
        self.assertEqual(lists & set(machine.registry(PLACES)), set())
        self.repair()
        self.assert_installed(VERSION)

    def test_a_repair_puts_the_filter_back_after_the_installed_setup_program_disabled_it(self):
        self.addCleanup(write_log)
        self.install(VERSION)
        setup = folder("64", VERSION) + r"\KuvFilterSetup.exe"
        self.assertIn(VERSION, machine.must(setup, "--version"))
        machine.must(setup, "disable")
        lists = {software + LIST for _, software in VIEWS.values()}
        self.assertEqual(lists & set(machine.registry(PLACES)), set())
        self.repair()
        self.assertLessEqual(lists, set(machine.registry(PLACES)))

    def test_reinstall_and_repair_restore_the_installation(self):
        self.install(VERSION)
        self.install(VERSION)
        self.assert_installed(VERSION)
        for bits, (classes, software) in VIEWS.items():
            machine.host(folder(bits, VERSION) + r"\KuvCredFilter.dll").unlink()
            machine.must("reg", "delete", classes + CLASS, "/f")
            machine.must("reg", "delete", software + LIST, "/f")
        machine.must("reg", "add", EVENTS, "/v", "TypesSupported", "/t", "REG_DWORD", "/d", "0", "/f")
        self.repair()
        self.assert_installed(VERSION)

    def test_the_recovery_file_for_the_live_hive_removes_the_filter_from_both_lists(self):
        """The file names a hive loaded as HKLM\\OFFLINE. Wine cannot load hives, so the test changes the root key."""
        file = (ROOT / "Packaging/Recovery/RemoveFilter.reg").read_text(encoding="ascii")
        offline = r"HKEY_LOCAL_MACHINE\OFFLINE" + "\\"
        self.assertEqual(file.count(offline), 2)
        live = machine.windows(write("recovery.reg", file.replace(offline, SOFTWARE + "\\")))
        self.install(VERSION)
        before = machine.registry(PLACES)
        machine.must("reg", "import", live)
        self.assertEqual(wine_machine.difference(before, machine.registry(PLACES)),
                         ({}, {software + LIST: {"@": '"KuvCredFilter"'} for _, software in VIEWS.values()}))
        # A second import succeeds, and the uninstall is complete.
        machine.must("reg", "import", live)
        self.remove(VERSION)
        self.assert_same(clean, Snapshot())


if __name__ == "__main__":
    unittest.main()
