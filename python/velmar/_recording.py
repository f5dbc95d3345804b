"""Recordings as the library beside the package reads them, by the code of `velmar export`: into arrays."""
from __future__ import annotations

import _thread
import ctypes
import json
import os
import threading
from ctypes import c_char_p, c_double, c_int, c_int32, c_int64, c_void_p
from typing import Any, Dict, NamedTuple, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ._descriptions import Descriptions, ServerInfo, read_descriptions, read_server
from ._errors import RecordingError
from ._library import take_library
from ._records import SERVER_DESCRIPTION_SIZE

# Slots that are filled at a stretch: some ten milliseconds, between which Python gets to see Ctrl-C.
_STRETCH = 1000

# Seconds in which what is stopped ends, and far more.
_PATIENCE = 5.0


class _Options(ctypes.Structure):
    _fields_ = [
        ("fromKind", c_int32), ("toKind", c_int32), ("from_", c_double), ("to", c_double), ("unloadedFirst", c_int64),
        ("unloadedLast", c_int64), ("rate", c_double)]


class _Arrays(ctypes.Structure):
    _fields_ = [(name, c_void_p) for name in (
        "number", "arrivalNs", "isPresent", "markers", "position", "orientation", "residual", "force",
        "centerOfPressure", "freeMoment", "analog")]


class Span(NamedTuple):
    """Which part of a recording is meant, and how it is to be taken."""

    start: Union[int, float, None]  #: an int is a frame's number, a float seconds since the first one
    stop: Union[int, float, None]
    unloaded: Optional[Tuple[int, int]]
    rate: Optional[float]

    def options(self) -> _Options:
        """The same for the library."""
        first, last = self.unloaded or (0, -1)
        return _Options(
            _kind(self.start), _kind(self.stop), self.start or 0, self.stop or 0, first, last, self.rate or 0)


def _kind(point: Union[int, float, None]) -> int:
    return 0 if point is None else 1 if isinstance(point, int) else 2


class Content(NamedTuple):
    """All that a recording holds. Arrays have a row for each frame; bodies are rigid bodies and then bones."""

    properties: Dict[str, Any]
    server: ServerInfo
    descriptions: Descriptions
    arrays: Dict[str, NDArray[Any]]


def _function(name: str, result: Any, *arguments: Any) -> Any:
    function = take_library()[name]
    function.restype = result
    function.argtypes = arguments
    return function


class _Reader:
    """A take of the library's; a context manager. It is closed when nobody has it any more, not before."""

    def __init__(self, path: str) -> None:
        self._take: Optional[int] = None
        self._path = path
        self._file = os.fsencode(path)
        self._open = _function("VelmarTake_Open", c_int, c_void_p, c_char_p, c_void_p)
        self._stop = _function("VelmarTake_Stop", None, c_void_p)
        self._fill = _function("VelmarTake_Fill", c_int64, c_void_p, c_int64, c_void_p)
        self._error = _function("VelmarTake_Error", c_char_p, c_void_p)
        self._describe = _function("VelmarTake_Describe", c_char_p, c_void_p)
        self._server = _function("VelmarTake_Server", c_void_p, c_void_p)
        self._descriptions = _function("VelmarTake_Descriptions", c_void_p, c_void_p)
        self._close = _function("VelmarTake_Close", None, c_void_p)
        self._code: Optional[int] = None  # of opening it
        self._is_lent = False  # to another thread
        self._reading = threading.Lock()  # held meanwhile
        self._take = _function("VelmarTake_New", c_void_p)()
        if self._take is None:
            raise MemoryError("no memory for a recording")

    def __enter__(self) -> _Reader:
        return self

    def __exit__(self, *_: object) -> None:
        if self._code is not None or not self._is_lent:
            self.close()

    def __del__(self) -> None:
        self.close()

    def close(self) -> None:
        """No thread is in a call of it."""
        take, self._take = self._take, None
        if take is not None:
            self._close(take)

    def open(self, span: Span) -> None:
        """Reads through the file. Ctrl-C arrives in the main thread, and waits there for what is read elsewhere."""
        if threading.current_thread() is threading.main_thread():
            self._open_elsewhere(span)
        else:
            self._read_through(span)
        if self._code != 0:
            raise self._failure()

    def _open_elsewhere(self, span: Span) -> None:
        # A lock and a bare thread: the waits of `threading` come to grief at a second Ctrl-C.
        self._is_lent = self._reading.acquire()
        _thread.start_new_thread(self._read_elsewhere, (span,))
        try:
            self._reading.acquire()
        except BaseException:
            self.stop()
            if self._code is None:
                self._reading.acquire(timeout=_PATIENCE)
            raise

    def _read_elsewhere(self, span: Span) -> None:
        try:
            self._read_through(span)
        finally:
            self._reading.release()

    def _read_through(self, span: Span) -> None:
        options = span.options()
        self._code = self._open(self._take, self._file, ctypes.addressof(options))

    def stop(self) -> None:
        """From any thread: what reads, and what will read, ends soon with an error."""
        self._stop(self._take)

    def properties(self) -> Dict[str, Any]:
        """What the recording is."""
        properties: Dict[str, Any] = json.loads(self._describe(self._take))
        return properties

    def server(self) -> ServerInfo:
        """What its server has said of itself."""
        return read_server(ctypes.string_at(self._server(self._take), SERVER_DESCRIPTION_SIZE), self._path)

    def descriptions(self, is_simulated: bool) -> Descriptions:
        """What its server has said of its frames."""
        address = self._descriptions(self._take)
        return Descriptions.empty() if address is None else read_descriptions(address, is_simulated)

    def fill(self, arrays: Dict[str, NDArray[Any]]) -> None:
        """All frames."""
        slots = len(arrays["number"])
        filled = 0
        while filled < slots:
            rows = _Arrays(*(array.ctypes.data + filled * array.strides[0] for array in arrays.values()))
            count = self._fill(self._take, min(_STRETCH, slots - filled), ctypes.addressof(rows))
            if count < 0:
                raise self._failure()
            if count == 0:
                raise RecordingError(f"{self._path} has changed while it was read")
            filled += count

    def _failure(self) -> RecordingError:
        return RecordingError(self._error(self._take).decode("utf-8", "replace"))


def _arrays(properties: Dict[str, Any]) -> Dict[str, NDArray[Any]]:
    """Without content, in the order of the library's record."""
    slots = properties["slots"]
    markers = len(properties["markers"])
    bodies = len(properties["rigid_bodies"]) + len(properties["bones"])
    plates = properties["plates"]
    shapes: Dict[str, Tuple[Any, Tuple[int, ...]]] = {
        "number": (np.int64, ()), "arrival_ns": (np.int64, ()), "present": (np.bool_, ()),
        "markers": (np.float32, (markers, 3)), "position": (np.float32, (bodies, 3)),
        "orientation": (np.float32, (bodies, 4)), "residual": (np.float32, (bodies,)),
        "force": (np.float32, (plates, 3)), "center_of_pressure": (np.float32, (plates, 3)),
        "free_moment": (np.float32, (plates,)), "analog": (np.float32, (properties["channels"],))}
    return {name: np.empty((slots, *shape), kind) for name, (kind, shape) in shapes.items()}


def read(path: str, span: Span) -> Content:
    """A recording. RecordingError says what is wrong with it."""
    with _Reader(path) as reader:
        reader.open(span)
        properties = reader.properties()
        server = reader.server()
        descriptions = reader.descriptions(server.is_simulated)
        arrays = _arrays(properties)
        reader.fill(arrays)
    return Content(properties, server, descriptions, arrays)
