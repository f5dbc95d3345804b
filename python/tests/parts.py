"""Every part of a frame: all of its arrays by name, the frame written back as the bytes that it came as, and a frame
that has something of everything."""

from __future__ import annotations

from typing import Any, Callable, Dict, List

import numpy as np

import velmar
import wire


def arrays(frame: velmar.Frame) -> Dict[str, Any]:
    found = {"other_markers": frame.other_markers, "rigid_bodies": frame.rigid_bodies, "analog": frame.analog,
             "labeled_markers": frame.labeled_markers, "labeled_marker_words": frame.labeled_marker_words}
    for at, marker_set in enumerate(frame.marker_sets):
        found[f"marker_sets[{at}].positions"] = marker_set.positions
    _add_bodies(found, "body", frame.rigid_bodies, frame.body_markers)
    for at, skeleton in enumerate(frame.skeletons):
        found[f"skeletons[{at}].bones"] = skeleton.bones
        _add_bodies(found, f"skeletons[{at}].bone", skeleton.bones, skeleton.bone_markers)
    for at, plate in enumerate(frame.force_plates):
        found[f"force_plates[{at}].force"] = plate.force
        found[f"force_plates[{at}].center_of_pressure"] = plate.center_of_pressure
    return found


def _add_bodies(found: Dict[str, Any], label: str, bodies: Any,
                markers_of: Callable[[int], velmar.BodyMarkers]) -> None:
    found.update({f"{label} field {field}": bodies[field] for field in velmar.RIGID_BODY.names or ()})
    for at in range(len(bodies)):
        markers = markers_of(at)
        found.update({f"{label}_markers({at}).positions": markers.positions,
                      f"{label}_markers({at}).ids": markers.ids, f"{label}_markers({at}).sizes": markers.sizes})


def copies(frame: velmar.Frame) -> Dict[str, bytes]:
    """The values of all arrays, for a later comparison; what lies between the fields of records is left out."""
    return {name: _values(array) for name, array in arrays(frame).items()}


def _values(array: Any) -> bytes:
    names = array.dtype.names
    return b"".join(array[field].tobytes() for field in names) if names else bytes(array.tobytes())


def differing(held: Dict[str, Any], before: Dict[str, bytes]) -> List[str]:
    """Names of the arrays that no longer have the values that they had."""
    return [name for name, array in held.items() if _values(array) != before[name]]


def rewritten(frame: velmar.Frame, aux_32: int = -1) -> bytes:
    """A received frame as the body that it came as, from every value that the package gives."""
    code = frame.timecode
    return wire.frame(
        frame.number,
        marker_sets=[wire.marker_set(s.name, s.positions) for s in frame.marker_sets],
        other_markers=frame.other_markers,
        bodies=_bodies(frame.rigid_bodies, frame.body_markers),
        skeletons=[wire.skeleton(s.id, _bodies(s.bones, s.bone_markers)) for s in frame.skeletons],
        labeled=frame.labeled_marker_words, analog=frame.analog,
        timecode=code.hours << 24 | code.minutes << 16 | code.seconds << 8 | code.frames, subframe=code.subframe,
        aux_32=frame.aux_value_32 if aux_32 < 0 else aux_32, aux_64=frame.aux_value_64, flags=frame.flags)


def _bodies(records: Any, markers_of: Callable[[int], velmar.BodyMarkers]) -> List[bytes]:
    bodies = []
    for index, record in enumerate(records):
        markers = markers_of(index)
        assert markers.positions.shape == (record["marker_count"], 3) and len(markers.sizes) == len(markers.ids)
        bodies.append(wire.rigid_body(int(record["id"]), record["position"], record["orientation"], markers.positions,
                                      markers.ids, markers.sizes, float(record["residual"]), int(record["flags"])))
    return bodies


def rich_frame(number: int = 1, analog: Any = (1.5, -2.5)) -> bytes:
    """Something of everything, bodies and bones with markers and without."""
    triples = np.arange(12, dtype="<f4").reshape(4, 3)
    return wire.frame(
        number, marker_sets=[wire.marker_set("Left", triples + number), wire.marker_set("Empty", [])],
        other_markers=triples[:2] / 8, bodies=[wire.some_body(7, 4), wire.some_body(8)],
        skeletons=[wire.skeleton(-3, [wire.some_body(1, 2), wire.some_body(2), wire.some_body(3, 1)]),
                   wire.skeleton(9, [])],
        labeled=np.arange(18).reshape(3, 6) + number, analog=analog, timecode=0x01020304, subframe=50,
        aux_32=0xFFFFFFFE, aux_64=0xFFFFFFFFFFFFFFFD, flags=0xFFFC)
