"""Dictionaries as the text of a parameter file."""
import numbers

import numpy as np


def _key(name):
    return _text(str(name))


def _text(value):
    out = []
    for c in value:
        if c in '"\\':
            out.append("\\" + c)
        elif ord(c) < 0x20 or ord(c) == 0x7F:
            out.append(f"\\u{ord(c):04x}")
        else:
            out.append(c)
    return '"' + "".join(out) + '"'


def _value(value, where):
    if isinstance(value, (bool, np.bool_)):
        return "true" if value else "false"
    if isinstance(value, numbers.Integral):
        return str(int(value))
    if isinstance(value, numbers.Real):
        return repr(float(value))
    if isinstance(value, str):
        return _text(value)
    if isinstance(value, dict):
        inner = ", ".join(f"{_key(k)} = {_value(v, where)}" for k, v in value.items())
        return "{" + inner + "}"
    if isinstance(value, np.ndarray):
        value = value.tolist()
    if isinstance(value, (list, tuple, set, frozenset)):
        return "[" + ", ".join(_value(v, where) for v in value) + "]"
    if hasattr(value, "__fspath__"):
        return _text(value.__fspath__())
    raise TypeError(f"{where}: {type(value).__name__} is no value of a parameter")


def dump(table, path=()):
    """TOML of a dictionary; `None` values are left out."""
    table = {k: v for k, v in table.items() if v is not None}
    lines = []
    for key, value in table.items():
        if not isinstance(value, dict):
            lines.append(f"{_key(key)} = {_value(value, '.'.join((*path, str(key))))}")
    for key, value in table.items():
        if isinstance(value, dict):
            own = (*path, str(key))
            lines.append("[" + ".".join(_key(k) for k in own) + "]")
            lines.append(dump(value, own))
    return "\n".join(lines)
