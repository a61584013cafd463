#!/usr/bin/env python3
"""Installs the library, and builds and runs a separate project with it.

    check_installed_library.py --cmake CMAKE --generator NAME --toolchain FILE --source FOLDER --build FOLDER
                               --config NAME --work FOLDER [--define NAME=VALUE]...
                               [--objects-name-their-folder] -- [EMULATOR...]

The page about the library contains the programs of the project, with their output, and the README the first of them:
its CMakeLists.txt, its main.cpp and its output.
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys

PRIVATE_HEADERS = {
    "Base64Core.h", "BasicAuthorization.h", "BoundedArray.h", "ConstantTime.h", "ConstinitText.h", "ContentTypes.h",
    "FieldRules.h", "GuidText.h", "HashCalls.h", "LogLine.h", "LogMessage.h", "OpenedKey.h", "SettingReader.h",
    "SignatureEngine.h", "SignatureParts.h", "SizeSum.h", "SystemCallFailure.h", "ToleratedFormats.h",
    "UniqueResource.h", "WindowsVersion.h", "Wipe.h", "WipeText.h",
}


def fail(message):
    sys.exit(f"check_installed_library: {message}")


def run(command, errors=subprocess.STDOUT, folder=None):
    result = subprocess.run(
        command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors, timeout=500,
        cwd=folder
    )
    if result.returncode != 0:
        sys.stdout.write((result.stdout + (result.stderr or b"")).decode("utf-8", "replace"))
        fail(f"exit code {result.returncode} of: {' '.join(map(str, command))}")
    return result


def lines(output):
    return re.sub(r"\r+\n", "\n", output.decode("utf-8"))


def code_blocks(page, language):
    return re.findall(rf"^```{language}\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)


def named_block(page, kind, name):
    """Returns the code block after a comment with this kind and name."""
    blocks = re.findall(rf"^<!-- {kind} {name} -->\n```\w+\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)
    if len(blocks) != 1:
        fail(f"{len(blocks)} blocks '{kind} {name}' on the page, not 1")
    return blocks[0]


def write_programs(source, folder):
    """Writes a project for each program on the page. Returns {name: (kind, expected output)}."""
    page = (source / "Docs/Library.md").read_text(encoding="utf-8")
    names = re.findall(r"^<!-- program (\w+) -->$", page, re.MULTILINE)
    project = code_blocks(page, "cmake")
    if len(project) != 1 or len(code_blocks(page, "cpp")) != len(names) or names[0] not in project[0]:
        fail("the page has a program without a name, or not one CMakeLists.txt for the first of them")
    expected = {}
    for name in names:
        (folder / name).mkdir(parents=True)
        (folder / name / "CMakeLists.txt").write_text(project[0].replace(names[0], name), encoding="utf-8")
        (folder / name / "main.cpp").write_text(named_block(page, "program", name), encoding="utf-8")
        kind = "errors" if f"<!-- errors {name} -->" in page else "output"
        expected[name] = kind, named_block(page, kind, name)

    readme = (source / "README.md").read_text(encoding="utf-8")
    section = readme.partition("\n## Use the library\n")[2].partition("\n## ")[0]
    first = {"cmake": project[0], "cpp": named_block(page, "program", names[0]), "text": expected[names[0]][1]}
    for language, block in first.items():
        if code_blocks(section, language) != [block]:
            fail(f"the README and the page differ in {language}")
    return expected


def build_as_printed(source, prefix, folder):
    """Builds a program with the commands of the page for a user's own project, which has no toolchain file."""
    page = (source / "Docs/Library.md").read_text(encoding="utf-8")
    [commands] = [block for block in code_blocks(page, "sh") if block.startswith("cmake -B ")]
    if "/opt/kuvauth/" not in commands:
        fail("the commands of the page do not name the installed library")
    run(["sh", "-ec", commands.replace("/opt/kuvauth", str(prefix))], folder=folder)


def without_clock(text):
    """Removes the date, the time, the process and the thread from log lines."""
    return re.sub(r"^\d\d/\d\d/\d\d \d\d:\d\d:\d\d \[\d+\]\(\d+\) ", "", text, flags=re.MULTILINE)


def check_files(prefix, build_paths, objects_name_their_folder):
    files = [path for path in prefix.rglob("*") if path.is_file()]
    headers = {path.relative_to(prefix / "include").as_posix() for path in files if path.suffix == ".h"}
    if not headers or {name.rpartition("/")[2] for name in headers} & PRIVATE_HEADERS:
        fail(f"wrong set of headers: {sorted(headers)}")
    for name in headers:
        text = (prefix / "include" / name).read_text(encoding="utf-8")
        missing = set(re.findall(r'#include "(.+)"', text)) - headers
        if missing:
            fail(f"{name} includes headers that are not installed: {missing}")
    for path in files:
        if objects_name_their_folder and path.suffix == ".lib":
            continue
        content = path.read_bytes()
        for build_path in build_paths:
            # The whole path: a short one may be the start of another name.
            if re.search(re.escape(build_path.encode()) + rb"(?![\w.-])", content):
                fail(f"{path} contains the path {build_path}")
    print(f"check_installed_library: {len(files)} files, {len(headers)} headers")


def main():
    parser = argparse.ArgumentParser()
    for option in ("cmake", "generator", "toolchain", "config"):
        parser.add_argument(f"--{option}", required=True)
    for option in ("source", "build", "work"):
        parser.add_argument(f"--{option}", required=True, type=pathlib.Path)
    parser.add_argument("--define", action="append", default=[], metavar="NAME=VALUE")
    parser.add_argument("--objects-name-their-folder", action="store_true")
    parser.add_argument("emulator", nargs="*")
    given = parser.parse_args()

    shutil.rmtree(given.work, ignore_errors=True)
    given.work.mkdir(parents=True)
    # The package must work after it is moved.
    staged, prefix = given.work / "staged", given.work / "moved" / "prefix"
    run([given.cmake, "--install", given.build, "--config", given.config, "--prefix", staged, "--component", "KuvAuth"])
    prefix.parent.mkdir()
    staged.rename(prefix)
    paths = {str(given.source), str(given.build), given.source.as_posix(), given.build.as_posix()}
    check_files(prefix, paths, given.objects_name_their_folder)

    programs = write_programs(given.source, given.work / "programs")

    consumer = given.work / "build"
    configure = [given.cmake, "-S", given.source / "Tests/InstalledLibrary/Consumer", "-B", consumer]
    configure += ["-G", given.generator]
    configure += [f"-DCMAKE_BUILD_TYPE={given.config}", f"-DCMAKE_TOOLCHAIN_FILE={given.toolchain}"]
    configure += [f"-DKuvAuth_DIR={prefix}/lib/cmake/KuvAuth", f"-DPROGRAMS={given.work}/programs"]
    configure += [f"-DSIGNED_REQUEST_EXAMPLE={given.source}/Examples/SignedRequest"]
    configure += [f"-DATL_HEADERS={given.source}/Tests/KuvAuth/Headers/Atl"]
    run(configure + [f"-D{define}" for define in given.define])
    run([given.cmake, "--build", consumer, "--config", given.config, "--parallel", "2"])

    def program(name):
        found = list(consumer.rglob(name + ".exe"))
        if len(found) != 1:
            fail(f"{len(found)} programs {name}")
        result = run([*given.emulator, found[0]], errors=subprocess.PIPE)
        return {"output": lines(result.stdout), "errors": lines(result.stderr)}

    def expect(name, text, expected):
        if text != expected:
            fail(f"{name} printed\n{text}instead of\n{expected}")

    for name, (kind, expected) in programs.items():
        expect(name, without_clock(program(name)[kind]), without_clock(expected))
    if given.emulator:
        # On Windows, the page refers to the toolchain of the user.
        name, (kind, expected) = next(iter(programs.items()))
        folder = given.work / "programs" / name
        build_as_printed(given.source, prefix, folder)
        printed = run([*given.emulator, folder / "build" / f"{name}.exe"])
        expect(f"{name}, built as printed,", without_clock(lines(printed.stdout)), without_clock(expected))
    expect("WholeLibrary", program("WholeLibrary")["output"], "KuvCredProv/4.3.1700.1150\n")
    expect("CatchesTheException", program("CatchesTheException")["output"], "0x80004005\n")
    # The version that Windows reports to a program without a manifest.
    expect("WithoutManifest", program("WithoutManifest")["output"], "6.2\n")
    expect("WithManifest", program("WithManifest")["output"], "10.0\n")
    print(f"check_installed_library: {len(programs) + 4} programs print the expected text")


if __name__ == "__main__":
    main()
