"""Whether a program whose other threads are busy loses frames of a large stage at 1 kHz."""
from __future__ import annotations

import threading
import time
from dataclasses import dataclass
from typing import List

import velmar

from servers import simulate

_STAGE = ("--rate", "1000", "--skeletons", "10", "--markers", "1000")
_EVERY = 97  # of how many frames one is timed


@dataclass
class Result:
    """What came of so many seconds."""

    frames: int
    missing: int  # numbers that the program did not see
    dropped: int  # by the feed
    lost: int  # by the stream
    latencies_ms: List[float]  # from the kernel to the program


class BusyThreads:
    """Threads that compute without a pause in Python."""

    def __init__(self, count: int) -> None:
        self._stop = threading.Event()
        self._threads = [threading.Thread(target=self._compute) for _ in range(count)]

    def __enter__(self) -> None:
        for thread in self._threads:
            thread.start()

    def __exit__(self, *_: object) -> None:
        self._stop.set()
        for thread in self._threads:
            thread.join()

    def _compute(self) -> None:
        value = 0
        while not self._stop.is_set():
            for i in range(1000):
                value += i * i


def beside_busy_threads(seconds: float) -> Result:
    """Reads for so long beside two of them."""
    with simulate(*_STAGE), velmar.connect("127.0.0.1") as session:
        frames = session.frames(timeout=5.0)
        last = next(frames).number
        result = Result(0, 0, 0, 0, [])
        with BusyThreads(2):
            end = time.monotonic() + seconds
            for frame in frames:
                frame.skeletons[0].bones["position"]
                result.missing += frame.number - last - 1
                last = frame.number
                result.frames += 1
                if result.frames % _EVERY == 0:
                    now = time.monotonic_ns()
                    result.latencies_ms.append((now - frame.times.arrival_monotonic_ns) / 1e6)
                    if now / 1e9 > end:
                        break
        result.dropped = session.feed.statistics.dropped
        result.lost = session.statistics.lost
        return result
