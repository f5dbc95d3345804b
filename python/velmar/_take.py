"""Recordings: a stream, whole, as arrays."""
from __future__ import annotations

import importlib
import math
import numbers
import os
import warnings
from typing import Any, Dict, Iterator, List, Mapping, NamedTuple, Optional, Sequence, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ._descriptions import Descriptions, ServerInfo, listed, unknown
from ._errors import DamagedRecording
from ._recording import Content, Span, read

Floats = NDArray[np.float32]
Point = Union[int, float, None]

# Frames a second that a recording may have.
_SLOWEST, _FASTEST = 0.01, 100_000.0

_AXES = ("x", "y", "z")
_POSE = (*_AXES, "qx", "qy", "qz", "qw", "residual")
_PLATE = ("force_x", "force_y", "force_z", "cop_x", "cop_y", "cop_z", "free_moment")


class Body(NamedTuple):
    """A rigid body or a bone: `position` float32 (frames, 3), in the server's length unit, `orientation` float32
    (frames, 4), a quaternion x, y, z, w, both global, `residual` float32 (frames,); NaN where it is missing."""

    position: Floats
    orientation: Floats
    residual: Floats


class PlateTrack(NamedTuple):
    """What a force plate measured, in the axes of the volume: `force` float32 (frames, 3), `center_of_pressure`
    float32 (frames, 3), where it acted, `free_moment` float32 (frames,); NaN where it is not known."""

    force: Floats
    center_of_pressure: Floats
    free_moment: Floats


class _Names:
    """Names, each of which is also found by what stands behind its last colon, where no other one has that."""

    def __init__(self, kind: str, names: Sequence[str]) -> None:
        self.kind = kind
        self.names = tuple(names)
        self._whole = {name: index for index, name in enumerate(self.names)}
        self._last: Dict[str, List[int]] = {}
        for index, name in enumerate(self.names):
            self._last.setdefault(name.rsplit(":", 1)[-1], []).append(index)

    def index(self, name: str) -> int:
        if name in self._whole:
            return self._whole[name]
        found = self._last.get(name, [])
        if len(found) > 1:
            raise KeyError(f"more than one {self.kind} is named {name!r}: {listed([self.names[i] for i in found])}")
        if not found:
            raise KeyError(unknown(self.kind, name, self.names))
        return found[0]


class Markers(Mapping[str, Floats]):
    """Markers by name: float32 (frames, 3), in the server's length unit, NaN where missing."""

    def __init__(self, names: Sequence[str], array: Floats) -> None:
        self._names = _Names("marker", names)
        self.array = array  #: all of them: float32 (frames, markers, 3)

    def __getitem__(self, name: str) -> Floats:
        return self.array[:, self._names.index(name)]

    def __iter__(self) -> Iterator[str]:
        return iter(self._names.names)

    def __len__(self) -> int:
        return len(self._names.names)

    def __repr__(self) -> str:
        return f"<{len(self)} markers: {listed(list(self))}>"


class Bodies(Mapping[str, Body]):
    """Rigid bodies, or bones, by name."""

    def __init__(self, kind: str, names: Sequence[str], position: Floats, orientation: Floats,
                 residual: Floats) -> None:
        self._names = _Names(kind, names)
        self.position = position  #: of all of them: float32 (frames, bodies, 3)
        self.orientation = orientation  #: of all of them: float32 (frames, bodies, 4)
        self.residual = residual  #: of all of them: float32 (frames, bodies)

    def __getitem__(self, name: str) -> Body:
        index = self._names.index(name)
        return Body(self.position[:, index], self.orientation[:, index], self.residual[:, index])

    def __iter__(self) -> Iterator[str]:
        return iter(self._names.names)

    def __len__(self) -> int:
        return len(self._names.names)

    def __repr__(self) -> str:
        return f"<{len(self)} of {self._names.kind}: {listed(list(self))}>"


class Take:
    """A recording, made by `velmar.load`. A frame has its place by its number: where one was lost its row is NaN, and
    `present` is False."""

    def __init__(self, path: str, content: Content) -> None:
        properties, arrays = content.properties, content.arrays
        self.path: str = path  #: of the file
        self.name: str = properties["name"]  #: of the file, without folders and ending
        self.server: ServerInfo = content.server  #: who streamed; without a name where the recording does not tell
        self.descriptions: Descriptions = content.descriptions  #: what frames contain; empty where it does not tell
        self.concerns: Tuple[str, ...] = tuple(properties["concerns"])  #: what one should know first, a line each
        self.statistics: Dict[str, Any] = properties["statistics"]  #: what a client would have counted of the stream
        self.rate: float = float(properties["rate"])  #: frames a second
        self.rate_source: str = properties["rate_source"]  #: "stated", by the "arrivals", or "unknown": then it is 1
        self.number: NDArray[np.int64] = arrays["number"]  #: (frames,): of a lost frame the one that it would have had
        self.present: NDArray[np.bool_] = arrays["present"]  #: (frames,): False where a frame was lost
        self.arrival_ns: NDArray[np.int64] = arrays["arrival_ns"]  #: (frames,): wall clock; 0 where a frame was lost
        #: (frames,): seconds since the first frame, by number and rate
        self.time: NDArray[np.float64] = np.arange(len(self.number)) / self.rate
        self.markers = Markers(properties["markers"], arrays["markers"])  #: by name
        rigid_bodies, bones = properties["rigid_bodies"], properties["bones"]
        poses = [arrays[name] for name in ("position", "orientation", "residual")]
        first = len(rigid_bodies)
        self.rigid_bodies = Bodies("rigid body", rigid_bodies, *(array[:, :first] for array in poses))  #: by name
        self.bones = Bodies("bone", bones, *(array[:, first:] for array in poses))  #: by name
        plates = (arrays["force"], arrays["center_of_pressure"], arrays["free_moment"])
        self.force_plates: Tuple[PlateTrack, ...] = tuple(  #: in the order of their descriptions
            PlateTrack(*(array[:, i] for array in plates)) for i in range(properties["plates"]))
        self.analog: Floats = arrays["analog"]  #: (frames, channels): without those of the plates
        self._plates = plates

    def __len__(self) -> int:
        """Frames, lost ones too."""
        return len(self.number)

    def to_numpy(self) -> Dict[str, NDArray[Any]]:
        """All of it as plain arrays, as for `numpy.savez("walk.npz", **take.to_numpy())`: `time`, `number`, `present`,
        `arrival_ns` (frames,); `markers` (frames, markers, 3), `marker_names` (markers,); `bone_position`,
        `bone_orientation`, `bone_residual`, `bone_names`, and the same of `rigid_body_`; `plate_force`,
        `plate_center_of_pressure` (frames, plates, 3), `plate_free_moment` (frames, plates); `analog`."""
        arrays: Dict[str, NDArray[Any]] = {
            "time": self.time, "number": self.number, "present": self.present, "arrival_ns": self.arrival_ns,
            "markers": self.markers.array, "marker_names": _texts(self.markers)}
        for kind, bodies in (("bone", self.bones), ("rigid_body", self.rigid_bodies)):
            arrays[f"{kind}_position"] = bodies.position
            arrays[f"{kind}_orientation"] = bodies.orientation
            arrays[f"{kind}_residual"] = bodies.residual
            arrays[f"{kind}_names"] = _texts(bodies)
        names = ("plate_force", "plate_center_of_pressure", "plate_free_moment")
        arrays.update(zip(names, self._plates), analog=self.analog)
        return arrays

    def to_pandas(self) -> Any:
        """A DataFrame with `time` as its index and three levels of columns: the kind ("frame", "marker", "rigid body",
        "bone", "force plate", "analog"), the name (of plates and channels a number from 1 on), the component
        ("x", "qw", "force_z" ...)."""
        try:
            pandas = importlib.import_module("pandas")
        except ImportError:
            raise ImportError("take.to_pandas() needs pandas: install python3-pandas, or take.to_numpy()") from None
        frames = len(self)
        heads = pandas.DataFrame(
            {("frame", name, ""): getattr(self, name) for name in ("number", "present", "arrival_ns")}, self.time)
        blocks: List[Floats] = [self.markers.array.reshape(frames, -1)]
        columns = [("marker", name, axis) for name in self.markers for axis in _AXES]
        for bodies in (self.rigid_bodies, self.bones):
            pose = (bodies.position, bodies.orientation, bodies.residual[..., np.newaxis])
            blocks.append(np.concatenate(pose, axis=2).reshape(frames, -1))
            columns += [(bodies._names.kind, name, value) for name in bodies for value in _POSE]
        force, center, moment = self._plates
        blocks.append(np.concatenate((force, center, moment[..., np.newaxis]), axis=2).reshape(frames, -1))
        columns += [("force plate", str(i + 1), value) for i in range(len(self.force_plates)) for value in _PLATE]
        blocks.append(self.analog)
        columns += [("analog", str(i + 1), "") for i in range(self.analog.shape[1])]
        values = pandas.DataFrame(
            np.concatenate(blocks, axis=1), self.time, pandas.MultiIndex.from_tuples(columns) if columns else None)
        table = pandas.concat([heads, values], axis=1) if columns else heads
        return table.rename_axis(index="time", columns=("kind", "name", "component"))

    def __repr__(self) -> str:
        lost = len(self) - int(np.count_nonzero(self.present))
        return (f"<velmar.Take {self.name}: {len(self)} frames at {self.rate:g} Hz, {lost} lost,"
                f" {len(self.markers)} markers, {len(self.rigid_bodies)} rigid bodies, {len(self.bones)} bones,"
                f" {len(self.force_plates)} force plates>")


def _texts(names: Mapping[str, object]) -> NDArray[np.str_]:
    return np.array(list(names), dtype=np.str_)


def load(path: Union[str, os.PathLike[str]], *, start: Point = None, stop: Point = None,
         unloaded: Optional[Tuple[int, int]] = None, rate: Optional[float] = None) -> Take:
    """Reads a recording of `velmar record`, or of a network analyser, whole into arrays, as `velmar export` does.

    start, stop: limits, both in the take: an int is a frame's number, a float seconds since the first frame.
    unloaded: the numbers of a first and a last frame, whose mean tells what the force plates read unloaded; without it
        the first frame does.
    rate: frames a second, in place of what the recording says.

    Raises RecordingError for what is no recording or holds no such frames, ValueError and TypeError for arguments that
    make no sense. A damaged recording is read as far as it goes, with a DamagedRecording warning.
    """
    text = os.fsdecode(path)
    if "\0" in text:
        raise ValueError(f"path takes the name of a file, not {text!r}")
    span = Span(*_limits(start, stop), _span(unloaded), _rate(rate))
    content = read(text, span)
    if content.properties["damage"]:
        warnings.warn(content.properties["damage"], DamagedRecording, stacklevel=2)
    return Take(text, content)


def _point(name: str, value: Point) -> Point:
    if value is None:
        return None
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError(f"{name} takes a frame's number as an int, or seconds as a float, not {value!r}")
    if isinstance(value, numbers.Integral):
        return _number(name, value)
    if not (math.isfinite(value) and value >= 0):
        raise ValueError(f"{name} takes seconds since the first frame, 0 or more, not {value!r}")
    return float(value)


def _number(name: str, value: object) -> int:
    if isinstance(value, bool) or not isinstance(value, numbers.Integral):
        raise TypeError(f"{name} takes frames by their numbers, as ints, not {value!r}")
    number = int(value)
    if not -2**31 <= number < 2**31:
        raise ValueError(f"{name} takes frames by their numbers, of 32 bits, not {number}")
    return number


def _limits(start: Point, stop: Point) -> Tuple[Point, Point]:
    first, last = _point("start", start), _point("stop", stop)
    if first is not None and last is not None and type(first) is type(last) and last < first:
        raise ValueError(f"stop takes what does not come before start, and {stop!r} comes before {start!r}")
    return first, last


def _span(value: Optional[Tuple[int, int]]) -> Optional[Tuple[int, int]]:
    if value is None:
        return None
    try:
        first, last = value
    except (TypeError, ValueError):
        raise TypeError(f"unloaded takes the numbers of a first and a last frame, not {value!r}") from None
    first, last = _number("unloaded", first), _number("unloaded", last)
    if last < first:
        raise ValueError(f"unloaded takes a first and a last frame, and {last} comes before {first}")
    return first, last


def _rate(value: Optional[float]) -> Optional[float]:
    if value is None:
        return None
    if isinstance(value, bool) or not isinstance(value, numbers.Real):
        raise TypeError(f"rate takes frames a second, not {value!r}")
    if not _SLOWEST <= value <= _FASTEST:
        raise ValueError(f"rate takes {_SLOWEST:g} to {_FASTEST:g} frames a second, not {value!r}")
    return float(value)
