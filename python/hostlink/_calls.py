"""Functions of the program that are called with what the library tells, on a thread of the interpreter's own."""

from __future__ import annotations

import itertools
import logging
import threading
import weakref
from collections.abc import Callable
from typing import Any

from . import _core
from .errors import Cancelled, HostlinkError, failure

_log = logging.getLogger("hostlink")
_log.addHandler(logging.NullHandler())  # a program that has not set up logging is not told
_LEVELS = (logging.DEBUG, logging.INFO, logging.WARNING, logging.ERROR)
_LOG_LINES = 0  # the id under which they are told


class Told:
    """A function that is called again and again, until `end()`."""

    def __init__(self, call: Callable[[Any], object]) -> None:
        self._call = call
        self._running = threading.RLock()
        self._ended = False
        self.handle: _core.Subscription | _core.Listening | None = None  # ends the telling when it goes

    def tell(self, what: Any) -> None:
        """Calls it; what it raises goes to `sys.unraisablehook`."""
        with self._running:
            if self._ended:
                return
            try:
                self._call(what)
            except BaseException as error:  # whatever it is, the thread goes on
                _core.unraisable(error, self._call)

    def end(self) -> None:
        """It is not called any more. Waits until it does not run, unless it is what calls this."""
        self._ended = True
        with self._running:
            pass

    def drop(self) -> None:
        """The client is closed; waits for nothing."""
        self._ended = True


class Awaited:
    """A request whose end is told once: with an error, or None and what it gave."""

    def __init__(self, done: Callable[[HostlinkError | None, Any], object]) -> None:
        self._done: Callable[[HostlinkError | None, Any], object] | None = done

    def tell(self, what: Any) -> None:
        """The request has ended."""
        done, self._done = self._done, None
        if done is not None:
            wrong, given = what
            done(None if wrong is None else failure(*wrong), given)

    def drop(self) -> None:
        """The client is closed."""
        done, self._done = self._done, None
        if done is not None:
            done(Cancelled("the client was closed"), None)


class Calls:
    """The functions of one client, by the ids under which the library tells. Its dictionary is changed by single
    operations, so that it needs no lock, also where a collection of garbage comes between."""

    def __init__(self) -> None:
        self._ids = itertools.count(_LOG_LINES + 1)
        self._by_id: dict[int, Told | Awaited] = {}

    def add(self, call: Told | Awaited) -> int:
        """The id under which it is told."""
        key = next(self._ids)
        self._by_id[key] = call
        return key

    def remove(self, key: int) -> None:
        """Forgets one."""
        self._by_id.pop(key, None)

    def drop(self) -> None:
        """Forgets all; those that are awaited end."""
        while True:
            try:
                _, call = self._by_id.popitem()
            except KeyError:  # none is left; asked before, another thread might have taken the last one since
                return
            call.drop()

    def tell(self, key: int, what: Any) -> None:
        """Calls what has this id."""
        if key == _LOG_LINES:
            _log.log(_LEVELS[what[0]], "%s", what[1])
            return
        call = self._by_id.get(key)
        if isinstance(call, Awaited):
            self.remove(key)
        if call is not None:
            call.tell(what)


def _serve(inbox: _core.Inbox, of: weakref.ref[Calls]) -> None:
    while True:
        told = inbox.take()
        if told is None:
            return
        for key, what in told:
            calls = of()
            if calls is not None:
                calls.tell(key, what)
            del calls  # nothing of the program's is held while this waits


def start(inbox: _core.Inbox, calls: Calls) -> threading.Thread:
    """Starts the thread that calls them, until the inbox is stopped. It keeps nothing of the program alive."""
    thread = threading.Thread(target=_serve, args=(inbox, weakref.ref(calls)), name="hostlink callbacks", daemon=True)
    thread.start()
    return thread
