"""Is there a host at this port, and does it do what it must? pytest test_port.py, with HOSTLINK_PORT=/dev/ttyS1; without
it, a simulated one is asked."""
import os
from collections.abc import Iterator

import pytest

import hostlink


@pytest.fixture(scope="module")
def host() -> Iterator[hostlink.Client]:
    with hostlink.Host() as simulated, hostlink.Client(os.environ.get("HOSTLINK_PORT", simulated.path)) as client:
        assert client.wait_until_up(5), client.link_text
        yield client


def test_it_says_what_it_is(host: hostlink.Client) -> None:
    assert host.get("HostFirmwareVersion").text


@pytest.mark.parametrize("volume", [0, 1, 50, 100])
def test_it_holds_what_it_is_given(host: hostlink.Client, volume: int) -> None:
    host.set("PlayerVolume", volume, confirm=True)
    assert host.get("PlayerVolume") == volume
