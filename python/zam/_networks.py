"""Networks: made, run, read."""
import json
import os
import sys
import warnings
from typing import Any

import numpy as np

from . import _core
from ._definitions import definitions, generic, nearest_to, to_core
from ._fields import from_core

Error = _core.Error
Cancelled = _core.Cancelled


class ValueRefused(Error, ValueError):
    """A value does not fit its parameter."""


class ModuleError(Error):
    """A module has failed. `reports` has all that was said: severity ("error", "warning", "note"), module, text."""

    def __init__(self, reports):
        order = sorted(reports, key=lambda report: report[0] != "error")
        super().__init__("\n".join(_line(*report) for report in order))
        self.reports = reports


class ModuleWarning(UserWarning):
    """A warning of a module, or a note on what is worth knowing."""


def _line(severity, module, text):
    return f"{module}: {text}" if module else text


def _level():
    """The stack level of whoever called the package, for warnings."""
    frame, level = sys._getframe(1), 1
    while frame and frame.f_globals.get("__name__", "").split(".")[0] == __package__:
        frame, level = frame.f_back, level + 1
    return level


def hear(reports):
    """Raises what was reported, or warns of it."""
    if any(severity == "error" for severity, _, _ in reports):
        raise ModuleError(reports)
    for report in reports:
        warnings.warn(_line(*report), ModuleWarning, stacklevel=_level())


class _Bar:
    """A progress bar of tqdm's over the call of each module."""

    def __init__(self, tqdm):
        self._tqdm, self._bar, self._module = tqdm, None, None

    def __call__(self, module, percent, text):
        if module != self._module or percent < self._bar.n:
            self.close()
            self._module, self._bar = module, self._tqdm(total=100, desc=module, unit="%", leave=False)
        self._bar.update(percent - self._bar.n)

    def close(self):
        if self._bar is not None:
            self._bar.close()


def with_progress(run, progress):
    """Calls run(callback). True is a bar where tqdm is installed; else a callable progress(module, percent, text)."""
    if progress is True:
        try:
            from tqdm.auto import tqdm
        except ImportError:
            return hear(run(None))
        bar = _Bar(tqdm)
        try:
            return hear(run(bar))
        finally:
            bar.close()
    if progress is not None and progress is not False and not callable(progress):
        raise TypeError("progress: True or a function of module, percent and text is expected")
    return hear(run(progress or None))


def give(network, name, definition, parameters):
    """Gives a module of a network its parameters."""
    for given, value in parameters.items():
        parameter = definition.by_name.get(given)
        if parameter is None:
            raise TypeError(f"{definition.name} has no parameter {given!r}{nearest_to(given, definition.by_name)}")
        assign(network, f"{name}.{parameter.name}", to_core(f"{name}.{parameter.name}", parameter, value))


def assign(network, target, value):
    try:
        network.set(target, value)
    except Error as error:
        raise ValueRefused(str(error)) from None


def write_one(network, file, reference, options):
    """Writes an object; the ending of the file's name says how."""
    output = {"from": reference, **options} if options else reference
    hear(network.write_one(os.path.abspath(os.fspath(file)), json.dumps(output)))


class Module:
    """A module in a network: its parameters are attributes; words of Python have _ after them (`in_`)."""

    __slots__ = ("_network", "_name", "_definition")

    def __init__(self, network, name, definition):
        for slot, value in zip(self.__slots__, (network, name, definition)):
            object.__setattr__(self, slot, value)

    def _parameter(self, name):
        if name.startswith("_"):  # what Python itself asks for, also of one that is only being made
            raise AttributeError(name)
        found = self._definition.by_name.get(name)
        if found is None:
            known = self._definition.by_name
            raise AttributeError(f"{self._definition.name} has no parameter {name!r}{nearest_to(name, known)}")
        return found

    def __getattr__(self, name):
        parameter = self._parameter(name)
        return self._network.get(f"{self._name}.{parameter.name}")

    def __setattr__(self, name, value):
        parameter = self._parameter(name)
        target = f"{self._name}.{parameter.name}"
        assign(self._network._core, target, to_core(target, parameter, value))

    def __dir__(self):
        return [p.python_name for p in self._definition.parameters]

    def __repr__(self):
        return f"<{self._name}: {self._definition.name}, {self._definition.summary}>"


class Network:
    """Modules with their parameters and connections.

    file       a network file; without it, and without text, the network is empty
    text       the text of one, whose relative file names start in `directory`
    changes    values for its parameters: {"render.width": 512}
    """

    def __init__(self, file=None, *, text=None, directory="", changes=None):
        changes = [f"{target}={json.dumps(value)}" for target, value in (changes or {}).items()]
        if file is not None and text is not None:
            raise TypeError("a file or a text is expected, not both")
        if file is not None:
            self._core = _core.Network.load(os.fspath(file), changes)
        else:
            text = '{"modules": {}}' if text is None else text
            self._core = _core.Network.parse(text, os.fspath(directory), changes)

    # --- modules ---

    def _modules(self):
        return dict(self._core.modules())

    def __getitem__(self, name: str) -> Module:
        modules = self._modules()
        if name not in modules:
            raise KeyError(f"there is no module {name!r}{nearest_to(str(name), modules)}")
        return Module(self, name, definitions()[modules[name]])

    def __iter__(self):
        return iter(self._modules())

    def __len__(self):
        return len(self._modules())

    def __contains__(self, name):
        return name in self._modules()

    def __repr__(self):
        return f"<zam.Network {', '.join(f'{name}: {module}' for name, module in self._modules().items())}>"

    def add(self, name: str, module: str, **parameters: Any) -> Module:
        """Adds a module by its name or entry, and gives it parameters."""
        self._core.add(name, module)
        added = self[name]
        give(self._core, name, added._definition, parameters)
        return added

    def connect(self, target: str, source: str, **convert: Any) -> None:
        """Lets a parameter refer to another object, "MODULE.PARAM" both. Fields may be converted: type="byte"."""
        try:
            self._core.connect(target, source, json.dumps(convert) if convert else "")
        except Error as error:
            raise ValueRefused(str(error)) from None

    # --- values ---

    def set(self, target: str, value: Any) -> None:
        """Gives a parameter, "MODULE.PARAM", or a member of its value, "MODULE.PARAM.MEMBER", a value."""
        name, _, parameter = target.partition(".")
        if "." not in parameter and name in self:
            setattr(self[name], parameter, value)
        else:
            assign(self._core, target, generic(target, value))

    def get(self, reference: str) -> Any:
        """What an object holds, "MODULE.PARAM" with dots to sub-objects and [i] to elements of arrays."""
        return from_core(self._core.get(reference))

    # --- runs ---

    def run(self, progress=None) -> None:
        """Runs the modules that have not run, or that changes since then affect."""
        with_progress(self._core.run, progress)

    def play(self, directory: str | os.PathLike = "", progress=None) -> None:
        """Plays the events of the network's file, after a run. Relative names of outputs start in `directory`."""
        with_progress(lambda callback: self._core.play(os.fspath(directory), callback), progress)

    def write(self, directory: str | os.PathLike = "") -> None:
        """Writes the outputs of the network's file."""
        hear(self._core.write(os.fspath(directory)))

    def save(self, file: str | os.PathLike, reference: str, **options: Any) -> None:
        """Writes one object; the ending of the file's name says how. Options are those of outputs: legend=True."""
        write_one(self._core, file, reference, options)

    def image(self, reference, *, legend=False, axes=False, alpha=False, background=None) -> np.ndarray:
        """A picture, height x width x 3 bytes, as the file of it would be; with `alpha` 4."""
        return self._core.image(reference, _core.ImageOptions(legend, axes, alpha, background))

    def png(self, reference, *, legend=False, axes=False, alpha=False, background=None) -> bytes:
        """The bytes of a .png file of a picture."""
        return self._core.png(reference, _core.ImageOptions(legend, axes, alpha, background))
