#!/usr/bin/env python3
"""Tests of Scripts/check-binary.py: it must reject a copy of the DLL with one defect.

    check_binary_tests.py FILE VERSION
"""
import importlib.util
import pathlib
import struct
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "Scripts"
sys.path.insert(0, str(SCRIPTS))
import pe_image  # noqa: E402  after the path to it

IMPORTS = SCRIPTS / "binary-imports.txt"
FILE, VERSION = pathlib.Path(), ""
checker = None


def load_checker():
    found = importlib.util.spec_from_file_location("check_binary", SCRIPTS / "check-binary.py")
    module = importlib.util.module_from_spec(found)
    found.loader.exec_module(module)
    return module


class CheckBinary(unittest.TestCase):
    def setUp(self):
        self.bytes = bytearray(FILE.read_bytes())
        self.image = pe_image.Image(self.bytes)

    def findings(self, forbidden=(), imports=IMPORTS, runtime="gcc", version=None):
        return list(checker.check(bytes(self.bytes), imports, version or VERSION, forbidden, runtime))

    def assert_rejected(self, *expected, **options):
        found = self.findings(**options)
        self.assertEqual(len(found), len(expected), found)
        for text, finding in zip(expected, found):
            self.assertIn(text, finding)

    def clear(self, offset, flag):
        value = struct.unpack_from("<H", self.bytes, offset)[0]
        self.assertTrue(value & flag)
        struct.pack_into("<H", self.bytes, offset, value & ~flag)

    def section(self, name):
        return next(section for section in self.image.sections if section.name == name)

    def set_section_flags(self, name, flags):
        section = self.section(name)
        struct.pack_into("<I", self.bytes, section.header + 36, section.flags | flags)

    def replace(self, old, new):
        self.assertEqual(len(old), len(new))
        self.assertEqual(self.bytes.count(old), 1)
        self.bytes[:] = self.bytes.replace(old, new)

    def plant(self, data, odd=0):
        """Writes over the compiler's version texts, which end the read-only data. Returns the address."""
        section = self.section(".rdata")
        at = (section.offset + section.virtual_size - 256) // 2 * 2
        self.assertEqual(self.bytes[at:at + 256].count(b"GCC: (GNU)"), 8)
        self.assertLessEqual(odd + len(data), 128)
        self.bytes[at:at + 128] = (bytes(odd) + data).ljust(128, b"\0")
        return at - section.offset + section.address

    def clear_directory(self, index):
        struct.pack_into("<II", self.bytes, self.image.directories + 8 * index, 0, 0)

    def test_accepts_the_built_dll(self):
        self.assert_rejected()

    def test_rejects_another_kind_of_file(self):
        self.bytes[0] = 0
        self.assert_rejected("no MZ header")

    def test_rejects_a_truncated_file(self):
        whole = bytes(self.bytes)
        for size in list(range(0, 0x400, 7)) + list(range(0x400, len(whole), 4001)):
            with self.subTest(size=size):
                self.bytes = whole[:size]
                self.assertNotEqual(self.findings(), [])

    def test_rejects_a_program(self):
        self.clear(self.image.header + 22, 0x2000)
        self.assert_rejected("is not a DLL")

    def test_rejects_cleared_hardening_flags(self):
        for flag, text in ((0x40, "random base"), (0x100, "NX"), (0x20, "high entropy")):
            with self.subTest(flag=text):
                self.setUp()
                self.clear(self.image.optional + 70, flag)
                self.assert_rejected(text)

    def test_rejects_missing_large_address_flag(self):
        self.clear(self.image.header + 22, 0x20)
        self.assert_rejected("large addresses")

    def test_rejects_stripped_relocations(self):
        struct.pack_into("<H", self.bytes, self.image.header + 22, self.image.characteristics | 1)
        self.assert_rejected("has no relocations")

    def test_rejects_a_missing_relocation_directory(self):
        self.clear_directory(pe_image.RELOCATION)
        self.assert_rejected("has no relocations")

    def test_rejects_executable_data(self):
        for name in (".data", ".bss", ".idata"):
            with self.subTest(section=name):
                self.setUp()
                self.set_section_flags(name, 0x20000000)
                self.assert_rejected(f"section {name} is writable and executable")

    def test_rejects_writable_code(self):
        self.set_section_flags(".text", 0x80000000)
        self.assert_rejected("section .text is writable and executable")

    def test_rejects_data_shared_between_processes(self):
        self.set_section_flags(".data", 0x10000000)
        self.assert_rejected("section .data is shared")

    def test_rejects_an_entry_point_in_data(self):
        struct.pack_into("<I", self.bytes, self.image.optional + 16, self.section(".data").address)
        self.assert_rejected("not executable")

    def test_rejects_a_renamed_export(self):
        self.replace(b"DllCanUnloadNow\0", b"DllCanUnloadNop\0")
        self.assert_rejected("exports DllCanUnloadNop, DllGetClassObject")

    def test_rejects_a_missing_export_table(self):
        self.clear_directory(pe_image.EXPORT)
        self.assert_rejected("exports nothing", "exports 0 functions")

    def test_rejects_a_further_export(self):
        at = self.image.offset(self.image.directory(pe_image.EXPORT)[0])
        struct.pack_into("<II", self.bytes, at + 20, 5, 5)
        found = self.findings()
        self.assertTrue(any("exports" in finding for finding in found), found)

    def test_rejects_an_export_without_a_name(self):
        at = self.image.offset(self.image.directory(pe_image.EXPORT)[0])
        struct.pack_into("<I", self.bytes, at + 20, 5)
        # The fifth entry reads what follows the table: the addresses of the names.
        self.assert_rejected("exports 5 functions", "function of another library")

    def test_rejects_a_forwarded_export(self):
        address = self.image.directory(pe_image.EXPORT)[0]
        table = self.image.offset(self.image.u32(self.image.offset(address) + 28))
        struct.pack_into("<I", self.bytes, table, address + 0x28)
        self.assert_rejected("function of another library")

    def test_rejects_a_function_that_is_not_listed(self):
        self.replace(b"GetLocalTime\0", b"OpenProcessX\0")
        self.assert_rejected("imports OpenProcessX of kernel32.dll", "does not import GetLocalTime")

    def test_rejects_a_library_that_is_not_listed(self):
        self.replace(b"USER32.dll\0", b"WS2_32.dll\0")
        self.assert_rejected("imports GetSystemMetrics of ws2_32.dll", "does not import GetSystemMetrics")

    def test_rejects_a_function_by_number(self):
        at = self.bytes.index(b"GetSystemMetrics") - 2
        address = at - self.section(".idata").offset + self.section(".idata").address
        self.bytes[:] = self.bytes.replace(struct.pack("<Q", address), struct.pack("<Q", 1 << 63 | 440))
        self.assert_rejected("imports #440 of user32.dll", "does not import GetSystemMetrics")

    def test_rejects_delay_loaded_libraries(self):
        struct.pack_into("<II", self.bytes, self.image.directories + 8 * pe_image.DELAY_IMPORT,
                         *self.image.directory(pe_image.EXPORT))
        self.assert_rejected("delay-loads libraries")

    def test_rejects_a_listed_function_that_is_not_imported(self):
        with tempfile.TemporaryDirectory() as folder:
            imports = pathlib.Path(folder) / "imports.txt"
            imports.write_text(IMPORTS.read_text() + "[KERNEL32.dll x64]\nOpenProcess\n[WS2_32.dll x86]\nsocket\n")
            self.assert_rejected("does not import OpenProcess", imports=imports)

    def test_rejects_a_stack_guard_that_does_not_end_the_process(self):
        self.replace(bytes.fromhex("B902000000CD29"), bytes.fromhex("B902000000CD2E"))
        self.assert_rejected("guards the stack in 0 places")

    def test_rejects_missing_thread_local_data(self):
        self.clear_directory(pe_image.THREAD_LOCAL)
        self.assert_rejected("no thread-local data")

    def test_rejects_a_missing_table_of_functions_to_unwind(self):
        self.clear_directory(pe_image.EXCEPTION)
        self.assert_rejected("no table of functions")

    def test_rejects_too_few_stack_guards(self):
        code = self.section(".text")
        failure = self.bytes.index(bytes.fromhex("B902000000CD29"))
        left = 59
        for at in range(code.offset, code.offset + code.raw_size - 5):
            if self.bytes[at] == 0xE8 and at + 5 + struct.unpack_from("<i", self.bytes, at + 1)[0] == failure:
                left -= 1
                if left < 0:
                    self.bytes[at] = 0xE9
        self.assertLess(left, 0)
        self.assert_rejected("guards the stack in 59 places")

    def test_rejects_paths_of_the_build_machine(self):
        for path in ("/home/anna/filter", "/usr/src/x", "C:\\Users\\anna\\filter", "d:/build/filter"):
            for encoding, odd in (("ascii", 0), ("ascii", 1), ("utf-16-le", 0), ("utf-16-le", 1)):
                with self.subTest(path=path, encoding=encoding, odd=odd):
                    self.setUp()
                    self.plant(path.encode(encoding), odd)
                    self.assert_rejected("path of the build machine")

    def test_rejects_a_forbidden_text(self):
        for encoding, odd in (("ascii", 0), ("utf-16-le", 0), ("utf-16-le", 1)):
            with self.subTest(encoding=encoding, odd=odd):
                self.setUp()
                self.plant("buildhost7".encode(encoding), odd)
                self.assert_rejected("contains the text buildhost7", forbidden=["buildhost7", "another"])

    def test_rejects_a_missing_version_resource(self):
        self.clear_directory(pe_image.RESOURCE)
        self.assert_rejected("has no version resource")

    def test_rejects_a_version_resource_without_numbers(self):
        self.replace(b"\xBD\x04\xEF\xFE", b"\xBD\x04\xEF\xFF")
        self.assert_rejected("without a fixed part")

    def test_rejects_another_version(self):
        self.assert_rejected("file version", "product version", "does not contain 4.3.1700.1151",
                             version="4.3.1700.1151")

    def test_rejects_another_original_name(self):
        self.replace("KuvCredFilter.dll\0".encode("utf-16-le"), "KuvCredFilter.dl_\0".encode("utf-16-le"))
        self.assert_rejected("does not contain KuvCredFilter.dll")

    def test_rejects_bytes_after_the_last_section(self):
        self.bytes.append(0)
        self.assert_rejected("carries 1 bytes after")

    def test_rejects_a_symbol_table(self):
        struct.pack_into("<I", self.bytes, self.image.header + 12, 0x400)
        self.assert_rejected("symbol table")

    def test_rejects_debug_information(self):
        struct.pack_into("<II", self.bytes, self.image.directories + 8 * pe_image.DEBUG, self.plant(b""), 28)
        self.assert_rejected("carries debug information")

    def test_rejects_a_file_that_is_too_large(self):
        self.bytes.extend(bytes(400 * 1024 + 1 - len(self.bytes)))
        self.assert_rejected("409,601 bytes; 409,600 are allowed", "after its last section")

    def test_reports_missing_features_of_the_other_compiler(self):
        found = "\n".join(self.findings(runtime="msvc"))
        for text in ("control flow guard", "security cookie", "shadow stacks"):
            self.assertIn(text, found)


if __name__ == "__main__":
    FILE, VERSION = pathlib.Path(sys.argv[1]), sys.argv[2]
    checker = load_checker()
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
