"""What is open in this process: closed when nobody holds it any more, and before the interpreter ends.

The compiled part's threads never enter the interpreter, but threads of the interpreter wait in it. At exit everything is
closed, which ends their waits, and then they are waited for; a thread that came back later would be torn from under it.
"""

from __future__ import annotations

import atexit
import itertools
import os
import weakref
from collections.abc import Callable
from typing import Any, Protocol

from . import _core


class Open(Protocol):
    """Something with threads behind it."""

    def _leave(self) -> None:
        """It belongs to the process that this one was forked from: forget it, without touching what is behind it."""


_finalizers: dict[int, weakref.finalize[Any, Any]] = {}
_keys = itertools.count()


def remember(what: Open, shut: Callable[..., None], *arguments: object) -> Callable[[], object]:
    """Has `shut(*arguments)` called once: by what this returns, when nobody holds `what` any more, or at exit. The
    arguments must not hold it."""
    key = next(_keys)

    def once() -> None:
        _finalizers.pop(key, None)
        shut(*arguments)

    finalizer = weakref.finalize(what, once)
    finalizer.atexit = False  # all of them in one go, below
    _finalizers[key] = finalizer
    return finalizer


@atexit.register
def _at_exit() -> None:
    _core.begin_exit()
    while _finalizers:
        _finalizers.popitem()[1]()
    _core.await_others()


def _in_child() -> None:
    while _finalizers:
        found = _finalizers.popitem()[1].detach()
        if found is not None:
            found[0]._leave()


os.register_at_fork(after_in_child=_in_child)
