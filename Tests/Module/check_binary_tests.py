#!/usr/bin/env python3
"""Tests of Scripts/check-binary.py: it must reject a copy of the DLL with one defect.

    check_binary_tests.py FILE VERSION
"""
import pathlib
import re
import struct
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "Scripts"
sys.path.insert(0, str(SCRIPTS))
import pe_image  # noqa: E402  after the path to it

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Support"))
from script_module import load_script  # noqa: E402  after the path to it

IMPORTS = SCRIPTS / "binary-imports.txt"
FILE, VERSION = pathlib.Path(), ""
checker = None


# The defects by name: how the file gets it, and the findings in order.
DEFECTS = {
    "another kind of file": (lambda dll: dll.bytes.__setitem__(0, 0), "no MZ header"),
    "a program": (lambda dll: dll.clear(dll.image.header + 22, 0x2000), "is not a DLL"),
    "no random base": (lambda dll: dll.clear(dll.image.optional + 70, 0x40), "random base"),
    "no NX": (lambda dll: dll.clear(dll.image.optional + 70, 0x100), "NX"),
    "no high entropy": (lambda dll: dll.clear(dll.image.optional + 70, 0x20), "high entropy"),
    "no large addresses": (lambda dll: dll.clear(dll.image.header + 22, 0x20), "large addresses"),
    "stripped relocations": (lambda dll: dll.set_flag(dll.image.header + 22, 1), "has no relocations"),
    "no relocation directory": (lambda dll: dll.set_directory(pe_image.RELOCATION), "has no relocations"),
    # Newer linkers make the imports read-only.
    **{f"writable and executable {name}": (lambda dll, name=name: dll.set_section_flags(name, 0xA0000000),
                                           f"section {name} is writable and executable")
       for name in (".data", ".bss", ".idata")},
    "writable code": (lambda dll: dll.set_section_flags(".text", 0x80000000),
                      "section .text is writable and executable"),
    "data shared between processes": (lambda dll: dll.set_section_flags(".data", 0x10000000),
                                      "section .data is shared"),
    "an entry point in data": (lambda dll: dll.put(dll.image.optional + 16, dll.section(".data").address),
                               "not executable"),
    "a renamed export": (lambda dll: dll.replace(b"DllCanUnloadNow\0", b"DllCanUnloadNop\0"),
                         "exports DllCanUnloadNop, DllGetClassObject"),
    "no export table": (lambda dll: dll.set_directory(pe_image.EXPORT), "exports nothing", "exports 0 functions"),
    # The fifth entry reads what follows the table: the addresses of the names.
    "an export without a name": (lambda dll: dll.put(dll.export_table() + 20, 5),
                                 "exports 5 functions", "function of another library"),
    "a function that is not listed": (lambda dll: dll.replace(b"GetLocalTime\0", b"OpenProcessX\0"),
                                      "imports OpenProcessX of kernel32.dll", "does not import GetLocalTime"),
    "a library that is not listed": (lambda dll: dll.replace(b"USER32.dll\0", b"WS2_32.dll\0"),
                                     "imports GetSystemMetrics of ws2_32.dll", "does not import GetSystemMetrics"),
    "delay-loaded libraries": (
        lambda dll: dll.set_directory(pe_image.DELAY_IMPORT, *dll.image.directory(pe_image.EXPORT)),
        "delay-loads libraries"),
    "a stack guard that does not end the process": (
        lambda dll: dll.replace(bytes.fromhex("B902000000CD29"), bytes.fromhex("B902000000CD2E")),
        "guards the stack in 0 places"),
    "no thread-local data": (lambda dll: dll.set_directory(pe_image.THREAD_LOCAL), "no thread-local data"),
    "no table of functions to unwind": (lambda dll: dll.set_directory(pe_image.EXCEPTION), "no table of functions"),
    "no version resource": (lambda dll: dll.set_directory(pe_image.RESOURCE), "has no version resource"),
    "a version resource without numbers": (lambda dll: dll.replace(b"\xBD\x04\xEF\xFE", b"\xBD\x04\xEF\xFF"),
                                           "without a fixed part"),
    "another original name": (lambda dll: dll.replace(*(name.encode("utf-16-le") for name in
                                                        ("KuvCredFilter.dll\0", "KuvCredFilter.dl_\0"))),
                              "does not contain KuvCredFilter.dll"),
    "bytes after the last section": (lambda dll: dll.bytes.append(0), "carries 1 bytes after"),
    "a symbol table": (lambda dll: dll.put(dll.image.header + 12, 0x400), "symbol table"),
    "debug information": (lambda dll: dll.set_directory(pe_image.DEBUG, dll.plant(b""), 28),
                          "carries debug information"),
    "a file that is too large": (lambda dll: dll.bytes.extend(bytes(400 * 1024 + 1 - len(dll.bytes))),
                                 "409,601 bytes; 409,600 are allowed", "after its last section"),
}


class CheckBinary(unittest.TestCase):
    def setUp(self):
        self.bytes = bytearray(FILE.read_bytes())
        self.image = pe_image.Image(self.bytes)

    def findings(self, forbidden=(), imports=IMPORTS, runtime="gcc", version=None, machine="x64"):
        return list(checker.check(bytes(self.bytes), imports, version or VERSION, forbidden, runtime, machine))

    def assert_rejected(self, *expected, **options):
        found = self.findings(**options)
        self.assertEqual(len(found), len(expected), found)
        for text, finding in zip(expected, found):
            self.assertIn(text, finding)

    def put(self, offset, *values):
        """Writes 32-bit values."""
        struct.pack_into(f"<{len(values)}I", self.bytes, offset, *values)

    def clear(self, offset, flag):
        value = struct.unpack_from("<H", self.bytes, offset)[0]
        self.assertTrue(value & flag)
        struct.pack_into("<H", self.bytes, offset, value & ~flag)

    def set_flag(self, offset, flag):
        struct.pack_into("<H", self.bytes, offset, self.image.u16(offset) | flag)

    def section(self, name):
        return next(section for section in self.image.sections if section.name == name)

    def set_section_flags(self, name, flags):
        section = self.section(name)
        self.put(section.header + 36, section.flags | flags)

    def replace(self, old, new):
        self.assertEqual(len(old), len(new))
        self.assertEqual(self.bytes.count(old), 1)
        self.bytes[:] = self.bytes.replace(old, new)

    def plant(self, data, odd=0):
        """Writes over the last of the compiler's version texts in the read-only data. Returns the address."""
        section = self.section(".rdata")
        at = [match.start() for match in re.finditer(rb"GCC: \(GNU\)", self.bytes)][-8]
        self.assertEqual(at % 2, 0)
        self.assertIn(at - section.offset, range(section.virtual_size))
        self.assertEqual(self.bytes[at:at + 128].count(b"GCC: (GNU)"), 4)
        self.assertLessEqual(odd + len(data), 128)
        self.bytes[at:at + 128] = (bytes(odd) + data).ljust(128, b"\0")
        return at - section.offset + section.address

    def set_directory(self, index, address=0, size=0):
        self.put(self.image.directories + 8 * index, address, size)

    def export_table(self):
        return self.image.offset(self.image.directory(pe_image.EXPORT)[0])

    def test_accepts_the_built_dll(self):
        self.assert_rejected()

    def test_rejects_each_defect(self):
        for name, (plant, *expected) in DEFECTS.items():
            with self.subTest(name):
                self.setUp()
                plant(self)
                self.assert_rejected(*expected)

    def test_rejects_a_truncated_file(self):
        whole = bytes(self.bytes)
        for size in list(range(0, 0x400, 7)) + list(range(0x400, len(whole), 4001)):
            with self.subTest(size=size):
                self.bytes = whole[:size]
                self.assertNotEqual(self.findings(), [])

    def test_rejects_a_further_export(self):
        self.put(self.export_table() + 20, 5, 5)
        found = self.findings()
        self.assertTrue(any("exports" in finding for finding in found), found)

    def test_rejects_a_forwarded_export(self):
        address = self.image.directory(pe_image.EXPORT)[0]
        table = self.image.offset(self.image.u32(self.image.offset(address) + 28))
        struct.pack_into("<I", self.bytes, table, address + 0x28)
        self.assert_rejected("function of another library")

    def test_rejects_a_function_by_number(self):
        at = self.bytes.index(b"GetSystemMetrics") - 2
        address = at - self.section(".idata").offset + self.section(".idata").address
        self.bytes[:] = self.bytes.replace(struct.pack("<Q", address), struct.pack("<Q", 1 << 63 | 440))
        self.assert_rejected("imports #440 of user32.dll", "does not import GetSystemMetrics")

    def assert_rejected_with_imports(self, text, *expected):
        with tempfile.TemporaryDirectory() as folder:
            imports = pathlib.Path(folder) / "imports.txt"
            imports.write_text(text)
            self.assert_rejected(*expected, imports=imports)

    def test_rejects_a_listed_function_that_is_not_imported(self):
        self.assert_rejected_with_imports(
            IMPORTS.read_text() + "[KERNEL32.dll x64]\nOpenProcess\n[WS2_32.dll x86]\nsocket\n",
            "does not import OpenProcess")

    def test_accepts_an_optional_function_whether_imported_or_not(self):
        listed = IMPORTS.read_text()
        self.assertIn("\nGetSystemMetrics\n", listed)
        self.assert_rejected_with_imports(
            listed.replace("\nGetSystemMetrics\n", "\n") +
            "[USER32.dll gcc optional x64]\nGetSystemMetrics MessageBoxW\n")

    def test_an_optional_section_ends_at_the_next_section(self):
        self.assert_rejected_with_imports(
            IMPORTS.read_text() + "[KERNEL32.dll optional]\nOpenProcess\n[KERNEL32.dll]\nOpenThread\n",
            "does not import OpenThread")

    def test_rejects_a_function_that_is_optional_for_another_machine_or_runtime(self):
        for conditions in ("optional x86", "msvc optional"):
            with self.subTest(conditions):
                self.assert_rejected_with_imports(
                    IMPORTS.read_text().replace("\nGetSystemMetrics\n", "\n") +
                    f"[USER32.dll {conditions}]\nGetSystemMetrics\n",
                    "imports GetSystemMetrics of user32.dll")

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

    def test_rejects_another_version(self):
        self.assert_rejected("file version", "product version", "does not contain 4.3.1700.1151",
                             version="4.3.1700.1151")

    def set_machine(self, machine):
        struct.pack_into("<H", self.bytes, self.image.header + 4, machine)

    def test_rejects_another_machine(self):
        self.assert_rejected("is for x64, not for arm64", machine="arm64")
        self.set_machine(0x1C4)
        self.assertIn("is for 0x01C4, not for x64", self.findings())

    def test_rejects_a_machine_with_other_addresses(self):
        self.set_machine(0x14C)
        self.assert_rejected("is malformed: the optional header is not that of x86")

    def test_applies_the_lists_of_its_machine_to_a_dll_for_arm64(self):
        self.set_machine(0xAA64)
        found = self.findings(machine="arm64")
        self.assertIn("imports RtlUnwindEx of kernel32.dll, which is not listed", found)
        with tempfile.TemporaryDirectory() as folder:
            imports = pathlib.Path(folder) / "imports.txt"
            imports.write_text(IMPORTS.read_text().replace(" x64]", " arm64]"))
            self.assert_rejected(imports=imports, machine="arm64")
            self.assert_rejected("is for arm64, not for x64", imports=imports)

    def test_expects_no_shadow_stacks_on_arm64(self):
        self.set_machine(0xAA64)
        found = "\n".join(self.findings(runtime="msvc", machine="arm64"))
        self.assertIn("control flow guard", found)
        self.assertNotIn("shadow stacks", found)

    def test_reports_missing_features_of_the_other_compiler(self):
        found = "\n".join(self.findings(runtime="msvc"))
        for text in ("control flow guard", "security cookie", "shadow stacks"):
            self.assertIn(text, found)


class CheckBinary32(unittest.TestCase):
    """The requirements that only the 32-bit DLL has."""

    def setUp(self):
        self.bytes = bytearray(FILE.read_bytes())

    def findings(self):
        return list(checker.check(bytes(self.bytes), IMPORTS, VERSION, (), "gcc"))

    def test_accepts_the_built_dll(self):
        self.assertEqual(self.findings(), [])

    def test_rejects_structured_exception_handlers(self):
        flags = pe_image.Image(self.bytes).optional + 70
        self.assertTrue(self.bytes[flags + 1] & 0x04)
        self.bytes[flags + 1] &= ~0x04
        self.assertEqual(self.findings(), ["does not declare that it has no exception handler (NO_SEH)"])


if __name__ == "__main__":
    FILE, VERSION = pathlib.Path(sys.argv[1]), sys.argv[2]
    checker = load_script(SCRIPTS / "check-binary.py")
    tests = "CheckBinary" if pe_image.Image(FILE.read_bytes()).is_64bit else "CheckBinary32"
    unittest.main(argv=sys.argv[:1] + sys.argv[3:], defaultTest=tests)
