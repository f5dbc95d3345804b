"""The records of the C interface as numpy dtypes and as struct layouts, byte for byte.

`FRAME` and those below it mirror TarvoSDKClient.h and TarvoStream.h, with the names of their fields; a pointer is
a `u8`. The records that arrays of this package have, `RIGID_BODY` and `LABELED_MARKER`, lie over them.
"""
from __future__ import annotations

import struct
from typing import Any, Dict, List, Tuple

import numpy as np

NAME_SIZE = 256
MAX_MARKER_SETS = 200
MAX_RIGID_BODIES = 1000
MAX_SKELETONS = 100
MAX_SKELETON_BODIES = 200
MAX_LABELED_MARKERS = 1000
MAX_ANALOG_VALUES = 32
MAX_DESCRIPTIONS = 200
MAX_FORCE_PLATES = 8
MAX_FEED_FRAMES = 65536
SERVER_DESCRIPTION_SIZE = 525
INTERFACE_NAME_SIZE = 16

_POINTER = "<u8"
_NAME = f"S{NAME_SIZE}"


def _record(*fields: Tuple[Any, ...]) -> np.dtype[Any]:
    """Laid out as a C compiler does."""
    return np.dtype(list(fields), align=True)


TRIPLE = _record(("x", "<f4"), ("y", "<f4"), ("z", "<f4"))
MARKER_SET_SAMPLE = _record(("name", _NAME), ("markerCount", "<i4"), ("markers", _POINTER))
RIGID_BODY_SAMPLE = _record(
    ("id", "<i4"), ("position", "<f4", (3,)), ("orientation", "<f4", (4,)), ("markerCount", "<i4"),
    ("markerPositions", _POINTER), ("markerIds", _POINTER), ("markerSizes", _POINTER),
    ("residual", "<f4"), ("flags", "<u2"))
SKELETON_SAMPLE = _record(("id", "<i4"), ("rigidBodyCount", "<i4"), ("rigidBodies", _POINTER))
LABELED_MARKER_SAMPLE = _record(("words", "<u4", (6,)))
FRAME = _record(
    ("frameNumber", "<i4"),
    ("markerSetCount", "<i4"), ("markerSets", MARKER_SET_SAMPLE, (MAX_MARKER_SETS,)),
    ("otherMarkerCount", "<i4"), ("otherMarkers", _POINTER),
    ("rigidBodyCount", "<i4"), ("rigidBodies", RIGID_BODY_SAMPLE, (MAX_RIGID_BODIES,)),
    ("skeletonCount", "<i4"), ("skeletons", SKELETON_SAMPLE, (MAX_SKELETONS,)),
    ("labeledMarkerCount", "<i4"), ("labeledMarkers", LABELED_MARKER_SAMPLE, (MAX_LABELED_MARKERS,)),
    ("analogCount", "<i4"), ("analogValues", "<f4", (MAX_ANALOG_VALUES,)),
    ("timecode", "<u4"), ("timecodeSubframe", "<u4"), ("auxValue32", "<u4"), ("auxValue64", "<u8"),
    ("flags", "<u2"))

FORCE_PLATE_SAMPLE = _record(("force", "<f4", (3,)), ("centerOfPressure", "<f4", (3,)), ("freeMoment", "<f4"))
FORCE_PLATES = _record(
    ("frameNumber", "<i4"), ("plateCount", "<i4"), ("plates", FORCE_PLATE_SAMPLE, (MAX_FORCE_PLATES,)))
FRAME_TIMES = _record(
    ("firstArrivalNs", "<i8"), ("lastArrivalNs", "<i8"), ("arrivalMonotonicNs", "<i8"),
    ("deliveryMonotonicNs", "<i8"))

MARKER_SET_INFO = _record(("name", _NAME), ("markerCount", "<i4"), ("markerNames", _POINTER))
RIGID_BODY_INFO = _record(("words", "<u4", (73,)))
SKELETON_INFO = _record(
    ("name", _NAME), ("id", "<i4"), ("rigidBodyCount", "<i4"),
    ("rigidBodies", RIGID_BODY_INFO, (MAX_SKELETON_BODIES,)))
FORCE_PLATE_INFO = _record(
    ("id", "<i4"), ("scaleFactor", "<i4"), ("opaque1", "<u4", (2,)), ("origin", "<f4", (3,)),
    ("sensorOffset", "<f4", (3,)), ("rotation", "<f4", (3, 3)), ("calibration", "<f4", (8, 8)),
    ("opaque2", "<u4", (12,)), ("channelLayout", "<i4"), ("opaque3", "<u4", (2050,)))
POINT_GROUP_INFO = _record(("name", _NAME), ("pointCount", "<i4"), ("points", _POINTER))
DESCRIPTION_ENTRY = _record(("type", "<i4"), ("data", _POINTER))
DATA_DESCRIPTIONS = _record(
    ("descriptionCount", "<i4"), ("descriptions", DESCRIPTION_ENTRY, (MAX_DESCRIPTIONS,)))

FEED_STATISTICS = _record(
    ("size", "<u4"), ("capacity", "<u4"), ("received", "<u8"), ("dropped", "<u8"), ("waiting", "<u8"))
_COUNTERS = (
    "datagrams", "bytes", "rejectedTooShort", "rejectedWrongLength", "rejectedForeign", "kernelDropped",
    "messagesIncomplete", "messagesOutOfOrder", "messagesUndecodable", "fragmentsRepeated", "framesDelivered",
    "framesRepeated", "numbersWentBack", "missingTooSlow", "missingIncomplete", "missingUndecodable",
    "missingNeverSeen", "queueDropped", "feedsDropped", "intervalMedianNs", "intervalP99Ns", "intervalLargestNs",
    "delayMedianNs", "delayP99Ns", "delayLargestNs", "callbackMeanNs", "callbackLargestNs", "receiveBufferAsked",
    "receiveBufferGranted", "receiveBufferFullest")
STREAM_STATISTICS = _record(
    ("size", "<u4"), ("interfaceState", "<u4"), *((name, "<u8") for name in _COUNTERS),
    ("interfaceName", f"S{INTERFACE_NAME_SIZE}"))


def offset(record: np.dtype[Any], field: str) -> int:
    """Where a field of a record begins."""
    fields = record.fields
    assert fields is not None
    return int(fields[field][1])


def _over(record: np.dtype[Any], fields: Dict[str, Tuple[Any, str]], size: int) -> np.dtype[Any]:
    """A record of this package over one of the library's: by name, the type and the library's field."""
    return np.dtype({
        "names": list(fields), "formats": [kind for kind, _ in fields.values()],
        "offsets": [offset(record, source) for _, source in fields.values()], "itemsize": size})


#: A rigid body of a frame, or a bone of a skeleton.
RIGID_BODY = _over(
    RIGID_BODY_SAMPLE,
    {"id": ("<i4", "id"), "position": (("<f4", (3,)), "position"), "orientation": (("<f4", (4,)), "orientation"),
     "marker_count": ("<i4", "markerCount"), "residual": ("<f4", "residual"), "flags": ("<u2", "flags")},
    RIGID_BODY_SAMPLE.itemsize)

#: A labelled marker, by what the words of a simulated server mean.
LABELED_MARKER = np.dtype([("id", "<i4"), ("position", "<f4", (3,)), ("size", "<f4"), ("skeleton_id", "<i4")])


def layout(record: np.dtype[Any], *fields: Tuple[str, str]) -> struct.Struct:
    """A struct that reads some fields of a record, in their order, and passes over all others.

    Each field is its name and its struct format; the struct's size is the record's.
    """
    parts: List[str] = ["<"]
    at = 0
    for name, form in fields:
        parts.append(f"{offset(record, name) - at}x{form}")
        at = offset(record, name) + struct.calcsize("<" + form)
    parts.append(f"{record.itemsize - at}x")
    return struct.Struct("".join(parts))


def text(buffer: bytes) -> str:
    """The text in a name buffer, which ends with a zero or with the buffer."""
    return buffer.split(b"\0", 1)[0].decode("utf-8", "replace")
