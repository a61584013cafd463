#!/usr/bin/env python3
"""Checks the structure of the source folders.

    Scripts/check-structure.py [--self-test]

In Src, Tools and Examples, the folders must not include each other's files in a circle. A folder and a folder inside it
are two nodes. No folder may contain more than 40 sources, in Tools 25.
"""
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
# The folders without circles, which are also the folders that their includes are relative to.
LAYERED = ("Src", "Tools", "Examples")
MOST_SOURCES = 40
MOST_SOURCES_BELOW = {"Tools": 25}
INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.MULTILINE)


def tracked_sources(root):
    """Returns the C++ sources that git knows in a folder, new ones included."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard", "*.cpp", "*.h"],
                            cwd=root, check=True, stdout=subprocess.PIPE).stdout.decode("utf-8")
    return [root / name for name in sorted(listed.split("\0")) if name and (root / name).is_file()]


def target_of(root, source, name):
    """Returns the file that an include names, or None if it is not one of the sources."""
    for folder in (source.parent, *(root / top for top in LAYERED)):
        path = pathlib.Path(folder, name)
        if path.is_file():
            return path.resolve()
    return None


def graph_of(root, sources):
    """Returns the includes between folders: {folder: {included folder: "file includes file"}}."""
    graph = {}
    for source in sources:
        folder = source.relative_to(root).parent
        if folder.parts[:1] not in [(top,) for top in LAYERED]:
            continue
        for name in INCLUDE.findall(source.read_text(encoding="utf-8")):
            target = target_of(root, source, name)
            if target is None or target.parent == source.parent:
                continue
            example = f"{source.relative_to(root)} includes {target.relative_to(root)}"
            graph.setdefault(str(folder), {}).setdefault(str(target.relative_to(root).parent), example)
    return graph


def circles_in(graph):
    """Returns the folders of each circle: the strongly connected components of more than one folder."""
    def reachable(start):
        found, waiting = set(), [start]
        while waiting:
            for following in graph.get(waiting.pop(), ()):
                if following not in found:
                    found.add(following)
                    waiting.append(following)
        return found

    reach = {folder: reachable(folder) for folder in graph}
    circles = {tuple(sorted(other for other in reach[folder] if folder in reach.get(other, ())))
               for folder in graph if folder in reach[folder]}
    return sorted(circles)


def shortest_circle(graph, start):
    """Returns a shortest way from a folder back to itself."""
    ways = [[start]]
    seen = set()
    for way in ways:
        for following in sorted(graph.get(way[-1], ())):
            if following == start:
                return [*way, start]
            if following not in seen:
                seen.add(following)
                ways.append([*way, following])
    return []


def findings(root):
    sources = tracked_sources(root)
    graph = graph_of(root, sources)
    for circle in circles_in(graph):
        yield "circle of folders: " + ", ".join(circle)
        way = shortest_circle(graph, circle[0])
        yield from (f"  {graph[one][other]}" for one, other in zip(way, way[1:]))
    counts = {}
    for source in sources:
        folder = source.relative_to(root).parent
        counts[folder] = counts.get(folder, 0) + 1
    for folder, count in sorted(counts.items()):
        most = MOST_SOURCES_BELOW.get(folder.parts[0] if folder.parts else "", MOST_SOURCES)
        if count > most:
            yield f"{folder} contains {count} sources; at most {most} are allowed"


def self_test():
    """Checks planted trees: each fault is reported, and a tree without a fault has no findings."""
    def planted(files):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder).resolve()
            subprocess.run(["git", "init", "-q", root], check=True)
            for name, text in files.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(text, encoding="utf-8")
            return list(findings(root))

    layers = {"Src/A/a.h": "", "Src/B/b.h": '#include "A/a.h"\n', "Src/C/c.h": "#include <B/b.h>\n"}
    assert planted(layers) == []
    found = planted({**layers, "Src/A/a.cpp": '#include "C/c.h"\n'})
    assert found[0] == "circle of folders: Src/A, Src/B, Src/C", found
    assert "  Src/A/a.cpp includes Src/C/c.h" in found, found
    parent = {"Tools/T/main.h": '#include "T/Room/room.h"\n', "Tools/T/Room/room.h": '#include "../main.h"\n'}
    assert planted(parent)[0] == "circle of folders: Tools/T, Tools/T/Room"
    many = {f"Src/A/{number}.cpp": "" for number in range(40)}
    assert planted(many) == []
    assert planted({**many, "Src/A/40.h": ""}) == ["Src/A contains 41 sources; at most 40 are allowed"]
    tools = {f"Tools/T/{number}.cpp": "" for number in range(26)}
    assert planted(tools) == ["Tools/T contains 26 sources; at most 25 are allowed"]


def main():
    if sys.argv[1:] == ["--self-test"]:
        self_test()
        return
    found = list(findings(ROOT))
    if found:
        sys.exit("\n".join(found))
    print("check-structure.py: no circle of folders, no folder with too many sources")


if __name__ == "__main__":
    main()
