"""Loads a Python script whose file name need not be an identifier."""
import importlib.machinery
import pathlib
import types


def load_script(path):
    """Returns the script as a module, without running what it does as a program."""
    path = pathlib.Path(path)
    loader = importlib.machinery.SourceFileLoader(path.stem.replace("-", "_"), str(path))
    module = types.ModuleType(loader.name)
    loader.exec_module(module)
    return module
