#!/usr/bin/env python3
"""Checks that no file contains a banned word.

    Scripts/check-words.py [--self-test | --count] [PATH...]

Reads Scripts/banned-words.txt, and checks all text files that git tracks, or those in the paths. Each finding names the
file, the line, the text, and what to write instead. --count prints the number of findings in each folder.
"""
import collections
import fnmatch
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIST = ROOT / "Scripts/banned-words.txt"
# A blank in an expression: blanks, or a line break with the comment mark of the next line.
BLANK = r"(?:[ \t]+|[ \t]*\n[ \t]*(?:///?<?|#|\*|;|--)?[ \t]*)"


def compiled(expression):
    # A lookbehind has a fixed width.
    parts = re.split(r"(\(\?<[!=][^)]*\))", expression)
    return re.compile("".join(part if part.startswith("(?<") else part.replace(" ", BLANK) for part in parts),
                      re.IGNORECASE)


def parse(text):
    """Returns the banned expressions with their replacements, and the exceptions with their path patterns."""
    banned, exceptions, target = [], [], None
    target = banned
    for number, line in enumerate(text.splitlines(), 1):
        if line == "[exceptions]":
            target = exceptions
        elif line.strip() and not line.startswith("#"):
            left, arrow, right = line.partition(" => ")
            if not arrow:
                raise ValueError(f"line {number} has no ' => '")
            target.append((compiled(left), right) if target is banned else (left, compiled(right)))
    return banned, exceptions


def findings(name, text, banned, exceptions):
    """Returns the line, the text and the replacement of each banned word."""
    accepted = [match.span() for pattern, expression in exceptions if fnmatch.fnmatchcase(name, pattern)
                for match in expression.finditer(text)]
    found = []
    for expression, replacement in banned:
        for match in expression.finditer(text):
            if not any(start <= match.start() and match.end() <= end for start, end in accepted):
                line = text.count("\n", 0, match.start()) + 1
                found.append((line, " ".join(match.group().split()), replacement))
    return sorted(found)


def tracked_texts(paths):
    """Returns the names and the contents of the text files that git tracks."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "--", *paths],
                            cwd=ROOT, check=True, stdout=subprocess.PIPE).stdout.decode("utf-8")
    for name in sorted(filter(None, listed.split("\0"))):
        data = (ROOT / name).read_bytes() if (ROOT / name).is_file() else b""
        if b"\0" not in data:
            yield name, data.decode("utf-8").replace("\r\n", "\n")


def self_test():
    """Checks the list and the search for its expressions."""
    banned, _ = parse(LIST.read_text(encoding="utf-8"))
    for expression, replacement in banned:
        hits = findings("", replacement, banned, [])
        assert not hits, f"the replacement of {expression.pattern} is banned too: {hits}"

    def texts(text, exceptions=(), name="a.cpp"):
        return [(line, found) for line, found, _ in findings(name, text, banned, exceptions)]

    assert texts("// Mended, as one\n  // might think.") == [(1, "Mended"), (1, "as one // might think")]
    assert texts("/// Gives the size.\nint Size();") == [(1, "/// Gives")]
    assert texts("# a folder of\n# its own") == [(1, "of # its own")]
    assert texts("recommended, amended; there is no key; it is no longer used; the time taken for it") == []
    assert texts("\n\nthe colour is no number") == [(3, "colour"), (3, "is no n")]
    log = parse("[exceptions]\nSrc/*.cpp => \"the colour\"\n")[1]
    assert texts('Log("the colour"); // a colour', log, "Src/A/b.cpp") == [(1, "colour")]
    assert len(texts('Log("the colour");', log, "Tools/b.cpp")) == 1


def main(arguments):
    if arguments[:1] == ["--self-test"]:
        self_test()
        return
    counting = arguments[:1] == ["--count"]
    banned, exceptions = parse(LIST.read_text(encoding="utf-8"))
    files, counts = 0, collections.Counter()
    for name, text in tracked_texts(arguments[1:] if counting else arguments):
        files += 1
        for line, found, replacement in findings(name, text, banned, exceptions):
            counts[str(pathlib.PurePath(name).parent)] += 1
            if not counting:
                print(f"{name}:{line}: '{found}': write instead: {replacement}")
    if counting:
        for folder, count in sorted(counts.items()):
            print(f"{count:5} {folder}")
    if counts:
        sys.exit(f"check-words.py: {counts.total()} banned words in {files} files")
    print(f"check-words.py: no banned words in {files} files")


if __name__ == "__main__":
    main(sys.argv[1:])
