#!/usr/bin/env python3
"""Joins the sources of each folder into one, so that a checker reads the headers only once per folder.

    Scripts/join-units.py BUILD OUTPUT FOLDER...

Reads the sources in the folders from the compile commands in BUILD, and writes the joined sources and their compile
commands to OUTPUT. Line directives keep the file names and line numbers of the parts. OUTPUT/each has the compile
commands of the sources themselves. Both leave out an option of GCC that clang refuses.
"""
import json
import pathlib
import shlex
import sys


def definitions(command):
    return [argument for argument in shlex.split(command) if argument.startswith("-D")]


def without_output(command):
    arguments = shlex.split(command)
    at = arguments.index("-o")
    return arguments[:at]


def join(folder, entries, output):
    joined = output / ("_".join(folder.parts) + ".cpp")
    parts = [f'#line 1 "{entry["file"]}"\n{pathlib.Path(entry["file"]).read_text(encoding="utf-8")}'
             for entry in entries]
    joined.write_text("\n".join(parts), encoding="utf-8")
    arguments = without_output(entries[0]["command"])
    for entry in entries[1:]:
        arguments += [define for define in definitions(entry["command"]) if define not in arguments]
    return {"directory": entries[0]["directory"], "file": str(joined), "arguments": arguments + ["-c", str(joined)]}


def main(build, output, *folders):
    root = pathlib.Path(__file__).resolve().parent.parent
    text = (pathlib.Path(build) / "compile_commands.json").read_text(encoding="utf-8").replace(" -fno-ipa-ra", "")
    commands = json.loads(text)
    units = {}
    # Some sources are compiled more than once.
    for entry in {entry["file"]: entry for entry in commands}.values():
        path = pathlib.Path(entry["file"])
        if path.is_relative_to(root) and path.relative_to(root).parts[0] in folders:
            units.setdefault(path.relative_to(root).parent, []).append(entry)
    output = pathlib.Path(output).resolve()
    (output / "each").mkdir(parents=True, exist_ok=True)
    (output / "each" / "compile_commands.json").write_text(text, encoding="utf-8")
    for old in output.glob("*.cpp"):
        old.unlink()
    commands = [join(folder, entries, output) for folder, entries in sorted(units.items())]
    (output / "compile_commands.json").write_text(json.dumps(commands, indent=1), encoding="utf-8")


if __name__ == "__main__":
    main(*sys.argv[1:])
