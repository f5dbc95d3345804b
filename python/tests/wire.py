"""The protocol's bytes, written field by field from docs/protocol.md: what a scripted server sends. Shares no code
with the library, so that the two cannot be wrong alike."""

from __future__ import annotations

import struct
from typing import Any, List, Sequence, Union

import numpy as np

VERSION_REQUEST, VERSION_REPLY = 0, 1
DESCRIPTIONS, SERVER_DESCRIPTION, FRAME, HELLO = 101, 102, 103, 106
FRAGMENT = 1462

ACCEPTED = bytes(260) + bytes([2, 5, 28, 75, 1])
REFUSED = bytes(260) + bytes([9, 9, 9, 9, 0])
# What tells the simulated server from others, by the zero behind it.
SIMULATED = b"velmar simulated capture server\0"

# The least frame of the page, datagram and all: number 1, timecode 01:02:03:04.
LEAST_FRAME = bytes.fromhex(
    "51f90000320000006700320000000000"
    "01000000000000000000000000000000"
    "00000000000000000000000004030201"
    "00000000000000000000000000000000"
    "0000")


def datagrams(kind: int, payload: bytes, sequence: int = 0) -> List[bytes]:
    """A message, cut as the protocol wants it."""
    pieces = [payload[at:at + FRAGMENT] for at in range(0, len(payload), FRAGMENT)] or [b""]
    return [struct.pack("<HHIBBHI", 0xF951, 0, len(payload), kind, index, len(piece), sequence) + piece
            for index, piece in enumerate(pieces)]


def name(text: Union[str, bytes]) -> bytes:
    raw = text.encode() if isinstance(text, str) else text
    return raw[:256].ljust(256, b"\0")


def floats(values: Any) -> bytes:
    return np.asarray(values, "<f4").tobytes()


def counted(items: Sequence[bytes]) -> bytes:
    return struct.pack("<i", len(items)) + b"".join(items)


def marker_set(set_name: Union[str, bytes], positions: Any) -> bytes:
    return name(set_name) + struct.pack("<i", len(positions)) + floats(positions)


def rigid_body(identifier: int, position: Any, orientation: Any, markers: Any, ids: Any, sizes: Any, residual: float,
               flags: int) -> bytes:
    return (struct.pack("<i", identifier) + floats(position) + floats(orientation) + struct.pack("<i", len(ids))
            + floats(markers) + np.asarray(ids, "<i4").tobytes() + floats(sizes)
            + struct.pack("<fH", residual, flags))


def some_body(identifier: int, markers: int = 0) -> bytes:
    """A body whose every value is another one."""
    base = np.float32(identifier) / 8
    return rigid_body(identifier, base + np.arange(3), base + np.arange(4) / 4, base + np.arange(3 * markers) / 16,
                      np.arange(markers) * 7 - identifier, base + np.arange(markers) / 32, float(base) + 0.5,
                      identifier & 0xFFFF)


def skeleton(identifier: int, bodies: Sequence[bytes]) -> bytes:
    return struct.pack("<i", identifier) + counted(bodies)


def frame(number: int, *, marker_sets: Sequence[bytes] = (), other_markers: Any = (), bodies: Sequence[bytes] = (),
          skeletons: Union[Sequence[bytes], int] = (), labeled: Any = (), analog: Any = (), timecode: int = 0,
          subframe: int = 0, aux_32: int = 0, aux_64: int = 0, flags: int = 0) -> bytes:
    """The body of a frame. `skeletons` may be a negative count, `labeled` is (markers, 6) words."""
    return (struct.pack("<i", number) + counted(marker_sets)
            + struct.pack("<i", len(other_markers)) + floats(other_markers) + counted(bodies)
            + (struct.pack("<i", skeletons) if isinstance(skeletons, int) else counted(skeletons))
            + struct.pack("<i", len(labeled)) + np.asarray(labeled, "<u4").tobytes()
            + struct.pack("<i", len(analog)) + floats(analog)
            + struct.pack("<IIIQH", timecode, subframe, aux_32, aux_64, flags))


def checksum(body: bytes) -> int:
    """By which the simulated server marks a frame, its 32-bit auxiliary value counting as 0."""
    total = 0x811C9DC5
    for byte in body:
        total = (total ^ byte) * 0x01000193 & 0xFFFFFFFF
    return total


def server_description(begin: bytes) -> bytes:
    return begin.ljust(525, b"\0")


def marker_set_entry(set_name: Union[str, bytes], names: Sequence[Union[str, bytes]]) -> bytes:
    return struct.pack("<ii", 0, len(names)) + name(set_name) + b"".join(map(name, names))


def body_block(body_name: Union[str, bytes], words: Sequence[int] = ()) -> bytes:
    """The 292 bytes of a described body: a name, and words that are the server's own."""
    return name(body_name) + struct.pack("<9I", *list(words) + [0] * (9 - len(words)))


def rigid_body_entry(block: bytes) -> bytes:
    return struct.pack("<i", 1) + block


def skeleton_entry(skeleton_name: Union[str, bytes], identifier: int, blocks: Sequence[bytes]) -> bytes:
    return struct.pack("<i", 2) + name(skeleton_name) + struct.pack("<i", identifier) + counted(blocks)


def plate_entry(identifier: int = 70) -> bytes:
    """A plate of six channels at (10, 20, 30), whose channels are forces and moments as they stand."""
    return (struct.pack("<iii8x", 3, identifier, -1) + floats([10, 20, 30, 0, 0, 0]) + floats(np.eye(3))
            + floats(np.eye(8)) + bytes(48) + struct.pack("<i", 4) + bytes(8200))


def point_group_entry(group_name: Union[str, bytes], points: Sequence[Sequence[int]]) -> bytes:
    return struct.pack("<ii", 4, len(points)) + name(group_name) + np.asarray(points, "<u4").tobytes()
