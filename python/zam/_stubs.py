"""python3 -m zam._stubs FILE: writes the type stubs of the package, the modules' functions as their definitions say."""
import inspect
import sys

import zam

from ._definitions import Default, definitions
from ._functions import doc_of, functions, signature_of

GIVEN = {
    "int": "int", "trigger": "int", "real": "float", "text": "str | PathLike[str]", "texts": "Sequence[str]",
    "array": "ArrayLike", "field": "FieldLike", "fields": "FieldLike | Sequence[FieldLike]",
    "transform": "Transform | ArrayLike | dict[str, Any]", "color_table": "str | ArrayLike | dict[str, Any]",
}
HELD = {
    "int": "int", "trigger": "int", "real": "float", "text": "str", "texts": "list[str]", "array": "NDArray[Any]",
    "field": "Field", "fields": "list[Field]",
}
HEAD = '''# Made from the modules' definitions.
from collections.abc import Callable, Sequence
from os import PathLike
from typing import Any, NamedTuple

from numpy.typing import ArrayLike, NDArray

'''


def given(definition, parameter):
    if parameter.name == "progress":
        return "bool | Callable[[str, int, str], Any] | None"
    kind = GIVEN.get(definition.by_name[parameter.name].kind, "Any")
    return kind if kind == "Any" or parameter.default is not None else f"{kind} | None"


def function(definition):
    outputs = [(p.python_name, HELD.get(p.kind, "Any")) for p in definition.outputs]
    name, lines = definition.name, []
    result = outputs[0][1] if outputs else "None"
    if len(outputs) > 1:
        result = f"_{name}"
        lines += [f"class {result}(NamedTuple):", *(f"    {output}: {kind}" for output, kind in outputs), ""]
    lines.append(f"def {name}(")
    by_name = False
    for parameter in signature_of(definition).parameters.values():
        if parameter.kind is inspect.Parameter.KEYWORD_ONLY and not by_name:
            lines, by_name = [*lines, "    *,"], True
        default = "..." if isinstance(parameter.default, Default) else repr(parameter.default)
        lines.append(f"    {parameter.name}: {given(definition, parameter)} = {default},")
    doc = doc_of(definition).replace("\\", "\\\\").replace("\n", "\n    ")
    return "\n".join([*lines, f') -> {result}:\n    """{doc}\n    """\n'])


def imported():
    """What the package has from its own sources."""
    for name in sorted({*zam.__all__} - {"modules"}):
        source = getattr(zam, name).__module__.replace("zam.", ".")
        yield f"from {source} import {name} as {name}\n"


with open(sys.argv[1], "w", encoding="utf-8") as out:
    out.write(HEAD + "".join(imported()) + "\nFieldLike = Field | ArrayLike | Converted\n\n")
    out.write("def modules() -> dict[str, str]: ...\n\n")
    out.write("\n".join(function(definitions()[name]) for name in functions()))
