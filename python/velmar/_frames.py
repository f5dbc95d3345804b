"""Frames: from the library's record to memory of Python's own, and that as arrays.

A record of the library has 152 KB whatever is in it, and arrays of the library's behind it. What a frame holds is
copied out of it as bytes, and the record is used again at once: so a frame is as large as its content, numpy keeps
its bytes alive for as long as an array lies over them, and nothing of a frame has to be given back.
"""
from __future__ import annotations

import ctypes
import struct
from typing import Any, List, NamedTuple, Tuple

import numpy as np
from numpy.typing import NDArray

from . import _library
from ._records import (
    FORCE_PLATE_SAMPLE, FORCE_PLATES, FRAME, FRAME_TIMES, LABELED_MARKER, LABELED_MARKER_SAMPLE, MARKER_SET_SAMPLE,
    RIGID_BODY, RIGID_BODY_SAMPLE, SKELETON_SAMPLE, TRIPLE, layout, offset, text)

Floats = NDArray[np.float32]

_COUNTS = layout(
    FRAME, ("frameNumber", "i"), ("markerSetCount", "i"), ("otherMarkerCount", "i"), ("otherMarkers", "Q"),
    ("rigidBodyCount", "i"), ("skeletonCount", "i"), ("labeledMarkerCount", "i"))
_MARKER_SET = layout(MARKER_SET_SAMPLE, ("name", "256s"), ("markerCount", "i"), ("markers", "Q"))
_SKELETON = layout(SKELETON_SAMPLE, ("id", "i"), ("rigidBodyCount", "i"), ("rigidBodies", "Q"))
_BODY_MARKERS = layout(
    RIGID_BODY_SAMPLE, ("markerCount", "i"), ("markerPositions", "Q"), ("markerIds", "Q"), ("markerSizes", "Q"))

# The record with what belongs to it, in one piece of memory. Its end, from the analog channels on, goes with every
# frame as it is.
_TAKEN = np.dtype([("frame", FRAME), ("plates", FORCE_PLATES), ("times", FRAME_TIMES)], align=True)
_SETS, _BODIES, _SKELETONS, _LABELED, _REST = (
    offset(FRAME, name) for name in ("markerSets", "rigidBodies", "skeletons", "labeledMarkers", "analogCount"))
_PLATES_AT = offset(_TAKEN, "plates")
_TIMES_AT = offset(_TAKEN, "times")


def _rest(record: np.dtype[Any], begin: int, *fields: str) -> np.dtype[Any]:
    """Fields of a record that begins there, as they stand in the end of the whole."""
    return np.dtype({
        "names": list(fields), "formats": [record[name] for name in fields],
        "offsets": [begin + offset(record, name) - _REST for name in fields], "itemsize": _TAKEN.itemsize - _REST})


_REST_OF_FRAME = layout(
    _rest(FRAME, 0, "analogCount", "timecode", "timecodeSubframe", "auxValue32", "auxValue64", "flags"),
    ("analogCount", "i"), ("timecode", "I"), ("timecodeSubframe", "I"), ("auxValue32", "I"), ("auxValue64", "Q"),
    ("flags", "H"))
_PLATE_COUNT = layout(_rest(FORCE_PLATES, _PLATES_AT, "plateCount"), ("plateCount", "i"))
_TIMES = struct.Struct("<4q")

_TRIPLE_SIZE, _SET_SIZE, _BODY_SIZE, _SKELETON_SIZE, _LABELED_SIZE = (
    record.itemsize
    for record in (TRIPLE, MARKER_SET_SAMPLE, RIGID_BODY_SAMPLE, SKELETON_SAMPLE, LABELED_MARKER_SAMPLE))
# The lowest byte of a body's count of markers, of which there are at most 200.
_BODY_COUNT = offset(RIGID_BODY_SAMPLE, "markerCount")

_Markers = Tuple[bytes, bytes, bytes]


def _triples(memory: bytes) -> Floats:
    return np.frombuffer(memory, np.float32).reshape(-1, 3)


class FrameTimes(NamedTuple):
    """When a frame came, in nanoseconds. Without a stamp of the kernel the arrivals are 0."""

    first_arrival_ns: int  #: wall clock, from 1970 UTC: the kernel took in the frame's first datagram
    last_arrival_ns: int  #: wall clock: it took in the last one, and the frame was complete
    arrival_monotonic_ns: int  #: `last_arrival_ns` on the clock of `time.monotonic_ns()`
    delivery_monotonic_ns: int  #: on that clock: the library handed the frame on


class Timecode(NamedTuple):
    """The time of day that the server gives a frame; what a subframe is, it decides."""

    hours: int
    minutes: int
    seconds: int
    frames: int
    subframe: int

    def __str__(self) -> str:
        return f"{self.hours:02d}:{self.minutes:02d}:{self.seconds:02d}:{self.frames:02d}.{self.subframe}"


class MarkerSet(NamedTuple):
    """A named set of markers: `positions` is float32 (markers, 3), in the server's length unit."""

    name: str
    positions: Floats


class BodyMarkers(NamedTuple):
    """The markers of one body: `positions` float32 (markers, 3), `ids` int32 (markers,), `sizes` float32 (markers,)."""

    positions: Floats
    ids: NDArray[np.int32]
    sizes: Floats


class ForcePlate(NamedTuple):
    """What a force plate measures, in the axes of the volume: `force` float32 (3,), `center_of_pressure` float32 (3,),
    where it acts; `free_moment`: the moment about the plate's normal that is left there."""

    force: Floats
    center_of_pressure: Floats
    free_moment: float


def _body_markers(markers: Tuple[_Markers, ...], index: int, bodies: int) -> BodyMarkers:
    if not -bodies <= index < bodies:
        raise IndexError(f"there are {bodies} bodies, none has the index {index}")
    positions, ids, sizes = markers[index] if markers else (b"", b"", b"")
    return BodyMarkers(_triples(positions), np.frombuffer(ids, np.int32), np.frombuffer(sizes, np.float32))


class Skeleton:
    """One skeleton of a frame: its `id`, and its `bones`."""

    __slots__ = ("id", "_bones", "_markers")
    id: int

    def __init__(self, id: int, bones: bytes) -> None:
        self.id = id
        self._bones = bones
        self._markers = _read_markers(bones)

    @property
    def bones(self) -> NDArray[np.void]:
        """Records (bones,) of `velmar.RIGID_BODY`, in the order of the skeleton's description: `id`, `position` (3,) in
        the server's length unit, `orientation` (4,), a quaternion x, y, z, w, both global, `marker_count`, `residual`,
        `flags`."""
        return np.frombuffer(self._bones, RIGID_BODY)

    def bone_markers(self, index: int) -> BodyMarkers:
        """The markers of one bone."""
        return _body_markers(self._markers, index, len(self._bones) // _BODY_SIZE)

    def __repr__(self) -> str:
        return f"<velmar.Skeleton {self.id}: {len(self._bones) // _BODY_SIZE} bones>"


class Frame:
    """One frame. Its arrays are read-only views into memory of its own: they stay valid as long as somebody holds
    them; `.copy()` gives one that can be written to."""

    __slots__ = ("_sets", "_others", "_bodies", "_markers", "_labeled", "_rest", "number", "skeletons")

    _sets: List[Tuple[bytes, bytes]]
    _others: bytes
    _bodies: bytes
    _markers: Tuple[_Markers, ...]
    _labeled: bytes
    _rest: bytes
    number: int  #: given by the server; the next frame has the next one
    skeletons: Tuple[Skeleton, ...]  #: the skeletons, in the order in which the server sends them

    @property
    def times(self) -> FrameTimes:
        """When the frame came."""
        return FrameTimes(*_TIMES.unpack_from(self._rest, _TIMES_AT - _REST))

    @property
    def marker_sets(self) -> Tuple[MarkerSet, ...]:
        """The named sets of markers."""
        return tuple(MarkerSet(text(name), _triples(positions)) for name, positions in self._sets)

    @property
    def other_markers(self) -> Floats:
        """float32 (markers, 3): the positions of markers without a name."""
        return _triples(self._others)

    @property
    def rigid_bodies(self) -> NDArray[np.void]:
        """Records (bodies,) of `velmar.RIGID_BODY`, those that are not bones of a skeleton."""
        return np.frombuffer(self._bodies, RIGID_BODY)

    def body_markers(self, index: int) -> BodyMarkers:
        """The markers of one rigid body."""
        return _body_markers(self._markers, index, len(self._bodies) // _BODY_SIZE)

    @property
    def labeled_markers(self) -> NDArray[np.void]:
        """Records (markers,) of `velmar.LABELED_MARKER`: `id`, `position` (3,), `size` (diameter), `skeleton_id` (-1:
        none). So a simulated server means the words; of another one only `labeled_marker_words` are known."""
        return np.frombuffer(self._labeled, LABELED_MARKER)

    @property
    def labeled_marker_words(self) -> NDArray[np.uint32]:
        """uint32 (markers, 6): the labelled markers, as the server sends them."""
        return np.frombuffer(self._labeled, np.uint32).reshape(-1, 6)

    @property
    def analog(self) -> Floats:
        """float32 (channels,): the analog channels, without those of computed force plates."""
        values = offset(FRAME, "analogValues") - _REST
        return np.frombuffer(self._rest, np.float32, _REST_OF_FRAME.unpack(self._rest)[0], values)

    @property
    def force_plates(self) -> Tuple[ForcePlate, ...]:
        """What the computed force plates measure, in the order of their descriptions; empty where there are none."""
        count = _PLATE_COUNT.unpack(self._rest)[0]
        if count == 0:
            return ()
        first = _PLATES_AT + offset(FORCE_PLATES, "plates") - _REST
        plates = np.frombuffer(self._rest, FORCE_PLATE_SAMPLE, count, first)
        return tuple(map(ForcePlate, plates["force"], plates["centerOfPressure"], plates["freeMoment"].tolist()))

    @property
    def timecode(self) -> Timecode:
        """The time of day that the server gives the frame."""
        _, packed, subframe, *_ = _REST_OF_FRAME.unpack(self._rest)
        return Timecode(packed >> 24, packed >> 16 & 0xFF, packed >> 8 & 0xFF, packed & 0xFF, subframe)

    @property
    def aux_value_32(self) -> int:
        """Carried from the server unchanged."""
        return int(_REST_OF_FRAME.unpack(self._rest)[3])

    @property
    def aux_value_64(self) -> int:
        """Carried from the server unchanged."""
        return int(_REST_OF_FRAME.unpack(self._rest)[4])

    @property
    def flags(self) -> int:
        """The server's flag word."""
        return int(_REST_OF_FRAME.unpack(self._rest)[5])

    def __repr__(self) -> str:
        return f"<velmar.Frame {self.number} at {self.timecode}>"


# The process's memory by addresses: a slice of it copies faster than anything else that ctypes has.
_MEMORY = memoryview((ctypes.c_ubyte * (1 << 47)).from_address(0)).cast("B")


def _copy(address: int, size: int) -> bytes:
    return _MEMORY[address:address + size].tobytes() if size else b""


def _read_set(address: int) -> Tuple[bytes, bytes]:
    name, count, positions = _MARKER_SET.unpack_from(_MEMORY, address)
    return name, _copy(positions, _TRIPLE_SIZE * count)


def _read_skeleton(address: int) -> Skeleton:
    id, count, bones = _SKELETON.unpack_from(_MEMORY, address)
    return Skeleton(id, _copy(bones, _BODY_SIZE * count))


def _read_markers(bodies: bytes) -> Tuple[_Markers, ...]:
    """Of every body; nothing where none has any, as in most frames."""
    if not any(bodies[_BODY_COUNT::_BODY_SIZE]):
        return ()
    return tuple([
        (_copy(positions, _TRIPLE_SIZE * count), _copy(ids, 4 * count), _copy(sizes, 4 * count))
        for count, positions, ids, sizes in _BODY_MARKERS.iter_unpack(bodies)])


class FrameRecord:
    """A record that the library writes frames into, one after the other. A frame in it is to be freed before the next
    one is taken, or goes with the record. Freeing it just before the next one, and not behind the reading, spares the
    caches, which clearing a record of 152 KB sweeps."""

    __slots__ = ("_memory", "_at", "frame", "plates", "times")

    def __init__(self) -> None:
        self._memory = ctypes.create_string_buffer(_TAKEN.itemsize)
        self._at = ctypes.addressof(self._memory)
        # Made once: converting an address for each call takes longer than the call.
        self.frame = ctypes.c_void_p(self._at)
        self.plates = ctypes.c_void_p(self._at + _PLATES_AT)
        self.times = ctypes.c_void_p(self._at + _TIMES_AT)

    def __del__(self, free_frame: Any = _library.free_frame) -> None:
        free_frame(self.frame)

    def read(self) -> Frame:
        """The frame that the library has written, in memory of its own."""
        at = self._at
        frame = Frame()
        frame.number, sets, others, others_at, bodies, skeletons, labeled = _COUNTS.unpack_from(_MEMORY, at)
        frame._sets = [_read_set(at + _SETS + _SET_SIZE * i) for i in range(sets)]
        frame._others = _MEMORY[others_at:others_at + _TRIPLE_SIZE * others].tobytes() if others else b""
        frame._bodies = _MEMORY[at + _BODIES:at + _BODIES + _BODY_SIZE * bodies].tobytes() if bodies else b""
        frame._markers = _read_markers(frame._bodies) if bodies else ()
        frame.skeletons = tuple([_read_skeleton(at + _SKELETONS + _SKELETON_SIZE * i) for i in range(skeletons)])
        frame._labeled = _MEMORY[at + _LABELED:at + _LABELED + _LABELED_SIZE * labeled].tobytes() if labeled else b""
        frame._rest = _MEMORY[at + _REST:at + _TAKEN.itemsize].tobytes()
        return frame
