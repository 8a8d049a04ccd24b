"""Talks to the host micro-controller of an audio module over UART, I2C or SPI, and plays it where there is none.

    import hostlink

    with hostlink.Client("/dev/ttyS1") as host:
        host.set("PlayerVolume", 40, confirm=True)
        for change in host.changes(["PlayerVolume"]):
            print(change)

`Client` asks and is told, `AsyncClient` does in an `asyncio` loop. `encode`, `decode` and their neighbours know the bytes.
`Host` is a simulated host for tests without a device; `hostlink.testing` has it as a fixture of pytest. `State` and the
other enumerations are the protocol's names and numbers.
"""

from .aio import AsyncClient
from .changes import Change, Changes
from .client import Client, InputEvent, LinkState, Listening, Subscription
from .codec import (
    Item,
    Message,
    Packet,
    checksum,
    decode,
    decode_packet,
    encode,
    explain,
    irq_packet,
    packets,
    reset_packet,
    response_packet,
)
from .errors import (
    Aborted,
    BadArgument,
    BadBytes,
    Cancelled,
    HoldsAnother,
    HostlinkError,
    LinkDown,
    NotSent,
    TimedOutBeforeSending,
    Unanswered,
    Unsupported,
    WithoutState,
)
from .host import Faults, Host, Record
from .protocol import (
    AcknowledgeType,
    ButtonState,
    DataTransferState,
    Encoding,
    LedApiCmd,
    LinkFrameType,
    MessageId,
    PlayerControl,
    PlayerPlayStatus,
    PowerState,
    State,
    TcpTunnelingState,
)
from .transfers import FileSent, Progress, ReceivedFile, Receiving, Sending, Tunnel
from .values import StateLike, Value, ValueLike
from .wire import I2c, LineWatch, Spi, Uart, Wire, WireLike

__all__ = [
    "Aborted",
    "AcknowledgeType",
    "AsyncClient",
    "BadArgument",
    "BadBytes",
    "ButtonState",
    "Cancelled",
    "Change",
    "Changes",
    "Client",
    "DataTransferState",
    "Encoding",
    "Faults",
    "FileSent",
    "HoldsAnother",
    "Host",
    "HostlinkError",
    "I2c",
    "InputEvent",
    "Item",
    "LedApiCmd",
    "LineWatch",
    "LinkDown",
    "LinkFrameType",
    "LinkState",
    "Listening",
    "Message",
    "MessageId",
    "NotSent",
    "Packet",
    "PlayerControl",
    "PlayerPlayStatus",
    "PowerState",
    "Progress",
    "ReceivedFile",
    "Receiving",
    "Record",
    "Sending",
    "Spi",
    "State",
    "StateLike",
    "Subscription",
    "TcpTunnelingState",
    "TimedOutBeforeSending",
    "Tunnel",
    "Uart",
    "Unanswered",
    "Unsupported",
    "Value",
    "ValueLike",
    "Wire",
    "WireLike",
    "WithoutState",
    "checksum",
    "decode",
    "decode_packet",
    "encode",
    "explain",
    "irq_packet",
    "packets",
    "reset_packet",
    "response_packet",
]
