"""Scientific visualisation: every module is a function, networks run here, arrays go in and out without a copy.

    picture = zam.tracer(volume, width=512, height=512, color_table="viridis", xform=zam.rotate(-60, 0, 30))
    zam.view("wind.nc")

`zam.modules()` lists the modules; `help(zam.tracer)` says what one takes.
"""
import atexit as _atexit

from . import _core
from ._definitions import definitions as _definitions
from ._definitions import nearest_to as _nearest_to
from ._fields import Cells, Component, Converted, Field, Group, Step, Transform
from ._fields import convert, field, rotate, scale, translate
from ._functions import functions as _functions
from ._networks import Cancelled, Error, Module, ModuleError, ModuleWarning, Network, ValueRefused
from ._view import View, read, view

_atexit.register(_core.end)  # while there are still objects to let go

__all__ = [
    "Cancelled", "Cells", "Component", "Converted", "Error", "Field", "Group", "Module", "ModuleError",
    "ModuleWarning", "Network", "Step", "Transform", "ValueRefused", "View", "convert", "field", "modules", "read",
    "rotate", "scale", "translate", "view",
]


def modules() -> dict[str, str]:
    """The modules at hand, each with what it does."""
    return {name: definition.summary for name, definition in _definitions().items()}


def __getattr__(name):
    if name.startswith("_"):
        raise AttributeError(name)
    found = _functions().get(name)
    if found is None:
        known = [*_functions(), *__all__]
        raise AttributeError(f"module 'zam' has no attribute {name!r}{_nearest_to(name, known)}")
    globals()[name] = found
    return found


def __dir__():
    return sorted([*__all__, *_functions()])
