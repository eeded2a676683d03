"""Each module as a function, made from its definition."""
import collections
import functools
import inspect

from . import _core
from ._definitions import definitions
from ._fields import from_core
from ._networks import give, with_progress


def signature_of(definition):
    """Fields and files by place, the rest by name."""
    first = [p for p in definition.inputs if p.kind in ("field", "fields") or p.is_file_name]
    by_place = [
        inspect.Parameter(p.python_name, inspect.Parameter.POSITIONAL_OR_KEYWORD, default=p.default) for p in first
    ]
    by_name = [
        inspect.Parameter(p.python_name, inspect.Parameter.KEYWORD_ONLY, default=p.default)
        for p in definition.inputs
        if p not in first
    ]
    progress = inspect.Parameter("progress", inspect.Parameter.KEYWORD_ONLY, default=None)
    return inspect.Signature([*by_place, *by_name, progress])


def _sentence(text):
    return text[:1].upper() + text[1:] + "."


def _lines(parameters):
    width = max(len(p.python_name) for p in parameters)
    return [f"    {p.python_name:{width}}  {p.kind_text}: {p.meaning}" for p in parameters]


def doc_of(definition):
    """The docstring, from the definition."""
    lines = [_sentence(definition.summary), "", "Parameters:"]
    lines += _lines(definition.inputs) if definition.inputs else ["    none"]
    lines += ["    progress: True for a bar, or a function of module, percent and text; False from it cancels", ""]
    lines += ["Gives:" if len(definition.outputs) < 2 else "Gives a named tuple:", *_lines(definition.outputs)]
    return "\n".join(lines)


def _function(definition):
    signature = signature_of(definition)
    by_place = [name for name, p in signature.parameters.items() if p.kind is p.POSITIONAL_OR_KEYWORD]
    name, outputs = definition.name, definition.outputs
    result = collections.namedtuple(name, [p.python_name for p in outputs]) if len(outputs) > 1 else None

    def function(*places, progress=None, **parameters):
        if len(places) > len(by_place):
            raise TypeError(f"{name}() takes {len(by_place)} parameters by place, not {len(places)}")
        for parameter, value in zip(by_place, places):
            if parameter in parameters:
                raise TypeError(f"{name}() got two values for {parameter!r}")
            parameters[parameter] = value
        network = _core.Network()
        network.add(name, name)
        give(network, name, definition, parameters)
        with_progress(network.run, progress)
        values = [from_core(network.get(f"{name}.{p.name}")) for p in outputs]
        return result(*values) if result else values[0] if values else None

    function.__name__ = function.__qualname__ = name
    function.__module__ = __package__
    function.__signature__ = signature
    function.__doc__ = doc_of(definition)
    return function


@functools.cache
def functions():
    """The functions of all modules that are no classes, by name."""
    return {name: _function(one) for name, one in definitions().items() if not one.is_class}
