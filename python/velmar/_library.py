"""The C interface: where the shared libraries are, and the prototypes of what is called.

Functions that may wait or take long are called through `ctypes.CDLL`, which lets other threads run Python
meanwhile. What returns at once goes through `ctypes.PyDLL`, which keeps Python's lock: giving it up beside busy
threads costs up to 5 ms for each of them until it is had again, far more than a frame is worth.
"""
from __future__ import annotations

import ctypes
import functools
from ctypes import POINTER, c_char_p, c_int, c_long, c_uint32, c_void_p
from pathlib import Path
from typing import Any, Type, TypeVar

_SDK = "libvelmar_sdk.so.2"
_TAKE = "libvelmar_take.so"
_Loader = TypeVar("_Loader", bound=ctypes.CDLL)


def _load(kind: Type[_Loader], name: str) -> _Loader:
    """A library beside the package, or else the system's of that name."""
    beside = Path(__file__).with_name(name)
    try:
        return kind(str(beside) if beside.exists() else name)
    except OSError as error:
        raise ImportError(
            f"the library {name} cannot be loaded: {error}; it stands beside the package, or is found by the system"
            " as the package libvelmar-sdk2 puts it") from None


def _prototype(function: Any, *arguments: Any) -> Any:
    function.restype = c_int
    function.argtypes = arguments
    return function


_waiting = _load(ctypes.CDLL, _SDK)
_at_once = _load(ctypes.PyDLL, _SDK)

_NEXT_FRAME = (c_void_p, c_uint32, c_void_p, c_void_p, c_void_p)

create_client = _prototype(_at_once.CreateClient, POINTER(c_void_p))
destroy_client = _prototype(_waiting.DestroyClient, c_void_p)
initialize = _prototype(_waiting.Initialize, c_void_p, c_char_p)
uninitialize = _prototype(_waiting.Uninitialize, c_void_p)
wait_for_force_plate_init = _prototype(_waiting.WaitForForcePlateInit, c_void_p, c_long)
get_server_description = _prototype(_waiting.GetServerDescription, c_void_p, c_void_p)
get_data_descriptions = _prototype(_waiting.GetDataDescriptions, c_void_p, POINTER(c_void_p))
free_descriptions = _prototype(_at_once.Quorin_FreeDescriptions, c_void_p)
set_stream_interface = _prototype(_at_once.Quorin_SetStreamInterface, c_void_p, c_char_p)
get_stream_statistics = _prototype(_at_once.Quorin_GetStreamStatistics, c_void_p, c_void_p)
open_feed = _prototype(_at_once.Quorin_OpenFeed, c_void_p, c_uint32, POINTER(c_void_p))
close_feed = _prototype(_at_once.Quorin_CloseFeed, c_void_p)
feed_descriptor = _prototype(_at_once.Quorin_FeedDescriptor, c_void_p)
get_feed_statistics = _prototype(_at_once.Quorin_GetFeedStatistics, c_void_p, c_void_p)
#: Takes a frame that is there already.
take_frame = _prototype(_at_once.Quorin_NextFrame, *_NEXT_FRAME)
#: Waits for a frame.
await_frame = _prototype(_waiting.Quorin_NextFrame, *_NEXT_FRAME)
free_frame = _prototype(_at_once.Quorin_FreeFrame, c_void_p)


def _version() -> str:
    numbers = (ctypes.c_ubyte * 4)()
    _at_once.Quorin_GetVersion(numbers)
    return ".".join(str(number) for number in numbers)


#: Of the library, as servers judge it.
library_version = _version()


@functools.lru_cache(maxsize=None)
def take_library() -> ctypes.CDLL:
    """The library that reads recordings, loaded when one is read."""
    return _load(ctypes.CDLL, _TAKE)
