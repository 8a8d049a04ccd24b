"""What is open in this process: closed when nobody holds it any more, and before the interpreter ends.

The compiled part's threads never enter the interpreter, but threads of the interpreter wait in it. At exit everything is
closed, which ends their waits, and from then on they stand still outside, as daemon threads do: one that came back would be
torn out of its calls.
"""

from __future__ import annotations

import atexit
import itertools
import os
import weakref
from collections.abc import Callable, Iterator
from typing import Any, Protocol

from . import _core


class Open(Protocol):
    """Something with threads behind it."""

    def _leave(self) -> None:
        """It belongs to the process that this one was forked from: forget it, without touching what is behind it."""


_open: dict[int, Any] = {}  # finalizers, which bear no type parameters in all versions of the type checker
_keys = itertools.count()


def remember(what: Open, shut: Callable[..., None], *arguments: object) -> Callable[[], object]:
    """Has `shut(*arguments)` called once: by what this returns, when nobody holds `what` any more, or at exit. The
    arguments must not hold it."""
    key = next(_keys)

    def once() -> None:
        _open.pop(key, None)
        shut(*arguments)

    finalizer = weakref.finalize(what, once)
    finalizer.atexit = False  # all of them in one go, below
    _open[key] = finalizer
    return finalizer


def _all() -> Iterator[Any]:
    """One after another is taken out."""
    while True:
        try:
            _, finalizer = _open.popitem()
        except KeyError:  # none is left; asked before, another thread might have taken the last one since
            return
        yield finalizer


@atexit.register
def _at_exit() -> None:
    _core.begin_exit()
    for finalizer in _all():
        told = finalizer.detach()  # by now it would not call any more
        if told is not None:
            told[1]()
    _core.await_others()


def _in_child() -> None:
    _core.after_fork()
    for finalizer in _all():
        found = finalizer.detach()
        if found is not None:
            found[0]._leave()


os.register_at_fork(after_in_child=_in_child)
