"""A Wine prefix that a check runs programs in, and the failures that the check collects."""
import pathlib
import subprocess
import sys

TIMEOUT = 120


def windows_path(path):
    return "Z:" + str(pathlib.Path(path).resolve()).replace("/", "\\")


class Prefix:
    """Runs programs with the wine script. Used with `with`, its server runs until the end of the block."""

    def __init__(self, script, prefix):
        self.command = [script, prefix]
        self.drive = pathlib.Path(prefix) / "drive_c"

    def __enter__(self):
        self.must("--start")
        return self

    def __exit__(self, *_):
        self.run("--stop")

    def run(self, *arguments, stdout=subprocess.PIPE):
        """Runs a program. Returns its exit code, its output and its errors."""
        result = subprocess.run([*self.command, *arguments], stdin=subprocess.DEVNULL, stdout=stdout,
                                stderr=subprocess.PIPE, timeout=TIMEOUT)
        return result.returncode, result.stdout, result.stderr

    def must(self, *arguments):
        code, output, errors = self.run(*arguments)
        if code != 0:
            sys.exit(f"{arguments} ended with {code}: {((output or b'') + errors).decode('utf-8', 'replace')}")
        return output


FAILURES = []


def expect(name, actual, expected):
    if actual != expected:
        FAILURES.append(f"{name}:\n  {actual!r}\ninstead of\n  {expected!r}")


def finish(check, success):
    """Ends the process with the failures of the check, or prints its success."""
    if FAILURES:
        sys.exit(f"{check}: " + f"\n{check}: ".join(FAILURES))
    print(f"{check}: {success}")
