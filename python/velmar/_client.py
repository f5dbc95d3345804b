"""One client of the library: how it lives, beside threads that wait in its calls, forks, and the interpreter's end.

A client must not be destroyed while a call on it runs. So whoever uses it holds it: its session and feeds by a plain
reference, each long call by a hold. It is destroyed by whichever comes last.
"""
from __future__ import annotations

import atexit
import os
import threading
import weakref
from ctypes import byref, c_void_p
from typing import Any, Callable, List, Optional, Protocol, TypeVar

from . import _library
from ._errors import SessionClosed, VelmarError

_Result = TypeVar("_Result")


class Part(Protocol):
    """What lives as long as the client's session."""

    def close(self) -> None:
        """Gives back what it has of the library."""

    def abandon(self, reason: str) -> None:
        """Forgets it: it is the parent process's."""


class Client:
    """The handle of a client of the library."""

    def __init__(self) -> None:
        if _foreign_process:
            raise VelmarError("this process was forked off while a session ran, and cannot have one of its own; start"
                              " it by multiprocessing's \"spawn\" to connect in it")
        handle = c_void_p()
        if _library.create_client(byref(handle)) != 0:
            raise MemoryError("no memory for a client")
        self._lock = threading.RLock()  # the garbage collector may end a client in the middle of its own calls
        self._handle: Optional[int] = handle.value
        self._calls = 0
        self._questions = 0  # of these, may take long
        self._started = False
        self._parts: "weakref.WeakSet[Part]" = weakref.WeakSet()
        self._reason = "the session was closed"
        _clients.add(self)

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            self.close()

    @property
    def closed(self) -> bool:
        """Whether it has been asked to end."""
        return self._handle is None

    @property
    def asks(self) -> bool:
        """Whether a call waits for the server."""
        return self._questions > 0

    def at_once(self, function: Callable[[int], _Result]) -> _Result:
        """A call that returns at once, on this thread."""
        handle = self._hold()
        try:
            return function(handle)
        finally:
            self._let_go(handle)

    def call(self, function: Callable[[int], _Result]) -> _Result:
        """A call that may take long, in a thread of its own: Ctrl-C ends the wait for it, while the call runs on and
        lets go of the client when it returns."""
        outcome: List[Any] = []
        failure: List[BaseException] = []
        done = threading.Event()
        begun = threading.Lock()  # taken by the thread that makes the call, or by the caller that gives it up before
        handle = self._hold()
        with self._lock:
            self._questions += 1

        def work() -> None:
            if not begun.acquire(blocking=False):
                return
            try:
                outcome.append(function(handle))
            except BaseException as error:  # is the caller's
                failure.append(error)
            finally:
                self._answered(handle)
                done.set()

        try:
            threading.Thread(target=work, name="velmar", daemon=True).start()
        except BaseException:
            if begun.acquire(blocking=False):
                self._answered(handle)
            raise
        done.wait()
        if failure:
            raise failure[0]
        result: _Result = outcome[0]
        return result

    def start(self, address: str) -> int:
        """The library's Initialize: its result."""
        def initialize(handle: int) -> int:
            code: int = _library.initialize(handle, address.encode())
            self._started = code == 0
            return code
        return self.call(initialize)

    def own(self, part: Part) -> None:
        """Ends it with the session."""
        self._parts.add(part)

    def close(self) -> None:
        """Ends the session: the stream, at once; the queries that wait, with no answer."""
        with self._lock:
            handle, self._handle = self._handle, None
            if handle is None:
                return
            self._calls += 1
        for part in list(self._parts):
            part.close()
        if self._started:
            _library.uninitialize(handle)
        self._let_go(handle)

    def _hold(self) -> int:
        with self._lock:
            if self._handle is None:
                raise SessionClosed(self._reason)
            self._calls += 1
            return self._handle

    def _answered(self, handle: int) -> None:
        with self._lock:
            self._questions -= 1
        self._let_go(handle)

    def _let_go(self, handle: int) -> None:
        with self._lock:
            self._calls -= 1
            is_last = self._handle is None and self._calls == 0
        if is_last:
            _library.destroy_client(handle)

    def _abandon(self) -> None:
        """In a forked child: the threads are the parent's, and so are the locks that they may have held."""
        self._handle = None
        self._lock = threading.RLock()
        self._reason = "the session belongs to the process that this one was forked off from"
        for part in list(self._parts):
            part.abandon(self._reason)


_clients: "weakref.WeakSet[Client]" = weakref.WeakSet()
_foreign_process = False


def _close_all() -> None:
    """At the interpreter's end. A call that waits for a server is left alone: it ends with the process."""
    for client in list(_clients):
        if not client.asks:
            client.close()


def _abandon_all() -> None:
    global _foreign_process
    for client in list(_clients):
        if not client.closed:
            client._abandon()
            _foreign_process = True


atexit.register(_close_all)
os.register_at_fork(after_in_child=_abandon_all)
