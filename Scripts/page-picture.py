#!/usr/bin/env python3
"""Creates a picture of a page of KuvFilterCheck, from its top to the end of the table of providers, with 256 colors.

    page-picture.py PAGE PICTURE
"""
import collections
import pathlib
import struct
import sys
import tempfile
import zlib

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "Tests/Tools/FilterCheck"))
import devtools  # noqa: E402  after the path to it

WIDTH = 1024
COLORS = 256
PIXEL = 3
SIGNATURE = b"\x89PNG\r\n\x1a\n"
HEIGHT = "Math.round(document.querySelector('.matrix').closest('section').getBoundingClientRect().bottom) + 16"


def photograph(page):
    """Returns the picture that the browser creates: a PNG file with 8 bits for each of red, green and blue."""
    with devtools.Browser() as browser, tempfile.TemporaryDirectory() as folder:
        browser.show(page.resolve(), WIDTH, "light")
        browser.call("Emulation.setDeviceMetricsOverride", width=WIDTH, height=browser.evaluate(HEIGHT),
                     deviceScaleFactor=1, mobile=False)
        path = pathlib.Path(folder) / "picture.png"
        browser.screenshot(path, whole=False)
        return path.read_bytes()


def paeth(left, above, corner):
    estimate = left + above - corner
    distances = [(abs(estimate - value), value) for value in (left, above, corner)]
    return min(distances, key=lambda pair: pair[0])[1]


def rows_of(picture):
    """Returns the rows of pixels of such a file."""
    start, data, width = len(SIGNATURE), b"", 0
    while start < len(picture):
        size, kind = struct.unpack(">I4s", picture[start:start + 8])
        body = picture[start + 8:start + 8 + size]
        start += size + 12
        if kind == b"IHDR":
            width, _, *form = struct.unpack(">IIBBBBB", body)
            if form != [8, 2, 0, 0, 0]:
                sys.exit(f"page-picture: the browser created a picture of the form {form}")
        elif kind == b"IDAT":
            data += body
    data = zlib.decompress(data)
    above = bytes(width * PIXEL)
    for start in range(0, len(data), width * PIXEL + 1):
        method = data[start]
        row = bytearray(data[start + 1:start + 1 + width * PIXEL])
        for i in range(len(row) if method else 0):
            left, corner = (row[i - PIXEL], above[i - PIXEL]) if i >= PIXEL else (0, 0)
            row[i] = (row[i] + (0, left, above[i], (left + above[i]) // 2, paeth(left, above[i], corner))[method]) & 255
        yield [bytes(row[i:i + PIXEL]) for i in range(0, len(row), PIXEL)]
        above = row


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def with_palette(rows):
    """Returns the picture as a PNG file with a palette of its most frequent colors. Others become the nearest one."""
    frequent = collections.Counter(pixel for row in rows for pixel in row).most_common()
    palette = [color for color, _ in frequent[:COLORS]]
    index = {color: min(range(len(palette)), key=lambda i: sum((a - b) ** 2 for a, b in zip(color, palette[i])))
             for color, _ in frequent}
    data = b"".join(b"\0" + bytes(index[pixel] for pixel in row) for row in rows)
    return (SIGNATURE + chunk(b"IHDR", struct.pack(">IIBBBBB", len(rows[0]), len(rows), 8, 3, 0, 0, 0))
            + chunk(b"PLTE", b"".join(palette)) + chunk(b"IDAT", zlib.compress(data, 9)) + chunk(b"IEND", b""))


def main():
    page, picture = map(pathlib.Path, sys.argv[1:])
    picture.write_bytes(with_palette(list(rows_of(photograph(page)))))


if __name__ == "__main__":
    main()
