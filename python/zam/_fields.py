"""Fields: grids of nodes with values, and what makes and shows them."""
import os
from typing import Any

import numpy as np

from . import _core
from ._arrays import as_values

_GRIDS = ("uniform", "rectilinear", "structured", "unstructured")
_CELL_NODES = {"Point": 1, "Line": 2, "Tri": 3, "Quad": 4, "Tet": 4, "Pyr": 5, "Prism": 6, "Hex": 8}


class Component(np.ndarray):
    """Values of the nodes, [z, y, x] or [z, y, x, part], with a label, units, an id and the value that stands for none.

    A view of the session's memory that cannot be written to; `.copy()` makes one that can."""

    label = units = ""
    id = 0
    null_value = None

    def __array_finalize__(self, source):
        for name in ("label", "units", "id", "null_value"):
            setattr(self, name, getattr(source, name, getattr(Component, name)))


def _component(core, shape):
    values = core.values
    if len(values) == 0:
        shape = (0,)
    elif core.veclen > 1:
        shape += (core.veclen,)
    view = values.reshape(shape).view(Component)
    view.label, view.units, view.id, view.null_value = core.label, core.units, core.id, core.null_value
    return view


class Cells:
    """Cells of one kind: `name` ("Tri"), `count`, and `connect`, the node numbers, [cell, node] where all have as
    many."""

    def __init__(self, core):
        self.name = core.name
        nodes = _CELL_NODES.get(core.name)
        self.connect = core.connect.reshape(-1, nodes) if nodes else core.connect
        self.poly_connect = core.poly_connect.reshape(-1, 2) if core.name == "Polyline" else core.poly_connect
        self.count = max(core.cells, core.polys)

    def __repr__(self):
        return f"<{self.count} {self.name}>"


class Step:
    """A time step: `coord` and `data` as those of fields."""

    def __init__(self, core, shape, nspace):
        self.coord = core.coord.reshape(shape + (nspace,)) if len(core.coord) else core.coord
        self.data = [_component(one, shape) for one in core.data]


class Field:
    """A grid of nodes with values, as it was when it was read. Its arrays are views that stay as they are, whatever
    becomes of the network they come from."""

    def __init__(self, core):
        self._core = core

    @property
    def shape(self) -> tuple[int, ...]:
        """Nodes per axis, [z, y, x]; of unstructured fields their number."""
        return tuple(reversed(self._core.dims)) or (self._core.nodes,)

    @property
    def grid(self):
        """"uniform", "rectilinear", "structured" or "unstructured"."""
        return _GRIDS[self._core.grid - 1] if self._core.grid else None

    @property
    def nspace(self):
        """Coordinates per node."""
        return self._core.nspace

    @property
    def nodes(self):
        return self._core.nodes

    @property
    def points(self) -> np.ndarray:
        """Of uniform fields the two corners, of rectilinear ones the positions along x, then y, then z."""
        return self._core.points.reshape(-1, self.nspace or 1)

    @property
    def coord(self) -> np.ndarray:
        """Of structured and unstructured fields the nodes' coordinates, [z, y, x, x y z]."""
        coord = self._core.coord
        return coord.reshape(self.shape + (self.nspace,)) if len(coord) else coord

    @property
    def xform(self):
        """The 4 x 4 matrix for row vectors, or None."""
        matrix = self._core.xform
        return None if matrix is None else np.array(matrix, np.float32).reshape(4, 4)

    @property
    def data(self) -> list[Component]:
        """The components, arrays with `label`, `units`, `id` and `null_value`."""
        return [_component(one, self.shape) for one in self._core.data]

    @property
    def cells(self) -> list[Cells]:
        return [Cells(one) for one in self._core.cells]

    @property
    def times(self):
        return list(self._core.times)

    @property
    def steps(self) -> list[Step]:
        return [Step(one, self.shape, self.nspace) for one in self._core.steps]

    def __getitem__(self, component):
        """A component by its number or label."""
        if isinstance(component, str):
            labels = [one.label for one in self._core.data]
            if component not in labels:
                from ._definitions import nearest_to

                raise KeyError(f"no component is called {component!r}{nearest_to(component, labels)}")
            component = labels.index(component)
        return _component(self._core.data[component], self.shape)

    def __array__(self, dtype=None, copy=None):
        """The only component, for NumPy's functions."""
        if len(self._core.data) != 1:
            raise ValueError(f"the field has {len(self._core.data)} components: take one, field[0]")
        return np.array(self[0], dtype) if copy else np.asarray(self[0], dtype)

    def __repr__(self):
        size = " x ".join(str(n) for n in self._core.dims) or f"{self.nodes} nodes"
        values = [f"{one.dtype}{f' x {one.shape[-1]}' if one.ndim > len(self.shape) else ''}"
                  f"{' ' + one.label if one.label else ''}" for one in self.data]
        parts = [f"{self.grid} {size}", *values, *(repr(one)[1:-1] for one in self.cells)]
        return f"<zam.Field {', '.join(parts)}>"

    @property
    def is_image(self):
        """Whether it is a picture: a plane of bytes, opacity, red, green, blue."""
        if len(self._core.dims) != 2 or not self._core.data:
            return False
        first = self._core.data[0]
        return first.veclen in (4, 5) and first.values.dtype == np.uint8

    def _holder(self):
        """A network that holds the field, for those who write it, and where it has it."""
        network = _core.Network()
        network.add("it", "host_view")
        network.set("it.objects", [self._core])
        return network, "it.objects[0]"

    def _options(self, **options):
        return _core.ImageOptions(first_row_is_lowest=self._core.first_row_is_lowest, **options)

    def image(self, *, alpha: bool = False, background=None) -> np.ndarray:
        """The picture, height x width x 3 bytes, first row on top; with `alpha` 4. `background` composites over a
        colour, red, green, blue from 0 to 1."""
        network, reference = self._holder()
        return network.image(reference, self._options(alpha=alpha, background=background))

    def png(self, *, alpha: bool = False, background=None) -> bytes:
        """The bytes of a .png file of the picture."""
        network, reference = self._holder()
        return network.png(reference, self._options(alpha=alpha, background=background))

    def _repr_png_(self):
        return self.png() if self.is_image else None

    def save(self, file: str | os.PathLike, **options: Any) -> None:
        """Writes the field. The ending of the name says how: .png, .webp, .svg, .json, .raw, .vti, .vtr, .vts, .vtu."""
        from ._networks import write_one

        network, reference = self._holder()
        if self.is_image:
            options.setdefault("origin", "lower" if self._core.first_row_is_lowest else "upper")
        write_one(network, file, reference, options)


class Group(dict):
    """An object with sub-objects, by name, also as attributes."""

    def __getattr__(self, name):
        try:
            return self[name]
        except KeyError:
            raise AttributeError(name) from None


def from_core(value):
    """What an object of a network holds."""
    if isinstance(value, _core.Field):
        return Field(value)
    if isinstance(value, dict):
        return Group((name, from_core(member)) for name, member in value.items())
    return [from_core(element) for element in value] if isinstance(value, list) else value


class Converted:
    """A field that is converted where it is given."""

    def __init__(self, field, steps):
        self.field, self.steps = field, steps


def convert(field, **steps: Any) -> Converted:
    """A field, or array, made into what a module takes: `type="byte", range="auto"`, `vector=True`, `magnitude=True`,
    `components=[...]`, `crop=[[first, last], ...]`, `resample=[nx, ny, ...]`, as network files convert."""
    if isinstance(field, Converted):
        raise TypeError("the field is converted already: give all steps at once")
    plain = {name: value.tolist() if isinstance(value, np.ndarray) else value for name, value in steps.items()}
    return Converted(as_field(field), plain)


# --- Fields of the caller's ---


def _parts(array, accepts):
    """Whether the last axis of an array has the parts of vectors, by what a module takes."""
    if not accepts or array.ndim < 2:
        return False
    ndims = accepts["ndims"]
    first = accepts["components"][0] if accepts["components"] else {"veclens": [], "min_veclen": 0}

    def fits(ndim, veclen):
        return (not ndims or ndim in ndims) and (not first["veclens"] or veclen in first["veclens"]) and (
            veclen >= first["min_veclen"]
        )

    return not fits(array.ndim, 1) and fits(array.ndim - 1, array.shape[-1])


def as_field(value, accepts=None, what="the field"):
    """A field of the value: an array becomes a uniform field in index space, with the parts of vectors along its last
    axis where a module takes no other."""
    if isinstance(value, (Field, Converted)):
        return value
    if isinstance(value, (str, os.PathLike)):
        raise TypeError(f"{what}: a field or an array is expected, not a text; zam.read({str(value)!r}) reads a file")
    if not isinstance(value, np.ma.MaskedArray):
        value = as_values(value, what)
    if value.ndim == 0:
        raise TypeError(f"{what}: a field or an array is expected, not one value")
    return field(value, vector=_parts(value, accepts))


def _texts(texts, count, what):
    texts = [texts] * count if isinstance(texts, str) else list(texts)
    if len(texts) not in (0, count):
        raise ValueError(f"{len(texts)} {what} for {count} components")
    return texts or [""] * count


def _floats(array):
    return np.ascontiguousarray(array, np.float32)


def _place(core, shape, spacing, origin, axes):
    """Gives a uniform or rectilinear field its positions."""
    ndim = len(shape)
    core.grid = 1 if axes is None else 2
    if axes is not None:
        axes = [_floats(axis).reshape(-1) for axis in axes]
        if [len(axis) for axis in axes] != list(shape[::-1]):
            raise ValueError(f"axes: {ndim} arrays with a position per node are expected, x first")
        points = np.zeros((sum(map(len, axes)), ndim), np.float32)
        first = 0
        for number, axis in enumerate(axes):
            points[first : first + len(axis), number] = axis
            first += len(axis)
    elif spacing is not None or origin is not None:
        lowest = np.broadcast_to(0.0 if origin is None else origin, ndim)
        step = np.broadcast_to(1.0 if spacing is None else spacing, ndim)
        points = _floats([lowest, lowest + step * (np.array(shape[::-1]) - 1)])
    else:
        return  # index space
    core.nspace, core.points = ndim, points.reshape(-1)


def _cells(cells):
    result = []
    for name, connect in cells.items():
        one = _core.CellSet()
        one.name = name
        one.connect = np.ascontiguousarray(connect, np.int64).reshape(-1)
        if name == "Polyline":  # lists of node numbers become first and last node each
            raise ValueError("cells: Polylines come from modules; give Line cells")
        result.append(one)
    return result


def field(*components, vector=False, coord=None, cells=None, spacing=None, origin=None, axes=None, labels=(), units=(),
          null=None, xform=None) -> Field:
    """A field over arrays, which are lent, not copied, where they are contiguous and of an element type.

    components  arrays [z, y, x], or with `vector` [z, y, x, part]; of unstructured fields [node] or [node, part]
    coord       positions of the nodes, [z, y, x, x y z] or [node, x y z]; structured, with cells unstructured
    cells       dict of node numbers by the cells' kind: {"Tri": [[0, 1, 2], ...]}
    spacing, origin   of a uniform field, x first; index space without them
    axes        positions along x, y, z of a rectilinear field
    labels, units     one per component
    null        the value that stands for none; masked arrays have their own
    xform       4 x 4 matrix for row vectors
    """
    arrays = [as_values(np.ma.filled(one), "the field") for one in components]
    core = _core.Field()
    if coord is not None:
        coord = _floats(coord)
        shape = coord.shape[:-1]
        core.nspace, core.coord, core.grid = coord.shape[-1], coord.reshape(-1), 3 if cells is None else 4
        core.nodes = coord.size // coord.shape[-1]
        if any(place is not None for place in (spacing, origin, axes)):
            raise TypeError("a field has coord, or spacing and origin, or axes")
    elif arrays:
        shape = arrays[0].shape[:-1] if vector else arrays[0].shape
        _place(core, shape, spacing, origin, axes)
    else:
        raise TypeError("a field has components, or coord")
    if cells is None:
        core.dims = shape[::-1]
    else:
        core.cells = _cells(cells)
    data = []
    texts = zip(_texts(labels, len(arrays), "labels"), _texts(units, len(arrays), "units"))
    for given, array, (label, unit) in zip(components, arrays, texts):
        parts = array.shape[len(shape):]
        if array.shape[: len(shape)] != shape or len(parts) > 1:
            raise ValueError(f"a component of shape {array.shape} does not fit nodes of shape {shape}")
        one = _core.Component()
        one.values, one.veclen, one.label, one.units = array.reshape(-1), parts[0] if parts else 1, label, unit
        one.null_value = getattr(given, "fill_value", null)  # of masked arrays
        data.append(one)
    core.data = data
    if xform is not None:
        core.xform = np.asarray(xform, np.float32).reshape(16).tolist()
    return Field(core)


# --- Transforms ---


class Transform:
    """A transform: scaled, rotated about x, y and z, translated, in this order."""

    def __init__(self, rotate=None, scale=None, translate=None):
        self._steps = {"rotate": rotate, "scale": scale, "translate": translate}

    def rotate(self, x: float = 0, y: float = 0, z: float = 0) -> "Transform":
        """The same, rotated; degrees, right-handed: 90 about z takes x to y."""
        return Transform(**{**self._steps, "rotate": [x, y, z]})

    def scale(self, factor: float) -> "Transform":
        """The same, scaled."""
        return Transform(**{**self._steps, "scale": factor})

    def translate(self, x: float = 0, y: float = 0, z: float = 0) -> "Transform":
        """The same, moved."""
        return Transform(**{**self._steps, "translate": [x, y, z]})

    def value(self):
        return {name: value for name, value in self._steps.items() if value is not None}

    def __repr__(self):
        return f"<zam.Transform {self.value()}>"


def rotate(x: float = 0, y: float = 0, z: float = 0) -> Transform:
    """A rotation about x, y and z, degrees, right-handed: `zam.rotate(-60, 0, 30).scale(0.8)`."""
    return Transform().rotate(x, y, z)


def scale(factor: float) -> Transform:
    """A scaling."""
    return Transform().scale(factor)


def translate(x: float = 0, y: float = 0, z: float = 0) -> Transform:
    """A shift."""
    return Transform().translate(x, y, z)
