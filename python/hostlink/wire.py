"""Which wire leads to the host."""

from __future__ import annotations

import math
import os
from dataclasses import dataclass, field
from typing import Union

__all__ = ["I2c", "LineWatch", "Spi", "Uart", "Wire", "WireLike"]


def milliseconds(seconds: float) -> int:
    """Seconds as the library counts them; a part of one counts as a whole."""
    return math.ceil(seconds * 1000)


def _microseconds(seconds: float) -> int:
    return math.ceil(seconds * 1000000)


@dataclass(frozen=True)
class Uart:
    """A serial port: "/dev/ttyS1". Times in seconds."""

    device: str
    baud: int = 115200
    response_timeout: float = 0.5  #: longer than the host ever takes to accept a packet
    parity: str = "none"  #: or "even", "odd"
    options: int = 0  #: bit field of the serial library
    max_packet_size: int = 64  #: bytes

    def settings(self) -> tuple[str, dict[str, object]]:
        """As the compiled part takes them."""
        return "uart", {**vars(self), "response_timeout": milliseconds(self.response_timeout)}


@dataclass(frozen=True)
class LineWatch:
    """How the line is watched on which a host on a bus asks to be read; as it is, through sysfs."""

    chip: str = ""  #: "/dev/gpiochip0" or a chip's label: through its character device
    line: str = ""  #: the line's name on the chip, in place of its number
    bias: str = ""  #: "pull-up", "pull-down", "disabled"; empty: as it is
    debounce: float = 0  #: seconds that a level must last
    second_look: float = 0  #: seconds, up to 0.1, for a host that needs longer than 4.5 ms

    def settings(self) -> dict[str, object]:
        """As the compiled part takes them."""
        return {
            **vars(self),
            "debounce": _microseconds(self.debounce),
            "second_look": milliseconds(self.second_look),
        }


@dataclass(frozen=True)
class I2c:
    """An I2C bus with an interrupt line of the host."""

    device: str  #: "/dev/i2c-1"
    address: int
    gpio: int = 0  #: number of the line; on a chip its offset there
    max_packet_size: int = 64
    watch: LineWatch = field(default_factory=LineWatch)
    two_transactions: bool = False  #: a stop between write and read

    def settings(self) -> tuple[str, dict[str, object]]:
        """As the compiled part takes them."""
        return "i2c", {**vars(self), **self.watch.settings()}


@dataclass(frozen=True)
class Spi:
    """An SPI bus with an interrupt line of the host."""

    device: str  #: "/dev/spidev0.0"
    speed: int = 1000000  #: Hz
    gpio: int = 0  #: number of the line; on a chip its offset there
    max_packet_size: int = 64
    watch: LineWatch = field(default_factory=LineWatch)

    def settings(self) -> tuple[str, dict[str, object]]:
        """As the compiled part takes them."""
        return "spi", {**vars(self), **self.watch.settings()}


Wire = Union[Uart, I2c, Spi]

#: A wire, or the path of a serial port.
WireLike = Union[Uart, I2c, Spi, str, "os.PathLike[str]"]


def wire_of(what: WireLike) -> Wire:
    """A path is that of a serial port, as it is usually set."""
    return what if isinstance(what, (Uart, I2c, Spi)) else Uart(os.fspath(what))
