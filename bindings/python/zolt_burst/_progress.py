"""progress=True: a bar by tqdm where it is installed."""

from __future__ import annotations

import importlib
from collections.abc import Callable
from typing import Any, Union

ProgressLike = Union[bool, Callable[[float], object], None]


class Bar:
    """Called with the share that is done; shown from the first call to `close`."""

    def __init__(self, make: Callable[..., Any]) -> None:
        self._make = make
        self._bar: Any = None

    def __call__(self, done: float) -> None:
        if self._bar is None:
            self._bar = self._make(total=100, unit="%", bar_format="{desc}{percentage:3.0f}%|{bar}| {elapsed}")
        self._bar.update(100 * done - self._bar.n)

    def close(self) -> None:
        if self._bar is not None:
            self._bar.close()
            self._bar = None


def function_of(progress: ProgressLike) -> Callable[[float], object] | None:
    """What the library's steps call, or None."""
    if callable(progress):
        return progress
    if progress not in (None, False, True):
        raise ValueError("progress is True, False, None or a function of the share that is done, 0 to 1")
    if not progress:
        return None
    try:
        return Bar(importlib.import_module("tqdm.auto").tqdm)
    except ImportError:
        return None


def close(function: Callable[[float], object] | None) -> None:
    if isinstance(function, Bar):
        function.close()
