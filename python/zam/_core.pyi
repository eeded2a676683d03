# What the package's own sources see of the extension.
from typing import Any

class Error(RuntimeError):
    """What a call asks for cannot be done."""

class Cancelled(Error):
    """A run has ended before its time, because somebody wanted it to."""

def __getattr__(name: str) -> Any: ...
