"""The library's codes as Python's exceptions."""

from __future__ import annotations

from . import _native

_ARGUMENT_CODES = (1, 2, 3, 4)  # bad argument, bad picture, unlike sizes, no frames
_BAD_PICTURE = 2
_MEMORY_CODES = (5, 6)  # refused by the system, or by memory_limit


class Error(RuntimeError):
    """The library could not do its work for a reason that lies in no argument's type or shape.

    Attributes
    ----------
    code : int
        The library's code, a ``ZOLT_BURST_...`` of its C header.
    """

    def __init__(self, code: int, text: str) -> None:
        super().__init__(code, text)
        self.code = code

    def __str__(self) -> str:
        return f"{self.args[1]} (code {self.code})"


def check(code: int, about: str = "") -> None:
    """Raise what `code` stands for; 0 is fine."""
    if code == 0:
        return
    text = _native.error_text(code) + (f": {about}" if about else "")
    if code == _BAD_PICTURE:
        # Types and shapes were checked before: what is left are views as np.broadcast_to makes them.
        text += "; a view whose samples share memory needs a copy: np.ascontiguousarray(a)"
    if code in _ARGUMENT_CODES:
        raise ValueError(text)
    if code in _MEMORY_CODES:
        raise MemoryError(text)
    raise Error(code, text)
