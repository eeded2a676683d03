"""Data read from files, and shown as the program's view shows them."""
import json
import os
import tempfile
from typing import Any

import numpy as np

from . import _core
from ._definitions import nearest_to
from ._fields import Field, as_field
from ._networks import hear

_OPTIONS = {name for name in dir(_core.ViewOptions) if not name.startswith("_")} - {"output"}


def read(file: str | os.PathLike, **options: Any) -> Field:
    """Reads a data file (.npy, .npz, NetCDF, NRRD, field files, Fortran grids, voxel texts) as a field.

    Options are those of data files: variable, variables, vector_axis, step_axis, step, spacing, origin, convert.
    """
    plain = {name: value.tolist() if isinstance(value, np.ndarray) else value for name, value in options.items()}
    return Field(_core.read(os.fspath(file), json.dumps(plain) if plain else ""))


class View:
    """A picture of data, as the program's view makes it: shown by itself in a notebook.

    facts   what it shows and how, by name
    notes   what is worth knowing
    text    of the network that makes it; empty where it shows a field at hand
    """

    def __init__(self, source, options):
        self._source, self._options = source, options
        self._png, self.text, facts, self.notes = self._made("view.png")
        self.facts = dict(facts)

    def _made(self, name):
        """The bytes of the picture's file, and what is said of it."""
        options = _core.ViewOptions()
        for option, value in self._options.items():
            try:
                setattr(options, option, value)
            except TypeError:
                raise TypeError(f"view: {option} cannot be {value!r}") from None
        options.output = name
        network, text, facts, notes = _core.view(self._source, options)
        hear(network.run(None))
        with tempfile.TemporaryDirectory() as directory:
            hear(network.write(directory))
            with open(os.path.join(directory, name), "rb") as file:
                return file.read(), text, facts, notes

    def png(self) -> bytes:
        """The bytes of the .png file."""
        return self._png

    _repr_png_ = png

    def save(self, file: str | os.PathLike) -> None:
        """Writes the picture; the ending of the name says how: .png, .svg or .webp."""
        ending = os.path.splitext(os.fspath(file))[1]
        content = self._png if ending == ".png" else self._made("view" + ending)[0]
        with open(file, "wb") as out:
            out.write(content)

    def __repr__(self):
        return "\n".join(f"{name}: {value}" for name, value in self.facts.items())


def view(data, **options: Any) -> View:
    """Shows a data file, a field or an array as the program's view does: the same choice, the same bytes.

    variable, component, vector, step   what to show, where there is a choice
    range       two values for the ends of the colours
    preset      of the colours: "viridis"
    opacity     a curve as network files have it
    turn        degrees about x, y and z
    zoom, size, perspective    of the picture
    plain       without legend and axes
    """
    for name in options:
        if name not in _OPTIONS:
            raise TypeError(f"view() has no option {name!r}{nearest_to(name, _OPTIONS)}")
    if "opacity" in options and not isinstance(options["opacity"], str):
        options["opacity"] = json.dumps(options["opacity"])
    is_file = isinstance(data, (str, os.PathLike))
    return View(os.fspath(data) if is_file else as_field(data)._core, options)
