"""The command line of the package tests, and Scripts/package.sh for the programs that it names.

    --source FOLDER --x64-build FOLDER --x86-build FOLDER --packages FOLDER --version VERSION --work FOLDER

--packages contains the package of the version; --work is for files of the test. Other arguments stay for unittest.
"""
import argparse
import pathlib
import subprocess
import sys

_parser = argparse.ArgumentParser()
for _option in ("source", "x64-build", "x86-build", "packages", "work"):
    _parser.add_argument("--" + _option, required=True, type=pathlib.Path)
_parser.add_argument("--version", required=True)
_given, sys.argv[1:] = _parser.parse_known_args()

SOURCE, PACKAGES, VERSION, WORK = _given.source, _given.packages, _given.version, _given.work
X64, X86 = _given.x64_build / "bin", _given.x86_build / "bin"


def command(*arguments):
    """Returns the command that packages the programs without building them."""
    return [SOURCE / "Scripts/package.sh", "--no-build", "--x64-build", _given.x64_build,
            "--x86-build", _given.x86_build, *arguments]


def package(version=VERSION, folder=PACKAGES):
    return pathlib.Path(folder) / f"KuvCredFilter-{version}-x64.msi"


def make(version, folder):
    """Packages the programs as another version and returns the path."""
    subprocess.run(command("--version", version, "--output", folder), check=True, stdout=subprocess.DEVNULL)
    return package(version, folder)
