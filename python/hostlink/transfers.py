"""Files to the host and from it, and TCP connections through it."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from dataclasses import dataclass
from types import TracebackType

from . import _core

__all__ = ["FileSent", "Progress", "ReceivedFile", "Receiving", "Sending", "Tunnel"]

_SLICE = 100  # ms in which Ctrl-C is noticed, and progress told


@dataclass(frozen=True)
class Progress:
    """How far a transfer has come. Times in seconds."""

    done: int  #: bytes that the host has acknowledged
    total: int | None
    bytes_per_second: float  #: over the last five seconds
    left: float | None  #: at that speed


@dataclass(frozen=True)
class FileSent:
    """A file that has arrived."""

    size: int  #: bytes
    checksum: int  #: of all of it, which the host says it has too
    chunks: int
    repeated: int  #: chunks that were sent again
    restarts: int  #: how often it was begun anew
    took: float  #: seconds


@dataclass(frozen=True)
class ReceivedFile:
    """A file that the host has sent."""

    name: str  #: as the host says: anything, also with slashes in it
    end: str  #: "Complete", "Damaged", "Aborted", "Cancelled", "Silent" or "Unwritable"
    size: int  #: bytes that have come
    checksum: int
    data: bytes

    @property
    def complete(self) -> bool:
        """All chunks have come, and their checksums agree."""
        return self.end == "Complete"


class Sending:
    """A file on its way to the host."""

    def __init__(self, client: object, core: _core.Sending) -> None:
        self._client = client  # lives as long as this
        self._core = core

    def progress(self) -> Progress:
        """How far it has come."""
        done, total, speed, left = self._core.progress()
        return Progress(done, total, speed, None if left is None else left / 1000)

    def wait(self, progress: Callable[[Progress], object] | None = None) -> FileSent:
        """Waits for the end; what is raised meanwhile, by `progress` or Ctrl-C, ends the transfer."""
        try:
            while not self._core.wait_for(_SLICE):
                if progress is not None:
                    progress(self.progress())
        except BaseException:
            self._core.cancel()
            raise
        done, checksum, chunks, repeated, restarts, took = self._core.result()
        if progress is not None:
            progress(self.progress())
        return FileSent(done, checksum, chunks, repeated, restarts, took / 1000)

    def wait_for(self, timeout: float) -> bool:
        """Waits, but not longer; whether it has ended."""
        return self._core.wait_for(round(timeout * 1000))

    def cancel(self) -> None:
        """Ends it and tells the host."""
        self._core.cancel()


class Receiving:
    """Files that the host sends, to loop over; ends with `end()`, a `with` block, or its client."""

    def __init__(self, client: object, core: _core.Receiving) -> None:
        self._client = client
        self._core = core
        self._ended = False

    def next(self, timeout: float | None = None) -> ReceivedFile | None:
        """The next file that has ended, in whatever way; None when there was none within `timeout` seconds."""
        left = None if timeout is None else round(timeout * 1000)
        while not self._ended and (left is None or left >= 0):
            told = self._core.next(_SLICE if left is None else min(left, _SLICE))
            if told is not None:
                return ReceivedFile(*told)
            left = None if left is None else left - _SLICE
        return None

    def __iter__(self) -> Iterator[ReceivedFile]:
        while (file := self.next()) is not None:
            yield file

    def cancel(self) -> None:
        """Ends the file under way, if any."""
        self._core.cancel()

    def close(self) -> None:
        """The client is closed: there are no more."""
        self._ended = True

    def end(self) -> None:
        """Takes no more files."""
        self._ended = True
        self._core.end()

    def __enter__(self) -> Receiving:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.end()


class Tunnel:
    """A listening TCP socket whose connections are carried over the wire."""

    def __init__(self, client: object, core: _core.Tunnel) -> None:
        self._client = client
        self._core = core

    @property
    def port(self) -> int:
        """The port on which it listens; 0 for none."""
        return self._core.port()

    def statistics(self) -> dict[str, int]:
        """What it has carried."""
        return self._core.statistics()

    def end(self) -> None:
        """Ends it; its connections break."""
        self._core.end()

    def __enter__(self) -> Tunnel:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.end()
