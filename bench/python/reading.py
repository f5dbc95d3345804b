"""What a frame costs a Python program that takes a skeleton's positions, beside a loop in C over the same feed."""
from __future__ import annotations

import ctypes
import itertools
import time
from typing import Callable, List, Tuple

import velmar

from servers import simulate

_BLOCK = 500


class Floor:
    """The loop in C, over the feed of a session."""

    def __init__(self, library: str, feed: velmar.Feed) -> None:
        self._read = ctypes.CDLL(library).ReadFrames
        self._read.argtypes = (ctypes.c_void_p, ctypes.c_int, ctypes.c_uint, ctypes.c_void_p)
        self._feed = feed._open_handle()  # the same feed, so that both read the same frames
        self._sum = ctypes.c_double()

    def read(self, count: int, timeout_ms: int) -> None:
        taken = self._read(self._feed, count, timeout_ms, ctypes.addressof(self._sum))
        assert taken == count, f"{taken} frames of {count}"


def read_in_python(session: velmar.Session, count: int, timeout: float) -> None:
    for frame in itertools.islice(session.frames(timeout=timeout), count):
        frame.skeletons[0].bones["position"]


def queued(floor_library: str, blocks: int) -> Tuple[List[float], List[float]]:
    """Microseconds a frame, of blocks that wait in the feed: in Python, in C, in turn."""
    frames = 2 * blocks * _BLOCK
    with simulate("--rate", "2000", "--frames", str(frames + 4000)) as server:
        session = velmar.connect("127.0.0.1", capacity=65536, force_plates=False)
        while session.feed.statistics.waiting < frames:
            time.sleep(0.1)
        server.end()
    with session:
        floor = Floor(floor_library, session.feed)
        return _in_turn(blocks, _BLOCK, time.perf_counter, lambda: read_in_python(session, _BLOCK, 0),
                        lambda: floor.read(_BLOCK, 0))


def paced(floor_library: str, rate: int, blocks: int) -> Tuple[List[float], List[float]]:
    """Microseconds of the processor a frame, with the waiting for it, of frames as they come: of seconds, in turn."""
    with simulate("--rate", str(rate)), velmar.connect("127.0.0.1", force_plates=False) as session:
        floor = Floor(floor_library, session.feed)
        read_in_python(session, 1, 2.0)
        return _in_turn(blocks, rate, time.thread_time, lambda: read_in_python(session, rate, 2.0),
                        lambda: floor.read(rate, 2000))


def _in_turn(blocks: int, count: int, clock: Callable[[], float],
             *readers: Callable[[], None]) -> Tuple[List[float], List[float]]:
    times: Tuple[List[float], List[float]] = ([], [])
    for _ in range(blocks):
        for values, reader in zip(times, readers):
            began = clock()
            reader()
            values.append((clock() - began) / count * 1e6)
    return times
