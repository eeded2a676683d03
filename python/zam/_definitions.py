"""What the modules' definitions say, and parameters' values checked by it."""
import difflib
import functools
import json
import keyword
import numbers
import os
from dataclasses import dataclass

import numpy as np

from . import _core
from ._arrays import as_values, dtype_of
from ._fields import Converted, Field, Group, Transform, as_field


class Default:
    """A default that has no short form in Python: the definition gives it."""

    def __init__(self, text):
        self.text = text

    def __repr__(self):
        return f"<{self.text}>"


@dataclass(frozen=True)
class Parameter:
    name: str
    kind: str
    direction: str
    default: object  # None: the definition gives none
    meaning: str
    is_file_name: bool
    array_type: str  # of arrays that have one, else None
    range: tuple  # of int and real that have one: low and high, None where it is open; else None
    choices: tuple  # of int: pairs of a number and what it stands for
    accepts: dict  # of fields that have it, else None

    @property
    def python_name(self):
        """The name, with _ after those that are words of the language."""
        return self.name + "_" if keyword.iskeyword(self.name) else self.name

    @property
    def kind_text(self):
        """The kind and the values that make sense, for people: "real (0 to 1)"."""
        text = ", ".join(f"{value} {name}" for value, name in self.choices)
        if self.range:
            low, high = (None if end is None else f"{end:.10g}" for end in self.range)
            text = f"up to {high}" if low is None else f"from {low}" if high is None else f"{low} to {high}"
        return f"{self.kind} ({text})" if text else self.kind


@dataclass(frozen=True)
class Definition:
    name: str
    entry: str
    summary: str
    is_class: bool
    parameters: tuple

    @functools.cached_property
    def by_name(self):
        """Parameters by their names, and by those that Python can write."""
        return {name: p for p in self.parameters for name in (p.name, p.python_name)}

    @functools.cached_property
    def outputs(self):
        return tuple(p for p in self.parameters if p.direction != "in")

    @functools.cached_property
    def inputs(self):
        return tuple(p for p in self.parameters if p.direction != "out")


def nearest_to(name, names):
    """What follows after a name that nothing has: the one that may have been meant."""
    found = difflib.get_close_matches(name, names, 1)
    return f"; did you mean {found[0]!r}?" if found else ""


def _default(kind, text):
    if not text:
        return None
    value = json.loads(text)
    if kind == "color_table" and list(value) == ["preset"]:
        return value["preset"]
    if isinstance(value, (dict, list)):
        return Default(text)
    return float(value) if kind == "real" else value


@functools.cache
def definitions():
    """The modules by name."""
    found = {}
    for module in _core.modules():
        parameters = tuple(
            Parameter(**{**p, "default": _default(p["kind"], p["default"])}) for p in module["parameters"]
        )
        found[module["name"]] = Definition(**{**module, "parameters": parameters})
    return found


# --- Values of parameters ---


def _wrong(where, wanted, value):
    return TypeError(f"{where}: {wanted} is expected, not {type(value).__name__}")


def _whole(where, value):
    if isinstance(value, (numbers.Integral, np.bool_)):
        return int(value)
    raise _wrong(where, "a whole number", value)


def _real(where, value):
    if isinstance(value, (numbers.Real, np.bool_)):
        return float(value)
    raise _wrong(where, "a number", value)


def _text(where, value):
    if isinstance(value, (str, os.PathLike)):
        return os.fspath(value)
    raise _wrong(where, "a text", value)


def _field(where, value, accepts=None):
    if isinstance(value, dict):
        return generic(where, value)
    field = as_field(value, accepts, where)
    return {"field": field.field._core, "convert": field.steps} if isinstance(field, Converted) else field._core


def _fields(where, value, accepts):
    if isinstance(value, (list, tuple)):
        return [_field(where, one, accepts) for one in value]
    return [_field(where, value, accepts)]


def _array(where, value, type_name):
    if isinstance(value, dict):
        return generic(where, value)
    if not isinstance(value, np.ndarray) and type_name:
        try:
            value = np.asarray(value, dtype_of(type_name))
        except (TypeError, ValueError):
            raise _wrong(where, "an array of numbers", value) from None
    return as_values(value, where).reshape(-1)


def _transform(where, value):
    if isinstance(value, Transform):
        return generic(where, value.value())
    if isinstance(value, dict):
        return generic(where, value)
    matrix = np.asarray(value)
    if matrix.dtype.kind not in "biuf" or matrix.shape != (4, 4):
        raise _wrong(where, "a transform (zam.rotate, ...) or a 4 x 4 matrix for row vectors", value)
    return {"matrix": [float(number) for number in matrix.reshape(-1)]}


def _colors(where, value):
    if isinstance(value, str):
        return {"preset": value}
    if isinstance(value, dict):
        return generic(where, value)
    table = as_values(value, where)
    if table.ndim != 2 or table.shape[0] != 256 or table.shape[1] not in (3, 4):
        raise ValueError(f"{where}: a name, a dict or 256 rows of red, green, blue (and opacity) are expected")
    if table.dtype.kind == "f" and table.max() <= 1:
        table = np.rint(table * 255)
    names = ("red", "green", "blue", "alpha")
    return {name: np.ascontiguousarray(table[:, i]) for i, name in enumerate(names[: table.shape[1]])}


def generic(where, value):
    """A value of a kind that takes several forms, as network files have them."""
    if isinstance(value, Group):
        return {"group": {name: generic(where, member) for name, member in value.items()}}
    if isinstance(value, dict):
        return {str(name): generic(where, member) for name, member in value.items()}
    if isinstance(value, (list, tuple)):
        return [generic(where, element) for element in value]
    if isinstance(value, (Field, Converted)):
        return _field(where, value)
    if isinstance(value, Transform):
        return generic(where, value.value())
    if isinstance(value, np.ndarray) and value.ndim > 0:
        return as_values(value, where).reshape(-1)
    if isinstance(value, os.PathLike):
        return os.fspath(value)
    return value.item() if isinstance(value, (np.generic, np.ndarray)) else value


def to_core(where, parameter, value):
    """A value for a parameter. Raises TypeError or ValueError for values that it does not take."""
    kind = parameter.kind
    if value is None or (isinstance(value, dict) and "ref" in value):
        return generic(where, value)
    if kind in ("int", "trigger"):
        return _whole(where, value)
    if kind == "real":
        return _real(where, value)
    if kind == "text":
        return _text(where, value)
    if kind == "texts":
        if isinstance(value, str):
            raise _wrong(where, "a list of texts", value)
        return [_text(where, one) for one in value]
    if kind == "array":
        return _array(where, value, parameter.array_type)
    if kind == "field":
        return _field(where, value, parameter.accepts)
    if kind == "fields":
        return _fields(where, value, parameter.accepts)
    if kind == "transform":
        return _transform(where, value)
    return _colors(where, value) if kind in ("color_table", "datamap") else generic(where, value)
