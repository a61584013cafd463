#!/usr/bin/env python3
"""Checks the DLL as a file: exports, imports, hardening, version, and that it contains no trace of the build machine.

    Scripts/check-binary.py FILE [--version 1.2.3.4] [--machine x64|x86|arm64] [--runtime gcc|msvc] [--forbid TEXT]...

Prints one finding per line and fails if there are any. It is for release builds. binary-imports.txt in the same folder
lists the functions that the DLL may import. --forbid names a text that the DLL must not contain, such as a folder of
the build machine.
"""
import argparse
import getpass
import pathlib
import re
import socket
import struct
import sys

import pe_image
from pe_image import Image, Malformed, Section

EXPORTS = ["DllCanUnloadNow", "DllGetClassObject", "DllRegisterServer", "DllUnregisterServer"]
MAX_SIZE = 400 * 1024

RELOCATIONS_STRIPPED, LARGE_ADDRESS_AWARE, DLL = 0x0001, 0x0020, 0x2000
HIGH_ENTROPY, DYNAMIC_BASE, NX, NO_SEH, GUARD_CF = 0x0020, 0x0040, 0x0100, 0x0400, 0x4000
EX_DLL_CHARACTERISTICS, CET_COMPATIBLE = 20, 0x0001
CODE_VIEW = 2

# The instructions with which the stack protector runtime ends the process: "mov ecx, 2; int 0x29".
STACK_FAILURE = bytes.fromhex("B902000000CD29")
# Less than the number of guarded functions in a release build, and more than remain if one of its two libraries is
# compiled without guards.
MIN_GUARDED = 80

ABSOLUTE_PATH = re.compile(
    rb"(?<![\w.])[A-Za-z]:[\\/][\w .-]+[\\/]|(?<![\w.%])/(?:home|root|tmp|usr|build|work|opt|var|mnt|Users)/")


def read_imports(path, machine, runtime):
    """Returns the functions listed for a machine and a runtime: those that a DLL may import, and those that it must.

    The name None represents all functions of a library.
    """
    allowed, required = set(), set()
    applies, optional, library = False, False, ""
    for line in path.read_text(encoding="ascii").splitlines():
        line = line.partition("#")[0].strip()
        if line.startswith("["):
            library, *conditions = line.strip("[]").split()
            applies = set(conditions) <= {machine, runtime, "optional"}
            optional = "optional" in conditions
        elif line and applies:
            functions = {(library.lower(), None if name == "*" else name) for name in line.split()}
            allowed |= functions
            if not optional:
                required |= {function for function in functions if function[1]}
    return allowed, required


def check_machine(image, expected):
    if expected and image.processor != expected:
        yield f"is for {image.processor}, not for {expected}"


def check_exports(image):
    names, functions, forwarded = image.exports()
    if sorted(names) != EXPORTS:
        yield f"exports {', '.join(sorted(names)) or 'nothing'}"
    if functions != len(EXPORTS):
        yield f"exports {functions} functions, with and without a name"
    if forwarded:
        yield "exports a function of another library"


def check_imports(image, allowed, required):
    found = {(library.lower(), name) for library, name in image.imports()}
    for library, name in sorted(found - allowed):
        if (library, None) not in allowed:
            yield f"imports {name} of {library}, which is not listed"
    for library, name in sorted(required - found):
        yield f"does not import {name} of {library}, which is listed"
    if image.directory(pe_image.DELAY_IMPORT)[1]:
        yield "delay-loads libraries"


def check_flags(image, runtime):
    if not image.characteristics & DLL:
        yield "is not a DLL"
    if image.characteristics & RELOCATIONS_STRIPPED or image.relocations() == 0:
        yield "has no relocations"
    required = {"a random base (ASLR)": DYNAMIC_BASE, "data that is not executable (NX)": NX}
    if image.is_64bit:
        required["a base of high entropy"] = HIGH_ENTROPY
        if not image.characteristics & LARGE_ADDRESS_AWARE:
            yield "does not support large addresses"
    elif runtime == "gcc":
        required["that it has no exception handler (NO_SEH)"] = NO_SEH
    if runtime == "msvc":
        required["control flow guard"] = GUARD_CF
    for name, flag in required.items():
        if not image.dll_characteristics & flag:
            yield f"does not declare {name}"


def check_sections(image):
    for section in image.sections:
        if section.has(Section.WRITE | Section.EXECUTE):
            yield f"section {section.name} is writable and executable"
        if section.has(Section.SHARED):
            yield f"section {section.name} is shared between processes"
    if not image.section_at(image.entry_point).has(Section.EXECUTE):
        yield "starts in a section that is not executable"
    end = max(section.offset + section.raw_size for section in image.sections)
    if len(image.data) > end:
        yield f"carries {len(image.data) - end} bytes after its last section"
    if image.symbol_table:
        yield "carries a symbol table"


def guarded_calls(image):
    """Returns the number of calls of the function that ends the process when a stack guard was overwritten."""
    code = list(image.code())
    targets = [address + bytes_.find(STACK_FAILURE) for address, bytes_ in code if STACK_FAILURE in bytes_]
    count = 0
    for address, bytes_ in code:
        for call in re.finditer(b"\xE8(?=(.{4}))", bytes_, re.DOTALL):
            target = address + call.start() + 5 + struct.unpack("<i", call.group(1))[0]
            # The compiler may have added a prologue. A function before it begins at least 16 bytes earlier.
            count += any(0 <= failure - target < 16 for failure in targets)
    return count


def check_stack_protector(image, runtime):
    if runtime == "gcc":
        count = guarded_calls(image)
        if count < MIN_GUARDED:
            yield f"guards the stack in {count} places; at least {MIN_GUARDED} are expected"
        return
    address, size = image.directory(pe_image.LOAD_CONFIG)
    if size == 0 or image.pointer(image.offset(address) + (88 if image.is_64bit else 60)) == 0:
        yield "has no security cookie"
    flags = [struct.unpack("<I", data[:4])[0] for kind, data in image.debug_entries()
             if kind == EX_DLL_CHARACTERISTICS]
    if image.processor == "x64" and not any(flag & CET_COMPATIBLE for flag in flags):
        yield "is not marked as compatible with shadow stacks (CET)"


def frame_entries(image):
    """Returns the augmentation and the code address of each entry of the frame table, and None at its terminator."""
    section = next((section for section in image.sections if section.name == ".eh_fram"), None)
    if section is None:
        return
    at, end, forms = section.offset, section.offset + section.virtual_size, {}
    while at < end:
        length, back = image.u32(at), image.u32(at + 4)
        if length == 0:
            yield None
            return
        if back == 0:
            forms[at] = image.text(at + 9)
        else:
            place = section.address + at + 8 - section.offset
            yield forms.get(at + 4 - back, "?"), (place + image.u32(at + 8)) & 0xFFFFFFFF
        at += 4 + length


def check_unwinding(image, runtime):
    if runtime != "gcc":
        return
    if image.directory(pe_image.THREAD_LOCAL)[1] == 0:
        yield "has no thread-local data, which exceptions need"
    if image.is_64bit:
        if image.directory(pe_image.EXCEPTION)[1] == 0:
            yield "has no table of functions to unwind"
        return
    # FrameTable.cpp reads these forms, with relative addresses.
    entries = list(frame_entries(image))
    if not entries or entries[-1] is not None:
        yield "has no table of frames, or one without an end"
        return
    for form, address in entries[:-1]:
        if form not in ("zR", "zPLR") or not image.section_at(address).has(Section.EXECUTE):
            yield f"has a frame of the form {form} at 0x{address:X}, which is not read"


def check_texts(image, forbidden, runtime):
    # 8-bit text, and 16-bit text at even and at odd offsets.
    readings = [image.data, image.data[::2], image.data[1::2]]
    found = {match.group() for reading in readings for match in ABSOLUTE_PATH.finditer(reading)}
    for path in sorted(found):
        yield f"contains a path of the build machine: {path.decode('latin-1')}"
    for text in sorted(set(forbidden)):
        if any(text.encode() in reading for reading in readings):
            yield f"contains the text {text}"
    entries = list(image.debug_entries())
    if runtime == "gcc" and entries:
        yield "carries debug information"
    for kind, data in entries:
        if kind == CODE_VIEW and (b"\\" in data[24:] or b"/" in data[24:]):
            yield "contains the folder of its debug information"


def check_version(image, version):
    resource = image.resource(pe_image.VERSION)
    if resource is None:
        yield "has no version resource"
        return
    at = resource.find(struct.pack("<I", 0xFEEF04BD))
    if at < 0 or at + 24 > len(resource):
        yield "has a version resource without a fixed part"
        return
    for name, place in (("file", at + 8), ("product", at + 16)):
        high, low = struct.unpack_from("<II", resource, place)
        found = ".".join(str(part) for part in (high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF))
        if version and found != version:
            yield f"has the {name} version {found}"
    for text in ("KuvCredFilter.dll", version or ""):
        if (text + "\0").encode("utf-16-le") not in resource:
            yield f"does not contain {text} in its version resource"


def check(data, allowed_imports, version, forbidden, runtime, machine=""):
    """Returns all findings about the bytes of a file, as texts."""
    if len(data) > MAX_SIZE:
        yield f"has {len(data):,} bytes; {MAX_SIZE:,} are allowed"
    try:
        image = Image(data)
        yield from check_machine(image, machine)
        yield from check_exports(image)
        yield from check_imports(image, *read_imports(allowed_imports, image.processor, runtime))
        yield from check_flags(image, runtime)
        yield from check_sections(image)
        yield from check_stack_protector(image, runtime)
        yield from check_unwinding(image, runtime)
        yield from check_texts(image, forbidden, runtime)
        yield from check_version(image, version)
    except Malformed as error:
        yield f"is malformed: {error}"


def traces_of_this_machine(root):
    """Returns texts that reveal where and by whom a file was built."""
    user = getpass.getuser()
    traces = {str(root), str(pathlib.Path.home()), f"/{user}/", f"\\{user}\\", socket.gethostname()}
    # A short name may be in any file by chance.
    return {trace for trace in traces if len(trace) > 5}


def main():
    here = pathlib.Path(__file__).resolve().parent
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("file", type=pathlib.Path)
    parser.add_argument("--imports", type=pathlib.Path, default=here / "binary-imports.txt")
    parser.add_argument("--version", default="")
    parser.add_argument("--machine", choices=("x64", "x86", "arm64"), default="")
    parser.add_argument("--runtime", choices=("gcc", "msvc"), default="gcc")
    parser.add_argument("--forbid", action="append", default=[], metavar="TEXT")
    options = parser.parse_args()
    data = options.file.read_bytes()
    forbidden = traces_of_this_machine(here.parent) | set(options.forbid)
    findings = list(check(data, options.imports, options.version, forbidden, options.runtime, options.machine))
    for finding in findings:
        print(f"{options.file.name} {finding}")
    if not findings:
        print(f"{options.file.name}: {len(data):,} bytes, no findings")
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main())
