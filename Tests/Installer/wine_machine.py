"""A machine to install on: a separate Wine prefix, its registry and its files."""
import hashlib
import os
import pathlib
import re
import shutil
import subprocess

# Keys of Wine's display driver, and a second name of another key.
NOISE = re.compile(r"(?i)HKEY_LOCAL_MACHINE\\(System\\CurrentControlSet\\Control\\Video"
                   r"|Software\\Wow6432Node\\Classes)(\\|$)")
# The current control set is a link. Newer versions of Wine export the keys below its target.
CONTROL_SET = re.compile(r"(?i)^(HKEY_LOCAL_MACHINE\\System\\)ControlSet001(?=\\|$)")
# The records of Windows Installer.
INSTALLER = re.compile(r"(?i)HKEY_LOCAL_MACHINE\\Software\\(Wow6432Node\\)?"
                       r"(Classes\\Installer|Microsoft\\Windows\\CurrentVersion\\(Installer|Uninstall))(\\|$)")
VOLATILE = re.compile(r"(?i)^(users|windows/temp|windows/installer)(/|$)")


def parse(text):
    """Returns the keys and values of an exported registry, {key: {name: value}}, in the notation of the file."""
    keys, values = {}, None
    text = text.replace("\r", "").replace("\\\n  ", "")
    for line in text.split("\n"):
        if line.startswith("["):
            values = keys.setdefault(CONTROL_SET.sub(r"\1CurrentControlSet", line[1:-1]), {})
        elif (match := re.match(r'(@|"(?:[^"\\]|\\.)*")=(.*)', line)) and values is not None:
            values[match[1].strip('"')] = match[2]
    return keys


class Machine:
    def __init__(self, wine, work):
        """Creates a new prefix with the wine script."""
        self.wine, self.work = wine, pathlib.Path(work)
        self.prefix = self.work / "wine"
        self.drive = self.prefix / "drive_c"
        shutil.rmtree(self.prefix, ignore_errors=True)
        self.work.mkdir(parents=True, exist_ok=True)
        subprocess.run([wine, self.prefix, "--start"], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        # Windows has this value since version 10, Wine does not.
        self.must("reg", "add", r"HKLM\SOFTWARE\Microsoft\Windows NT\CurrentVersion", "/v", "CurrentMajorVersionNumber",
                  "/t", "REG_DWORD", "/d", "10", "/f")

    def stop(self):
        subprocess.run([self.wine, self.prefix, "--stop"], check=False)
        shutil.rmtree(self.prefix, ignore_errors=True)

    def run(self, *arguments, debug="-all"):
        """Runs a program. Returns the low 8 bits of its exit code, and its output, with Wine's debug messages.

        The output goes to a file, because Wine's services would keep a pipe open.
        """
        output = self.work / "output"
        with open(output, "wb") as file:
            code = subprocess.run([self.wine, self.prefix, *arguments], stdin=subprocess.DEVNULL, stdout=file,
                                  stderr=subprocess.STDOUT,
                                  env={**os.environ, "WINEDEBUG": debug}).returncode
        return code, output.read_bytes().decode("utf-8", "replace").replace("\r", "")

    def must(self, *arguments):
        code, output = self.run(*arguments)
        if code != 0:
            raise AssertionError(f"{arguments} ended with {code}: {output}")
        return output

    def add_sample_providers(self, source):
        """Registers the providers of the sample machine, without its settings."""
        sample = (source / "Tools/FilterHost/Sample.reg").read_text(encoding="ascii")
        file = self.work / "providers.reg"
        file.write_text(sample.partition(r"[HKEY_LOCAL_MACHINE\SOFTWARE\Kuvant")[0])
        self.must("reg", "import", self.windows(file))

    def windows(self, path):
        return "Z:" + str(pathlib.Path(path).resolve()).replace("/", "\\")

    def host(self, path):
        """Returns the file on this host for a path on drive C."""
        assert path[:3].upper() == "C:\\", path
        return self.drive / path[3:].replace("\\", "/")

    def registry(self, keys=("HKEY_LOCAL_MACHINE",)):
        """Returns the keys below these, with their values."""
        files = [self.work / f"export{number}.reg" for number in range(len(keys))]
        for file in files:
            file.unlink(missing_ok=True)
        # One process for all keys. A key that does not exist leaves no file.
        batch = self.work / "export.bat"
        batch.write_text("".join(f'@reg export "{key}" "{self.windows(file)}" /y\n' for key, file in zip(keys, files)))
        self.run("cmd", "/c", self.windows(batch))
        found = {}
        for file in files:
            if file.exists():
                found.update(parse(file.read_text(encoding="utf-16")))
        return {key: values for key, values in found.items() if not NOISE.match(key)}

    def files(self):
        """Returns the files on drive C by path: None for a folder, the size of a Windows file, the hash of another."""
        found = {}
        for path in self.drive.rglob("*"):
            name = path.relative_to(self.drive).as_posix()
            if VOLATILE.match(name) or path.is_symlink():
                continue
            if path.is_dir():
                found[name] = None
            elif name.startswith("windows/"):
                found[name] = path.stat().st_size
            else:
                found[name] = hashlib.sha256(path.read_bytes()).hexdigest()
        return found


def difference(before, after):
    """Returns what was added or changed, and what was removed."""
    return ({name: after[name] for name in after if name not in before or before[name] != after[name]},
            {name: before[name] for name in before if name not in after})
