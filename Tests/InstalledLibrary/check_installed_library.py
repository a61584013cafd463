#!/usr/bin/env python3
"""Installs the library, and builds and runs a separate project with it.

    check_installed_library.py --cmake CMAKE --generator NAME --toolchain FILE --source FOLDER --build FOLDER
                               --config NAME --work FOLDER [--define NAME=VALUE]... -- [EMULATOR...]

The README contains one of the programs: its CMakeLists.txt, its main.cpp and its output.
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys

PRIVATE_HEADERS = {
    "Base64Core.h", "BasicAuthorization.h", "BoundedArray.h", "ContentTypes.h", "FieldRules.h", "GuidText.h",
    "HashCalls.h", "LogLine.h", "LogMessage.h", "SettingReader.h", "SignatureEngine.h", "SignatureParts.h", "SizeSum.h",
    "SystemCallFailure.h", "UniqueResource.h", "WindowsVersion.h", "Wipe.h",
}


def fail(message):
    sys.exit(f"check_installed_library: {message}")


def run(command):
    result = subprocess.run(
        command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=500
    )
    if result.returncode != 0:
        sys.stdout.write(result.stdout.decode("utf-8", "replace"))
        fail(f"exit code {result.returncode} of: {' '.join(map(str, command))}")
    return result.stdout


def lines(output):
    return re.sub(r"\r+\n", "\n", output.decode("utf-8"))


def readme_block(readme, language):
    """Returns the only code block of a language in the README's section for users of the library."""
    section = readme.partition("\n## Use the library\n")[2].partition("\n## ")[0]
    blocks = re.findall(rf"^```{language}\n(.*?)^```$", section, re.MULTILINE | re.DOTALL)
    if len(blocks) != 1:
        fail(f"{len(blocks)} blocks of {language} in the README, not 1")
    return blocks[0]


def check_files(prefix, build_paths):
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
    check_files(prefix, paths)

    readme = (given.source / "README.md").read_text(encoding="utf-8")
    example = given.work / "readme"
    example.mkdir()
    (example / "CMakeLists.txt").write_text(readme_block(readme, "cmake"), encoding="utf-8")
    (example / "main.cpp").write_text(readme_block(readme, "cpp"), encoding="utf-8")

    consumer = given.work / "build"
    configure = [given.cmake, "-S", given.source / "Tests/InstalledLibrary/Consumer", "-B", consumer]
    configure += ["-G", given.generator]
    configure += [f"-DCMAKE_BUILD_TYPE={given.config}", f"-DCMAKE_TOOLCHAIN_FILE={given.toolchain}"]
    configure += [f"-DKuvAuth_DIR={prefix}/lib/cmake/KuvAuth", f"-DREADME_EXAMPLE={example}"]
    configure += [f"-DSIGNED_REQUEST_EXAMPLE={given.source}/Examples/SignedRequest"]
    run(configure + [f"-D{define}" for define in given.define])
    run([given.cmake, "--build", consumer, "--config", given.config, "--parallel", "2"])

    def program(name):
        found = list(consumer.rglob(name + ".exe"))
        if len(found) != 1:
            fail(f"{len(found)} programs {name}")
        return lines(run([*given.emulator, found[0]]))

    expected = readme_block(readme, "text")
    if program("SignOne") != expected:
        fail(f"the program of the README printed\n{program('SignOne')}instead of\n{expected}")
    if program("WholeLibrary") != "KuvCredProv/4.3.1700.1150\n":
        fail(f"WholeLibrary printed\n{program('WholeLibrary')}")
    print("check_installed_library: the programs of the project print the expected text")


if __name__ == "__main__":
    main()
