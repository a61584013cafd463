"""Reads parts of a Windows DLL or program file (PE format).

    pe_image.py [--machine] FILE

Prints the file version of a file, or an empty line if it has none; with --machine, the processor that it is for.
"""
import struct
import sys

EXPORT, IMPORT, RESOURCE, EXCEPTION, RELOCATION, DEBUG = 0, 1, 2, 3, 5, 6
THREAD_LOCAL, LOAD_CONFIG, DELAY_IMPORT = 9, 10, 13
# The resource type.
VERSION = 16
# The processors by machine type, with the size of their addresses in bits.
PROCESSORS = {0x14C: ("x86", 32), 0x8664: ("x64", 64), 0xAA64: ("arm64", 64)}


class Malformed(Exception):
    """The bytes are not a file of this format, or point outside of themselves."""


class Section:
    HEADER = struct.Struct("<8sIIIIIIHHI")
    SHARED, EXECUTE, WRITE = 0x10000000, 0x20000000, 0x80000000

    def __init__(self, image, header):
        fields = self.HEADER.unpack(image.take(header, self.HEADER.size))
        self.header = header
        self.name = fields[0].rstrip(b"\0").decode("latin-1")
        self.virtual_size, self.address, self.raw_size, self.offset = fields[1:5]
        self.flags = fields[9]

    def has(self, flags):
        return self.flags & flags == flags


class Image:
    def __init__(self, data):
        self.data = bytes(data)
        if self.take(0, 2) != b"MZ":
            raise Malformed("no MZ header")
        self.header = self.u32(0x3C)
        if self.take(self.header, 4) != b"PE\0\0":
            raise Malformed("no PE header")
        self.machine, count, _, self.symbol_table, _, size, self.characteristics = struct.unpack(
            "<HHIIIHH", self.take(self.header + 4, 20))
        self.optional = self.header + 24
        self.is_64bit = {0x10B: False, 0x20B: True}.get(self.u16(self.optional))
        if self.is_64bit is None:
            raise Malformed("unknown optional header")
        # An unknown processor is named by its machine type.
        self.processor, bits = PROCESSORS.get(self.machine, (f"0x{self.machine:04X}", None))
        if bits and self.is_64bit != (bits == 64):
            raise Malformed(f"the optional header is not that of {self.processor}")
        self.entry_point = self.u32(self.optional + 16)
        self.dll_characteristics = self.u16(self.optional + 70)
        self.directories = self.optional + (112 if self.is_64bit else 96)
        self.sections = [Section(self, self.optional + size + i * Section.HEADER.size) for i in range(count)]

    def take(self, offset, size):
        if offset < 0 or offset + size > len(self.data):
            raise Malformed(f"0x{offset:X} is outside of the file")
        return self.data[offset:offset + size]

    def u16(self, offset):
        return struct.unpack("<H", self.take(offset, 2))[0]

    def u32(self, offset):
        return struct.unpack("<I", self.take(offset, 4))[0]

    def pointer(self, offset):
        return struct.unpack("<Q", self.take(offset, 8))[0] if self.is_64bit else self.u32(offset)

    def text(self, offset):
        end = self.data.find(b"\0", offset)
        if end < 0:
            raise Malformed(f"text at 0x{offset:X} does not end")
        return self.data[offset:end].decode("latin-1")

    def section_at(self, address):
        for section in self.sections:
            if section.address <= address < section.address + max(section.virtual_size, section.raw_size):
                return section
        raise Malformed(f"address 0x{address:X} is not in a section")

    def offset(self, address):
        section = self.section_at(address)
        return address - section.address + section.offset

    def directory(self, index):
        """Returns the address and the size of an entry of the data directory."""
        if index >= self.u32(self.directories - 4):
            return 0, 0
        return self.u32(self.directories + 8 * index), self.u32(self.directories + 8 * index + 4)

    def exports(self):
        """Returns the names, the number of functions with or without a name, and the number of forwarded ones."""
        address, size = self.directory(EXPORT)
        if size == 0:
            return [], 0, 0
        at = self.offset(address)
        functions, names = self.u32(at + 20), self.u32(at + 24)
        table, name_table = self.offset(self.u32(at + 28)), self.offset(self.u32(at + 32))
        forwarded = [i for i in range(functions) if address <= self.u32(table + 4 * i) < address + size]
        return ([self.text(self.offset(self.u32(name_table + 4 * i))) for i in range(names)], functions,
                len(forwarded))

    def imports(self):
        """Returns pairs of library and function. A function without a name is "#" and its ordinal."""
        address, size = self.directory(IMPORT)
        if size == 0:
            return
        at = self.offset(address)
        width, by_number = (8, 1 << 63) if self.is_64bit else (4, 1 << 31)
        while self.u32(at + 12) != 0:
            library = self.text(self.offset(self.u32(at + 12)))
            entry = self.offset(self.u32(at) or self.u32(at + 16))
            while (value := self.pointer(entry)) != 0:
                numbered = value & by_number
                yield library, f"#{value & 0xFFFF}" if numbered else self.text(self.offset(value) + 2)
                entry += width
            at += 20

    def relocations(self):
        """Returns the number of addresses that the loader relocates."""
        address, size = self.directory(RELOCATION)
        if size == 0:
            return 0
        at = self.offset(address)
        end, count = at + size, 0
        while at < end:
            block = self.u32(at + 4)
            if block < 8:
                raise Malformed("a block of relocations has no size")
            entries = struct.unpack(f"<{(block - 8) // 2}H", self.take(at + 8, (block - 8) // 2 * 2))
            count += sum(entry >> 12 != 0 for entry in entries)
            at += block
        return count

    def resource(self, kind):
        """Returns the bytes of the first resource of a type, or None."""
        address, size = self.directory(RESOURCE)
        if size == 0:
            return None
        root = self.offset(address)

        def entries(folder):
            count = self.u16(folder + 12) + self.u16(folder + 14)
            return [(self.u32(folder + 16 + 8 * i), self.u32(folder + 20 + 8 * i)) for i in range(count)]

        for identifier, below in entries(root):
            if identifier != kind:
                continue
            while below & 0x80000000:
                below = entries(root + (below & 0x7FFFFFFF))[0][1]
            return self.take(self.offset(self.u32(root + below)), self.u32(root + below + 4))
        return None

    def debug_entries(self):
        """Returns pairs of type and bytes."""
        address, size = self.directory(DEBUG)
        at = self.offset(address) if size else 0
        for entry in range(at, at + size, 28):
            yield self.u32(entry + 12), self.take(self.u32(entry + 24), self.u32(entry + 16))

    def code(self):
        """Returns pairs of address and bytes of the executable sections."""
        for section in self.sections:
            if section.has(Section.EXECUTE):
                yield section.address, self.take(section.offset, section.raw_size)

    def file_version(self):
        """Returns the four numbers of the version resource, or None."""
        resource = self.resource(VERSION) or b""
        at = resource.find(struct.pack("<I", 0xFEEF04BD))
        if at < 0 or at + 16 > len(resource):
            return None
        high, low = struct.unpack_from("<II", resource, at + 8)
        return high >> 16, high & 0xFFFF, low >> 16, low & 0xFFFF


if __name__ == "__main__":
    with open(sys.argv[-1], "rb") as file:
        image = Image(file.read())
    print(image.processor if "--machine" in sys.argv[1:-1] else ".".join(map(str, image.file_version() or ())))
