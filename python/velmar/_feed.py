"""Feeds: how frames are waited for, in threads and in event loops."""
from __future__ import annotations

import asyncio
import math
import numbers
import os
import threading
import time
from ctypes import byref, c_uint32, c_void_p
from types import TracebackType
from typing import AsyncIterator, Callable, Iterator, List, Optional, Set, Tuple, Type

from . import _library
from ._client import Client
from ._errors import SessionClosed, Timeout, ask_doctor
from ._frames import Frame, FrameRecord
from ._records import MAX_FEED_FRAMES
from ._statistics import FeedStatistics, read_feed_statistics

_FRAME = 0
_ENDED = 1
_NONE_CAME = 9

_NOTHING = Frame()

# Frames that an event loop gets one behind the other, before it sees to its other tasks.
_MOST_IN_A_ROW = 16

_AT_ONCE = c_uint32(0)
_take_frame = _library.take_frame
_free_frame = _library.free_frame

# Seconds for which the library waits at a stretch: between two, Python gets to see Ctrl-C.
_STRETCH = 0.05


def check_timeout(timeout: Optional[float]) -> Optional[float]:
    """Seconds; None waits without limit."""
    if timeout is None:
        return None
    if isinstance(timeout, bool) or not isinstance(timeout, numbers.Real):
        raise TypeError(f"timeout takes seconds, or None, not {timeout!r}")
    if not timeout >= 0:
        raise ValueError(f"timeout takes seconds, 0 or more, or None, not {timeout!r}")
    return float(timeout)


class Feed:
    """Keeps the newest frames of a session until they are read, up to its capacity: when it is full the oldest one
    goes, and is counted. Each feed gets every frame that comes between its opening and its closing. It may be read by
    several threads: each frame goes to one of them. A context manager."""

    def __init__(self, client: Client, server: str, capacity: int) -> None:
        if isinstance(capacity, bool) or not isinstance(capacity, int):
            raise TypeError(f"capacity takes a number of frames, not {capacity!r}")
        if not 1 <= capacity <= MAX_FEED_FRAMES:
            raise ValueError(f"capacity takes 1 to {MAX_FEED_FRAMES} frames, not {capacity}")
        handle = c_void_p()
        if client.at_once(lambda owner: int(_library.open_feed(owner, capacity, byref(handle)))) != 0:
            raise MemoryError(f"no memory for a feed of {capacity} frames")
        self._handle: Optional[c_void_p] = handle
        self._client = client
        self._server = server
        self._reason = "the feed was closed"
        self._is_abandoned = False
        self._spare: List[FrameRecord] = []
        self._lock = threading.RLock()  # a signal handler may close what is being closed
        self._in_a_row = 0
        self._sleepers: Set[Tuple[asyncio.AbstractEventLoop, Callable[[], None]]] = set()
        client.own(self)

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            self.close()

    def frames(self, timeout: Optional[float] = None) -> Frames:
        """An iterator of the frames, for `for` and for `async for`. When none comes for `timeout` seconds it raises
        `Timeout`, and can go on; it ends when the feed or its session is closed."""
        self._open_handle()
        return Frames(self, check_timeout(timeout))

    def next_frame(self, timeout: Optional[float] = None) -> Frame:
        """Waits for the next frame, up to `timeout` seconds: `Timeout` when none came, `SessionClosed` at the end."""
        frame = self._receive(check_timeout(timeout))
        if frame is None:
            raise SessionClosed(self._reason)
        if frame is _NOTHING:
            raise self._too_late(timeout)
        return frame

    async def next(self, timeout: Optional[float] = None) -> Frame:
        """As `next_frame`, for an event loop, which goes on meanwhile."""
        frame = await self._next_in_loop(check_timeout(timeout))
        if frame is None:
            raise SessionClosed(self._reason)
        return frame

    def __iter__(self) -> Iterator[Frame]:
        return self.frames()

    def __aiter__(self) -> AsyncIterator[Frame]:
        return self.frames()

    @property
    def statistics(self) -> FeedStatistics:
        """What the feed has done."""
        statistics = read_feed_statistics(self._open_handle())
        if statistics is None:
            raise SessionClosed(self._reason)
        return statistics

    @property
    def closed(self) -> bool:
        """Whether it, or its session, has been closed."""
        return self._handle is None

    def fileno(self) -> int:
        """A descriptor for `select`, `poll` and event loops, readable while frames wait, and at the session's end. It
        is the feed's: neither read it nor close it."""
        descriptor: int = _library.feed_descriptor(self._open_handle())
        if descriptor < 0:
            self._open_handle()
            raise OSError("the system has no descriptor left for the feed")
        return descriptor

    def close(self) -> None:
        """Releases what it holds. Whoever waits for a frame gets the end at once."""
        with self._lock:
            handle, self._handle = self._handle, None
            if handle is not None:
                _library.close_feed(handle)
        for loop, wake in list(self._sleepers):
            try:
                loop.call_soon_threadsafe(wake)
            except RuntimeError:
                pass  # the loop has ended, and nobody waits in it

    def abandon(self, reason: str) -> None:
        """In a forked child: the library's part of it belongs to the parent."""
        self._handle = None
        self._reason = reason
        self._is_abandoned = True
        self._lock = threading.RLock()
        self._in_a_row = 0
        self._sleepers.clear()

    def __enter__(self) -> Feed:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()

    def _open_handle(self) -> c_void_p:
        if self._handle is None:
            raise SessionClosed(self._reason)
        return self._handle

    async def _next_in_loop(self, timeout: Optional[float]) -> Optional[Frame]:
        deadline = None if timeout is None else time.monotonic() + timeout
        if self._in_a_row >= _MOST_IN_A_ROW:
            self._in_a_row = 0
            await asyncio.sleep(0)
        while True:
            frame = self._receive(0)
            if frame is not _NOTHING:
                self._in_a_row += 1
                return frame
            self._in_a_row = 0
            left = None if deadline is None else deadline - time.monotonic()
            if left is not None and left <= 0:
                raise self._too_late(timeout)
            await self._readable(left)

    def _receive(self, timeout: Optional[float]) -> Optional[Frame]:
        """The next frame; None at the end; _NOTHING when none has come in time."""
        handle = self._handle
        if handle is None:
            return self._at_end()
        try:
            record = self._spare.pop()
        except IndexError:
            record = FrameRecord()
        _free_frame(record.frame)
        code: int = _take_frame(handle, _AT_ONCE, record.frame, record.plates, record.times)
        if code == _NONE_CAME and timeout != 0:
            code = _wait(handle, record, timeout)
        frame = record.read() if code == _FRAME else _NOTHING
        self._spare.append(record)
        if code == _FRAME or code == _NONE_CAME:
            return frame
        if code == _ENDED or self._handle is None:
            return self._at_end()
        raise MemoryError("no memory for a frame")

    def _at_end(self) -> Optional[Frame]:
        if self._is_abandoned:
            raise SessionClosed(self._reason)
        return None

    def _too_late(self, timeout: Optional[float]) -> Timeout:
        return Timeout(f"no frame from {self._server} in {timeout:g} s: {ask_doctor(self._server)}")

    async def _readable(self, timeout: Optional[float]) -> None:
        """Until a frame may be there, or the end, or the time has passed. The event loop gets a descriptor of its own,
        which the end of the feed does not close under it."""
        loop = asyncio.get_running_loop()
        future = loop.create_future()

        def wake() -> None:
            if not future.done():
                future.set_result(None)

        with self._lock:
            if self._handle is None:
                return
            descriptor = os.dup(self.fileno())
        sleeper = (loop, wake)
        self._sleepers.add(sleeper)
        timer = None if timeout is None else loop.call_later(timeout, wake)
        try:
            loop.add_reader(descriptor, wake)
            await future
        finally:
            self._sleepers.discard(sleeper)
            if timer is not None:
                timer.cancel()
            if not loop.is_closed():
                loop.remove_reader(descriptor)
            os.close(descriptor)


def _wait(handle: c_void_p, record: FrameRecord, timeout: Optional[float]) -> int:
    """Until a frame comes, with the result of the library."""
    deadline = None if timeout is None else time.monotonic() + timeout
    while True:
        left = _STRETCH if deadline is None else min(_STRETCH, deadline - time.monotonic())
        if left <= 0:
            return _NONE_CAME
        code: int = _library.await_frame(handle, math.ceil(left * 1000), record.frame, record.plates, record.times)
        if code != _NONE_CAME:
            return code


class Frames:
    """The frames of a feed, one after the other, for `for` and for `async for`."""

    __slots__ = ("_feed", "_timeout")

    def __init__(self, feed: Feed, timeout: Optional[float]) -> None:
        self._feed = feed
        self._timeout = timeout

    def __iter__(self) -> Frames:
        return self

    def __next__(self) -> Frame:
        frame = self._feed._receive(self._timeout)
        if frame is None:
            raise StopIteration
        if frame is _NOTHING:
            raise self._feed._too_late(self._timeout)
        return frame

    def __aiter__(self) -> Frames:
        return self

    async def __anext__(self) -> Frame:
        frame = await self._feed._next_in_loop(self._timeout)
        if frame is None:
            raise StopAsyncIteration
        return frame
