"""What happened to every frame: the account of the stream, and that of a feed."""
from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import Any, Callable, Optional

import numpy as np

from . import _library
from ._records import FEED_STATISTICS, STREAM_STATISTICS


@dataclass(frozen=True)
class FeedStatistics:
    """What one feed has done."""

    capacity: int  #: frames that it keeps
    received: int  #: frames that came since it was opened: waiting, read and dropped ones together
    dropped: int  #: of these, left it unread, since the program was too slow for them
    waiting: int  #: of these, wait to be read


@dataclass(frozen=True)
class Statistics:
    """What the stream's endpoint has seen since the session began. Each frame number that is missing is counted under
    one cause. Medians and 99th percentiles are within 3.2 % of a value that was seen; times that nothing was seen of
    are 0."""

    interface_state: str  #: "not joined", "joined", or "gone": then no frame comes
    interface_name: str  #: of the joined interface; empty: none
    datagrams: int  #: received by the stream's socket, rejected ones too
    bytes: int  #: of these, headers of the protocol included
    rejected_too_short: int  #: datagrams without a whole header
    rejected_wrong_length: int  #: datagrams whose length is not what their header says
    rejected_foreign: int  #: datagrams of something else
    kernel_dropped: int  #: datagrams that the kernel had no room for
    messages_incomplete: int  #: messages given up for a datagram that has not come
    messages_out_of_order: int  #: messages given up though all their datagrams came, in another order
    messages_undecodable: int  #: frames that came whole and could not be decoded
    fragments_repeated: int  #: fragments that came twice
    frames_delivered: int  #: frames that were handed on
    frames_repeated: int  #: of these, had a number that had been delivered already just before
    numbers_went_back: int  #: of these, had a lower number than the one before: late, or a restarted server
    missing_too_slow: int  #: missing numbers: the kernel dropped datagrams there, this machine was too slow
    missing_incomplete: int  #: missing numbers: part of the frame came, but not all, or not in order
    missing_undecodable: int  #: missing numbers: the frame came and could not be decoded
    missing_never_seen: int  #: missing numbers: nothing came; skipped by the server, or lost on the way
    queue_dropped: int  #: of no use here: frames that left the library's own queue unread
    feeds_dropped: int  #: frames that the session's feeds dropped unread, closed feeds included
    interval_median_ns: int  #: between the arrivals of one delivered frame and the next
    interval_p99_ns: int  #: the same, 99th percentile
    interval_largest_ns: int  #: the same, largest
    delay_median_ns: int  #: from a frame's arrival in the kernel to its delivery
    delay_p99_ns: int  #: the same, 99th percentile
    delay_largest_ns: int  #: the same, largest
    callback_mean_ns: int  #: spent in callbacks; there are none here
    callback_largest_ns: int  #: the same, largest
    receive_buffer_asked: int  #: bytes asked of the system for the stream's socket
    receive_buffer_granted: int  #: bytes that it gave, as it counts them
    receive_buffer_fullest: int  #: bytes, counted so, that waited at most when the library looked

    @property
    def lost(self) -> int:
        """Frames that never reached this process, whatever the cause."""
        return (self.missing_too_slow + self.missing_incomplete + self.missing_undecodable + self.missing_never_seen)


_STATES = ("not joined", "joined", "gone")


def _snake_case(name: str) -> str:
    """`framesDelivered` as `frames_delivered`."""
    return "".join("_" + letter.lower() if letter.isupper() else letter for letter in name)


_COUNTERS = {name: _snake_case(name) for name in (STREAM_STATISTICS.names or ())[2:-1]}


def _fill(record: np.dtype[Any], fill: Callable[[int], int]) -> Any:
    """The library's values; None when it has none."""
    memory = ctypes.create_string_buffer(record.itemsize)
    values = np.frombuffer(memoryview(memory), record)
    values["size"] = record.itemsize
    return values[0] if fill(ctypes.addressof(memory)) == 0 else None


def read_feed_statistics(feed: ctypes.c_void_p) -> Optional[FeedStatistics]:
    """Of a feed; None when it has been closed."""
    values = _fill(FEED_STATISTICS, lambda address: int(_library.get_feed_statistics(feed, address)))
    if values is None:
        return None
    return FeedStatistics(*(int(values[name]) for name in ("capacity", "received", "dropped", "waiting")))


def read_statistics(client: int) -> Statistics:
    """Of a client's stream."""
    values = _fill(STREAM_STATISTICS, lambda address: int(_library.get_stream_statistics(client, address)))
    counters = {ours: int(values[name]) for name, ours in _COUNTERS.items()}
    state = int(values["interfaceState"])
    return Statistics(
        interface_state=_STATES[state] if state < len(_STATES) else str(state),
        interface_name=bytes(values["interfaceName"]).decode("utf-8", "replace"), **counters)
