"""What a request raises when it does not end as asked: an exception for each outcome.

All of them are `HostlinkError`, and say the same as the library does: what happened in words, whether the host may have
acted on it, how often its link refused it, what it says it holds.
"""

from __future__ import annotations

from collections.abc import Iterable

from .values import Value

__all__ = [
    "Aborted",
    "BadArgument",
    "BadBytes",
    "Cancelled",
    "HoldsAnother",
    "HostlinkError",
    "LinkDown",
    "NotSent",
    "TimedOutBeforeSending",
    "Unanswered",
    "Unsupported",
    "WithoutState",
]


class HostlinkError(Exception):
    """A request that did not end as asked; `str()` says what happened and what to do.

    `may_have_been_executed`: whether the host may have acted on it; False: it has not.
    `refusals`: how often the host's link refused a packet of it.
    `held`: what the host's answer said it holds, by the number of the state.
    """

    def __init__(
        self,
        text: str,
        may_have_been_executed: bool = False,
        refusals: int = 0,
        held: dict[int, Value] | None = None,
    ) -> None:
        super().__init__(text)
        self.may_have_been_executed = may_have_been_executed
        self.refusals = refusals
        self.held: dict[int, Value] = held or {}

    @property
    def outcome(self) -> str:
        """The outcome's name, which is the class's."""
        return type(self).__name__


class NotSent(HostlinkError):
    """The host's link refused the message each time; the host has not acted on it."""


class Unanswered(HostlinkError, TimeoutError):
    """Sent, and no answer came: the host may have acted on it."""


class Unsupported(HostlinkError):
    """The host says that it does not support the request, or could not read it."""


class WithoutState(HostlinkError):
    """The host answered without the state that was asked for; `held` has what it said."""


class HoldsAnother(HostlinkError):
    """The host answered that it holds another value than the one set; `held` has it."""


class LinkDown(HostlinkError, ConnectionError):
    """There is no link to the host; nothing was sent."""


class Cancelled(HostlinkError):
    """The request was cancelled, or the client was closed."""


class TimedOutBeforeSending(HostlinkError, TimeoutError):
    """The time passed while the request waited for its turn; nothing was sent."""


class BadArgument(HostlinkError, ValueError):
    """The request cannot be asked like that; nothing was sent."""


class Aborted(HostlinkError):
    """The host has ended the transfer, or has lost it."""


class BadBytes(ValueError):
    """Bytes that are no packet or message, or a message that cannot be made; `code` is the function core's."""

    MEANINGS = {
        10: "too short",
        11: "no start mark",
        13: "no header",
        16: "no room",
        17: "more than 255 items",
        18: "a message id out of range",
        19: "a message id of the other kind of body",
        20: "no known encoding",
        21: "cut short",
        22: "a header cut short",
    }

    def __init__(self, code: int, what: str) -> None:
        super().__init__(f"{what}: {self.MEANINGS.get(code, f'result {code}')}")
        self.code = code


OUTCOMES: dict[str, type[HostlinkError]] = {
    each.__name__: each
    for each in (
        NotSent,
        Unanswered,
        Unsupported,
        WithoutState,
        HoldsAnother,
        LinkDown,
        Cancelled,
        TimedOutBeforeSending,
        BadArgument,
        Aborted,
    )
}


def failure(
    outcome: str,
    text: str,
    may_have_been_executed: bool,
    refusals: int,
    held: Iterable[tuple[int, tuple[int, int | bytes | None]]],
) -> HostlinkError:
    """The exception for what the library tells of a failure; called by the compiled part."""
    values = {state: Value.of_pair(pair) for state, pair in held}
    return OUTCOMES[outcome](text, may_have_been_executed, refusals, values)
