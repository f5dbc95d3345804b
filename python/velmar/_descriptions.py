"""What a server says of itself and of its frames."""
from __future__ import annotations

import struct
from ctypes import string_at
from dataclasses import dataclass, field
from typing import Any, Dict, Iterator, List, Optional, Protocol, Sequence, Tuple, TypeVar, Union, overload

import numpy as np
from numpy.typing import NDArray

from ._records import (
    DATA_DESCRIPTIONS, FORCE_PLATE_INFO, MARKER_SET_INFO, NAME_SIZE, POINT_GROUP_INFO, RIGID_BODY_INFO, SKELETON_INFO,
    offset, text)

_SIMULATED = b"velmar simulated capture server\0"
_NO_PARENT = -1

# What the simulated server writes where the protocol leaves it to the server.
_SERVER = struct.Struct("<256s4B256s4xf")
_RIGID_BODY = struct.Struct("<256sii3f4f")


@dataclass(frozen=True)
class ServerInfo:
    """What a server says of itself. `version`, `host` and `rate` are None where it is not known to tell."""

    address: str  #: as it was given to `velmar.connect`; of a recording its file
    name: str
    version: Optional[str]
    host: Optional[str]
    rate: Optional[float]  #: frames a second
    data: bytes = field(repr=False)  #: 525 bytes, as sent

    @property
    def is_simulated(self) -> bool:
        """Whether it is `velmar simulate`, whose words are known."""
        return self.data.startswith(_SIMULATED)

    def __str__(self) -> str:
        parts = [f"{self.name or 'a server without a name'} at {self.address}"]
        if self.version is not None:
            parts.append(f"version {self.version}")
        if self.rate is not None:
            parts.append(f"{self.rate:g} Hz")
        return ", ".join(parts)


@dataclass(frozen=True, eq=False)
class MarkerSetInfo:
    """A marker set and the names of its markers."""

    name: str
    marker_names: Tuple[str, ...]


@dataclass(frozen=True, eq=False)
class RigidBodyInfo:
    """A rigid body, or a bone of a skeleton, in its reference pose. Of servers other than the simulated one only `name`
    and `words` are known, all else is None."""

    name: str
    id: Optional[int]
    parent_id: Optional[int]  #: None: none
    offset: Optional[NDArray[np.float32]]  #: (3,): from the parent's origin, in the parent's axes; metres
    orientation: Optional[NDArray[np.float32]]  #: (4,): quaternion x, y, z, w, global
    words: NDArray[np.uint32]  #: (73,): as sent


@dataclass(frozen=True, eq=False)
class ForcePlateInfo:
    """A force plate: where it lies, and how its channels become forces."""

    id: int
    scale_factor: int  #: every channel, less what it reads unloaded, is multiplied by its negation
    origin: NDArray[np.float32]  #: (3,): in the volume
    sensor_offset: NDArray[np.float32]  #: (3,): a, b, h, in the plate's own axes
    rotation: NDArray[np.float32]  #: (3, 3): from the plate's axes to the volume's
    calibration: NDArray[np.float32]  #: (8, 8): its diagonal is used
    channel_layout: int  #: 3: eight forces; 4: three forces and three moments; others: not computed


@dataclass(frozen=True, eq=False)
class PointGroupInfo:
    """A named group of points: `points` is uint32 (points, 3), as the server sends them."""

    name: str
    points: NDArray[np.uint32]


class _HasName(Protocol):
    @property
    def name(self) -> str: ...


_Item = TypeVar("_Item", bound=_HasName)


class Named(Sequence[_Item]):
    """Items in their order, which are found by their names as well; of two with one name the first one is."""

    def __init__(self, kind: str, items: Sequence[_Item]) -> None:
        self._kind = kind
        self._items: Tuple[_Item, ...] = tuple(items)
        self._by_name: Dict[str, int] = {}
        for index, item in enumerate(self._items):
            self._by_name.setdefault(item.name, index)

    @overload
    def __getitem__(self, key: Union[int, str]) -> _Item: ...
    @overload
    def __getitem__(self, key: slice) -> Tuple[_Item, ...]: ...
    def __getitem__(self, key: Union[int, str, slice]) -> Union[_Item, Tuple[_Item, ...]]:
        if isinstance(key, str):
            return self._items[self.index(key)]
        return self._items[key]

    def index(self, value: Any, *limits: int) -> int:
        """Where the item of this name stands, or this item."""
        if not isinstance(value, str):
            return self._items.index(value, *limits)
        if value not in self._by_name:
            raise KeyError(unknown(self._kind, value, list(self._by_name)))
        return self._by_name[value]

    def __contains__(self, value: object) -> bool:
        return value in self._by_name if isinstance(value, str) else value in self._items

    def __iter__(self) -> Iterator[_Item]:
        return iter(self._items)

    def __len__(self) -> int:
        return len(self._items)

    def names(self) -> Tuple[str, ...]:
        """Of all items, in their order."""
        return tuple(item.name for item in self._items)

    def __repr__(self) -> str:
        return f"<{len(self)} of {self._kind}: {', '.join(self.names())}>"


@dataclass(frozen=True, eq=False)
class SkeletonInfo:
    """A skeleton and its bones, in the order in which frames have them."""

    name: str
    id: int
    bones: Named[RigidBodyInfo]

    @property
    def bone_names(self) -> Tuple[str, ...]:
        """Of the bones, in the order of the frames."""
        return self.bones.names()


@dataclass(frozen=True, eq=False)
class Descriptions:
    """What the frames of a server contain."""

    marker_sets: Named[MarkerSetInfo]
    rigid_bodies: Named[RigidBodyInfo]
    skeletons: Named[SkeletonInfo]
    force_plates: Tuple[ForcePlateInfo, ...]
    point_groups: Named[PointGroupInfo]

    @staticmethod
    def empty() -> Descriptions:
        """Of a server that has told nothing."""
        return _Reading(False).result()


def unknown(kind: str, name: str, known: Sequence[str]) -> str:
    """The text of the error about a name that is not there."""
    there = f"; there are: {listed(known)}" if known else ": there is none"
    return f"no {kind} is named {name!r}{there}"


def listed(names: Sequence[str]) -> str:
    """The first ones, and how many more there are."""
    shown = 20
    rest = len(names) - shown
    return ", ".join(names[:shown]) + (f" and {rest} more" if rest > 0 else "")


def read_server(data: bytes, address: str) -> ServerInfo:
    """What the 525 bytes of a server's description say."""
    if not data.startswith(_SIMULATED):
        return ServerInfo(address, _leading_text(data), None, None, None, data)
    name, *version, host, rate = _SERVER.unpack_from(data)
    return ServerInfo(address, text(name), ".".join(map(str, version)), text(host), float(rate), data)


def read_descriptions(address: int, is_simulated: bool) -> Descriptions:
    """A list of the library's, whose memory may go afterwards."""
    reading = _Reading(is_simulated)
    entries = np.frombuffer(string_at(address, DATA_DESCRIPTIONS.itemsize), DATA_DESCRIPTIONS)[0]
    for kind, data in entries["descriptions"][:max(0, int(entries["descriptionCount"]))].tolist():
        if data:
            reading.add(kind, data)
    return reading.result()


def _leading_text(data: bytes) -> str:
    """The printable text at the start of a record."""
    end = next((i for i, byte in enumerate(data) if not 0x20 <= byte <= 0x7E), len(data))
    return data[:end].decode("ascii")


def _record_at(record: np.dtype[Any], address: int) -> Any:
    return np.frombuffer(string_at(address, record.itemsize), record)[0]


class _Reading:
    """A list of descriptions on its way out of the library's memory."""

    def __init__(self, is_simulated: bool) -> None:
        self._is_simulated = is_simulated
        self._marker_sets: List[MarkerSetInfo] = []
        self._rigid_bodies: List[RigidBodyInfo] = []
        self._skeletons: List[SkeletonInfo] = []
        self._force_plates: List[ForcePlateInfo] = []
        self._point_groups: List[PointGroupInfo] = []

    def result(self) -> Descriptions:
        return Descriptions(
            Named("marker set", self._marker_sets), Named("rigid body", self._rigid_bodies),
            Named("skeleton", self._skeletons), tuple(self._force_plates), Named("point group", self._point_groups))

    def add(self, kind: int, address: int) -> None:
        """An entry with its code; those of other codes are passed over."""
        readers = (self._marker_set, self._rigid_body, self._skeleton, self._force_plate, self._point_group)
        if 0 <= kind < len(readers):
            readers[kind](address)

    def _marker_set(self, address: int) -> None:
        info = _record_at(MARKER_SET_INFO, address)
        count = int(info["markerCount"])
        names = np.frombuffer(string_at(int(info["markerNames"]), 8 * count), np.uint64).tolist() if count > 0 else []
        self._marker_sets.append(MarkerSetInfo(
            text(bytes(info["name"])), tuple(text(string_at(name, NAME_SIZE)) for name in names)))

    def _rigid_body(self, address: int) -> None:
        self._rigid_bodies.append(self._body(string_at(address, RIGID_BODY_INFO.itemsize)))

    def _body(self, data: bytes) -> RigidBodyInfo:
        words = np.frombuffer(data, np.uint32)
        if not self._is_simulated:
            return RigidBodyInfo(_leading_text(data), None, None, None, None, words)
        name, id, parent, *pose = _RIGID_BODY.unpack(data)
        return RigidBodyInfo(
            text(name), id, None if parent == _NO_PARENT else parent, np.array(pose[:3], np.float32),
            np.array(pose[3:], np.float32), words)

    def _skeleton(self, address: int) -> None:
        head = np.frombuffer(string_at(address, SKELETON_INFO.itemsize), SKELETON_INFO)[0]
        bodies = address + offset(SKELETON_INFO, "rigidBodies")
        size = RIGID_BODY_INFO.itemsize
        bones = [self._body(string_at(bodies + size * i, size)) for i in range(int(head["rigidBodyCount"]))]
        self._skeletons.append(SkeletonInfo(text(bytes(head["name"])), int(head["id"]), Named("bone", bones)))

    def _force_plate(self, address: int) -> None:
        info = _record_at(FORCE_PLATE_INFO, address)
        self._force_plates.append(ForcePlateInfo(
            int(info["id"]), int(info["scaleFactor"]), info["origin"].copy(), info["sensorOffset"].copy(),
            info["rotation"].copy(), info["calibration"].copy(), int(info["channelLayout"])))

    def _point_group(self, address: int) -> None:
        info = _record_at(POINT_GROUP_INFO, address)
        count = int(info["pointCount"])
        points = string_at(int(info["points"]), 12 * count) if count > 0 else b""
        self._point_groups.append(
            PointGroupInfo(text(bytes(info["name"])), np.frombuffer(points, np.uint32).reshape(-1, 3)))
