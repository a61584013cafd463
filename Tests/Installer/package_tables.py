"""The tables of a package, read by msiinfo."""
import pathlib
import subprocess
import tempfile

# Attributes of components.
BITS_64, PERMANENT, REGISTRY_KEY_PATH = 256, 16, 4


def msiinfo(command, package, *arguments):
    """Runs msiinfo in a temporary folder, because "export" also writes the streams of a table there."""
    with tempfile.TemporaryDirectory() as folder:
        return subprocess.run(["msiinfo", command, pathlib.Path(package).absolute(), *arguments], cwd=folder,
                              check=True, capture_output=True, text=True).stdout


def names(package):
    return set(msiinfo("tables", package).split())


def table(package, name):
    """Returns the rows, each as a dictionary by column. An absent table has no rows."""
    if name not in names(package):
        return []
    text = msiinfo("export", package, name)
    lines = [line.split("\t") for line in text.replace("\r", "").rstrip("\n").split("\n")]
    return [dict(zip(lines[0], line)) for line in lines[3:]]


def keyed(package, name, column, value=None):
    return {row[column]: row[value] if value else row for row in table(package, name)}


def target_path(package, name):
    """Returns the path of a folder: the identifier of the machine's folder, then the long names below it."""
    folders, path = keyed(package, "Directory", "Directory"), []
    while folders[name]["Directory_Parent"] != "TARGETDIR":
        path.insert(0, folders[name]["DefaultDir"].split("|")[-1])
        name = folders[name]["Directory_Parent"]
    return [name, *path]
