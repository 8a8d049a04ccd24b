"""Fixtures for pytest: a host without a device, and a client of it.

In a `conftest.py` or a test module:

    pytest_plugins = ["hostlink.testing"]

    def test_volume(hostlink_host, hostlink_client):
        hostlink_client.set("PlayerVolume", 12)
        assert hostlink_host.get("PlayerVolume") == 12

A mark says how the host is: `@pytest.mark.hostlink(states={"PlayerVolume": 12}, faults=Faults(nack_first=2))` takes what
`hostlink.Host` takes. Programs of their own open `hostlink_host.path`.
"""

from __future__ import annotations

from collections.abc import Iterator

import pytest

from . import Client, Host

__all__ = ["hostlink_client", "hostlink_host"]


def pytest_configure(config: pytest.Config) -> None:
    """Makes the mark known."""
    config.addinivalue_line("markers", "hostlink(**settings): how the host of the fixture hostlink_host is")


@pytest.fixture
def hostlink_host(request: pytest.FixtureRequest) -> Iterator[Host]:
    """A host in this process, another one for each test."""
    marker = request.node.get_closest_marker("hostlink")
    with Host(**(marker.kwargs if marker else {})) as host:
        yield host


@pytest.fixture
def hostlink_client(hostlink_host: Host) -> Iterator[Client]:
    """A client of that host, whose link is up."""
    with Client(hostlink_host.path) as client:
        assert client.wait_until_up(10), client.link_text
        yield client
