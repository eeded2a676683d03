"""Arrays as the session takes them."""
import numpy as np

# numbers that no element type has become the next one that holds them, as those of data files do
_NEXT = {"i1": "i2", "u2": "i4", "u4": "i8", "u8": "f8", "f2": "f4"}
_NAMES = {"char": "S1", "byte": "u1", "short": "i2", "int": "i4", "float": "f4", "double": "f8", "long": "i8"}


def as_values(values, what="the values"):
    """An array that can be lent: the same memory where it is contiguous and of an element type, else a copy."""
    array = np.asarray(values)
    code = array.dtype.str[1:]
    if array.dtype.kind not in "biufS" or code in ("f16",) or (array.dtype.kind == "S" and code != "S1"):
        raise TypeError(f"{what}: numbers are expected, not {array.dtype}")
    if array.dtype.kind != "b":
        array = array.astype(_NEXT.get(code, code), copy=False)  # in the machine's byte order
    array = np.require(array, requirements=["C", "A"])
    return array if type(array) is np.ndarray else array.view(np.ndarray)


def dtype_of(type_name):
    """The dtype of an element type by its name: "float"."""
    return np.dtype(_NAMES[type_name])
