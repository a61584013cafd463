#!/usr/bin/env python3
"""Compiles a source that ignores results, and compares the lines of the warnings with the marked lines.

    check_discarded.py SOURCE COMPILER [ARGUMENT...]
"""
import re
import subprocess
import sys


def main():
    source, *command = sys.argv[1:]
    result = subprocess.run([*command, "-fsyntax-only", source], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                            stderr=subprocess.PIPE, universal_newlines=True, timeout=100)
    warned = {int(line) for line in re.findall(r":(\d+):\d+: warning: ignoring return", result.stderr)}
    with open(source, encoding="utf-8") as file:
        marked = {number for number, text in enumerate(file, 1) if text.endswith("// discarded\n")}
    if result.returncode != 0 or not marked or warned != marked:
        sys.stderr.write(result.stderr)
        sys.exit(f"check_discarded: no warning in lines {sorted(marked - warned)}, "
                 f"not expected in lines {sorted(warned - marked)}")
    print(f"check_discarded: {len(marked)} ignored results are found")


if __name__ == "__main__":
    main()
