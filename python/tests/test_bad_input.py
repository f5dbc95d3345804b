"""Servers that fail, and arguments that make no sense: one exception that says what was wrong, in time."""

from __future__ import annotations

import math
import time
import warnings
from concurrent.futures import ThreadPoolExecutor
from typing import Any, Callable, Dict

import pytest

import children
import wire

import velmar

# The library's own limit for an answer, in seconds.
ANSWER = 5.0


# Servers.

def test_a_server_that_does_not_answer_is_named(script: Any) -> None:
    """One that is silent but for what nobody knows, a host without one, and names of no host, all at once."""
    script({wire.VERSION_REQUEST: (200, b"?")})
    hosts = ["127.0.0.1", "127.0.0.2", "no-such-host.invalid", "256.1.1.1"]
    start = time.monotonic()
    with ThreadPoolExecutor(len(hosts)) as pool:
        for host, connecting in [(host, pool.submit(velmar.connect, host)) for host in hosts]:
            error = connecting.exception()
            assert isinstance(error, velmar.NoAnswer) and isinstance(error, velmar.VelmarError), (host, error)
            assert host in str(error) and "velmar doctor" in str(error)
    assert time.monotonic() - start < ANSWER + children.SLOW


def test_a_refused_version_is_named(script: Any, simulate: Any) -> None:
    for reply in (wire.REFUSED, b"", wire.ACCEPTED[:264]):
        server = script({wire.VERSION_REQUEST: (wire.VERSION_REPLY, reply)})
        with pytest.raises(velmar.VersionRefused, match=r"127\.0\.0\.1(.|\n)*velmar doctor") as raised:
            velmar.connect("127.0.0.1")
        assert isinstance(raised.value, velmar.VelmarError)
        server.close()
    simulate("--refuse")
    with pytest.raises(velmar.VersionRefused):
        velmar.connect("127.0.0.1")


WITHOUT_PLATES = """
    import velmar, warnings
    with warnings.catch_warnings(record=True) as caught:
        warnings.simplefilter("always")
        with velmar.connect("127.0.0.1") as session:
            print("connected")
            print(session.next_frame(timeout=20).force_plates)
    print([(w.category.__name__, "plate" in str(w.message)) for w in caught])
"""


@pytest.mark.parametrize("reply", [None, b"", wire.counted([b"\3\0\0\0 cut"]), (201).to_bytes(4, "little")],
                         ids=["none", "empty", "cut", "too many"])
def test_a_server_without_descriptions_streams_without_plates(script: Any, connect: Any, python: Any,
                                                              reply: Any) -> None:
    server = script({wire.DESCRIPTIONS: None if reply is None else (wire.DESCRIPTIONS, reply)})
    start = time.monotonic()
    child = python(WITHOUT_PLATES)
    with warnings.catch_warnings():
        warnings.simplefilter("error")
        session = connect()
    with pytest.raises(velmar.VelmarError, match=r"127\.0\.0\.1(.|\n)*velmar doctor"):
        session.descriptions
    child.expect("connected")
    assert time.monotonic() - start < ANSWER + 2 * children.SLOW
    server.stream(wire.frame(1, analog=[1] * 8))
    assert child.end(within=10).cleanly().splitlines()[1:] == ["()", "[('UserWarning', True)]"]
    assert session.next_frame(timeout=10).number == 1


# Arguments.

def first_of(frames: Any) -> Any:
    return next(iter(frames))


CONNECTS: Dict[str, Any] = {
    "no text": (TypeError, "server", dict(server=5)),
    "bytes": (TypeError, "server", dict(server=b"127.0.0.1")),
    "none": (TypeError, "server", dict(server=None)),
    "empty": (ValueError, "server", dict(server="")),
    "a zero within": (ValueError, "server", dict(server="127.0.0.1\0.example")),
    "no capacity": (ValueError, "capacity.*0", dict(capacity=0)),
    "less than none": (ValueError, "capacity.*-1", dict(capacity=-1)),
    "too much": (ValueError, "capacity.*65537", dict(capacity=65537)),
    "beyond 32 bits": (ValueError, "capacity.*4294967297", dict(capacity=2**32 + 1)),
    "half a frame": (TypeError, "capacity", dict(capacity=1.5)),
    "capacity in words": (TypeError, "capacity", dict(capacity="many")),
    "no such interface": ((ValueError, velmar.VelmarError), "nosuch0", dict(interface="nosuch0")),
    "another's address": ((ValueError, velmar.VelmarError), "192.0.2.1", dict(interface="192.0.2.1")),
    "interface of no text": (TypeError, "interface", dict(interface=1)),
    "interface with a zero": (ValueError, "interface", dict(interface="lo\0lo")),
}


@pytest.mark.parametrize("case", CONNECTS)
def test_connect_takes_no_nonsense(script: Any, case: str) -> None:
    script()
    error, named, options = CONNECTS[case]
    with pytest.raises(error, match=named):
        arguments: Any = {"server": "127.0.0.1", "force_plates": False, **options}
        velmar.connect(**arguments)


TIMEOUTS: Dict[str, Any] = {
    "negative": (ValueError, -1), "next to negative": (ValueError, -1e-9), "no number": (ValueError, math.nan),
    "text": (TypeError, "1"), "complex": (TypeError, 1j), "list": (TypeError, [1]),
}


@pytest.mark.parametrize("case", TIMEOUTS)
def test_waits_take_no_nonsense(script: Any, connect: Any, case: str) -> None:
    script()
    session = connect()
    error, timeout = TIMEOUTS[case]
    waits: Dict[str, Callable[[], Any]] = {
        "next_frame": lambda: session.next_frame(timeout=timeout),
        "frames": lambda: first_of(session.frames(timeout=timeout)),
        "feed": lambda: session.feed.next_frame(timeout=timeout),
        "next": lambda: session.next(timeout=timeout).send(None),
    }
    for name, wait in waits.items():
        with pytest.raises(error, match="timeout"):
            pytest.fail(f"{name} gives {wait()}")
    for capacity in (0, 65537):
        with pytest.raises(ValueError, match=f"capacity.*{capacity}"):
            session.open_feed(capacity=capacity)


def test_no_session_is_made_but_by_connect() -> None:
    for made in (velmar.Session, velmar.Feed):
        with pytest.raises((TypeError, velmar.VelmarError)):
            made()
