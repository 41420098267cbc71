"""Packages that are used where they are there."""
import importlib


def need(name, what, package=None):
    """The module, or an ImportError that says what it is for."""
    try:
        return importlib.import_module(name)
    except ImportError as error:
        raise ImportError(f"{what} needs {package or name.split('.')[0]}, which is not installed") from error
