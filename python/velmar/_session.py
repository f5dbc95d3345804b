"""A session with a capture server."""
from __future__ import annotations

import ctypes
import socket
import time
import warnings
from ctypes import byref, c_void_p
from types import TracebackType
from typing import AsyncIterator, Iterator, Optional, Type

from . import _library
from ._client import Client
from ._descriptions import Descriptions, ServerInfo, read_descriptions, read_server
from ._errors import NoAnswer, SessionClosed, VelmarError, VersionRefused, ask_doctor
from ._feed import Feed, Frames
from ._frames import Frame
from ._records import SERVER_DESCRIPTION_SIZE
from ._statistics import Statistics, read_statistics

_REFUSED = 10
# The library waits 5 s for an answer; what fails sooner has another reason.
_ANSWER_SECONDS = 5.0
_ONE_ATTEMPT_MS = 1


class Session:
    """A running session, made by `velmar.connect`: a context manager, which ends it. One that nobody holds any more,
    nor a feed or an iterator of it, ends by itself. Callable from any thread."""

    def __init__(self, client: Client, server: str, feed: Feed) -> None:
        self._client = client
        self._address = server
        self._feed = feed
        self._server: Optional[ServerInfo] = None
        self._descriptions: Optional[Descriptions] = None

    @property
    def feed(self) -> Feed:
        """The session's own feed, which its methods read."""
        return self._feed

    def frames(self, timeout: Optional[float] = None) -> Frames:
        """An iterator of the frames, for `for` and for `async for`. When none comes for `timeout` seconds it raises
        `Timeout`, and can go on; None waits without limit. It ends when the session is closed."""
        return self._feed.frames(timeout)

    def next_frame(self, timeout: Optional[float] = None) -> Frame:
        """Waits for the next frame, up to `timeout` seconds: `Timeout` when none came, `SessionClosed` at the end."""
        return self._feed.next_frame(timeout)

    async def next(self, timeout: Optional[float] = None) -> Frame:
        """As `next_frame`, for an event loop, which goes on meanwhile."""
        return await self._feed.next(timeout)

    def __iter__(self) -> Iterator[Frame]:
        return self.frames()

    def __aiter__(self) -> AsyncIterator[Frame]:
        return self.frames()

    def open_feed(self, capacity: int = 2048) -> Feed:
        """A further feed, which gets every frame from now on, and keeps up to `capacity` of them, 1 to 65536."""
        return Feed(self._client, self._address, capacity)

    @property
    def statistics(self) -> Statistics:
        """What happened to every frame of the stream, until now."""
        return self._client.at_once(read_statistics)

    @property
    def server(self) -> ServerInfo:
        """What the server says of itself; asked once. `NoAnswer` when it says nothing in 5 seconds."""
        if self._server is None:
            self._server = self._client.call(self._ask_server)
        return self._server

    @property
    def descriptions(self) -> Descriptions:
        """What the frames contain; asked once. `NoAnswer` when the server says nothing usable in 5 seconds."""
        return self._descriptions or self.ask_descriptions()

    def ask_descriptions(self) -> Descriptions:
        """Asks anew what the frames contain, for a server whose subjects have changed."""
        try:
            is_simulated = self.server.is_simulated
        except NoAnswer:
            is_simulated = False  # nothing that its words could be read by
        self._descriptions = self._client.call(lambda handle: self._ask_descriptions(handle, is_simulated))
        return self._descriptions

    @property
    def closed(self) -> bool:
        """Whether the session has ended."""
        return self._client.closed

    def close(self) -> None:
        """Ends the session: whoever waits for a frame gets the end at once. Frames stay valid."""
        self._client.close()

    def __enter__(self) -> Session:
        return self

    def __exit__(self, kind: Optional[Type[BaseException]], error: Optional[BaseException],
                 trace: Optional[TracebackType]) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<velmar.Session with {self._address}{', closed' if self.closed else ''}>"

    def _ask_server(self, handle: int) -> ServerInfo:
        memory = ctypes.create_string_buffer(SERVER_DESCRIPTION_SIZE)
        if _library.get_server_description(handle, ctypes.addressof(memory)) != 0:
            raise self._no_answer("does not describe itself")
        return read_server(memory.raw, self._address)

    def _ask_descriptions(self, handle: int, is_simulated: bool) -> Descriptions:
        descriptions = c_void_p()
        if _library.get_data_descriptions(handle, byref(descriptions)) != 0:
            raise self._no_answer("does not say what its frames contain")
        if not descriptions.value:
            raise self._no_answer("says what its frames contain in a way that cannot be decoded")
        try:
            return read_descriptions(descriptions.value, is_simulated)
        finally:
            _library.free_descriptions(descriptions)

    def _no_answer(self, what: str) -> VelmarError:
        if self._client.closed:
            return SessionClosed("the session was closed meanwhile")
        return NoAnswer(f"{self._address} {what}: {ask_doctor(self._address)}")


def connect(server: str, *, interface: Optional[str] = None, capacity: int = 2048,
            force_plates: bool = True) -> Session:
    """Connects to a capture server and returns the running `Session`; takes up to 5 seconds.

    server: a host name or a dotted IPv4 address.
    interface: the network interface that the stream comes in on, by its name or IPv4 address; None: the one that faces
        the server.
    capacity: frames that wait for a program that is busy, 1 to 65536; when there are more, the oldest ones go, and
        are counted (`session.feed.statistics.dropped`).
    force_plates: has the force plates computed that the server describes. What the first frame then reads is taken as
        unloaded, once for the life of the process: nobody should stand on the plates.

    Raises NoAnswer, VersionRefused, VelmarError when the session cannot be had, ValueError and TypeError for arguments
    that make no sense. Without usable descriptions of force plates there is a UserWarning.
    """
    _check_text("server", server)
    client = Client()
    try:
        if interface is not None:
            _choose_interface(client, interface)
        session = Session(client, server, Feed(client, server, capacity))
        _start(client, server)
        if force_plates and client.call(_start_plates) != 0:
            warnings.warn(f"{server} gives no usable descriptions: frames will have no force plates", stacklevel=2)
        return session
    except BaseException:
        client.close()
        raise


def _start_plates(handle: int) -> int:
    code: int = _library.wait_for_force_plate_init(handle, _ONE_ATTEMPT_MS)
    return code


def _check_text(name: str, value: object) -> None:
    if not isinstance(value, str):
        raise TypeError(f"{name} takes a text, not {value!r}")
    if not value or "\0" in value:
        raise ValueError(f"{name} takes a name or an address, not {value!r}")


def _choose_interface(client: Client, interface: str) -> None:
    _check_text("interface", interface)
    if client.at_once(lambda handle: int(_library.set_stream_interface(handle, interface.encode()))) != 0:
        raise ValueError(
            f"interface takes the name or the IPv4 address of an interface of this machine, not {interface!r}")


def _start(client: Client, server: str) -> None:
    address = client.call(lambda _: _resolve(server))
    began = time.monotonic()
    code = client.start(address)
    if code == 0:
        return
    if code == _REFUSED:
        raise VersionRefused(f"{server} does not support version {_library.library_version} of this library:"
                             f" {ask_doctor(server)}")
    if time.monotonic() - began >= 0.9 * _ANSWER_SECONDS:
        raise NoAnswer(f"no answer from {server} in {_ANSWER_SECONDS:g} s: {ask_doctor(server)}")
    raise VelmarError(f"no session with {server}: the system does not let this program send to it, or have its stream:"
                      f" {ask_doctor(server)}")


def _resolve(server: str) -> str:
    try:
        found = socket.getaddrinfo(server, None, socket.AF_INET, socket.SOCK_DGRAM)
    except (OSError, UnicodeError) as error:
        raise NoAnswer(f"the host {server!r} is unknown ({error}): {ask_doctor(server)}") from None
    return str(found[0][4][0])
