"""Recordings for tests: of the simulated server, and made up byte by byte."""

from __future__ import annotations

import csv
import itertools
import json
import struct
from pathlib import Path
from typing import Any, Dict, Iterator, List, NamedTuple, Optional, Sequence, Tuple

import numpy as np

import children
import velmar
import wire
from servers import GROUP, HOST, run_tool, tool

RAW_IP = 101
_exports = itertools.count()


def record(path: Path, frames: int, *options: str) -> Path:
    """So many frames of `velmar simulate`, which runs meanwhile."""
    server = children.Process([tool(), "simulate", *options], children.plain_environment())
    try:
        server.expect("serving port 5230")
        run_tool("record", HOST, "--frames", str(frames), "-o", str(path))
    finally:
        server.kill()
    return path


class Table(NamedTuple):
    """What `velmar export --wide` writes of a recording. Values by their column, an empty field is NaN."""
    numbers: List[int]
    arrivals_ns: List[int]
    seconds: List[float]
    values: Dict[str, Any]

    @property
    def first_rows(self) -> Dict[int, int]:
        """By number, the row in which it came first."""
        return {number: row for row, number in reversed(list(enumerate(self.numbers)))}


def exported(recording: Path, *options: str) -> Path:
    folder = recording.with_name(f"export{next(_exports)}")
    run_tool("export", str(recording), "-o", str(folder), *options)
    return folder


def wide_table(recording: Path, *options: str) -> Table:
    with open(exported(recording, "--wide", *options) / "frames.csv", newline="", encoding="utf-8") as file:
        head, *rows = csv.reader(file)
    assert head[:4] == ["frame_number", "arrival_s", "time_s", "timecode"]
    values = np.array([[np.float32(field or "nan") for field in row[4:]] for row in rows])
    return Table([int(row[0]) for row in rows], [int(row[1].replace(".", "")) for row in rows],
                 [float(row[2]) for row in rows], dict(zip(head[4:], values.T)))


def json_lines(recording: Path) -> List[Dict[str, Any]]:
    lines = (exported(recording, "--format", "json") / "frames.jsonl").read_text().splitlines()
    return [json.loads(line) for line in lines]


def columns(take: velmar.Take) -> Dict[str, Any]:
    """All values of a take by the names that the wide table has for them, in its order."""
    found: Dict[str, Any] = {}
    for name, track in take.markers.items():
        found.update({f"marker {name} {axis}_m": track[:, k] for k, axis in enumerate("xyz")})
    for kind, bodies in (("body", take.rigid_bodies), ("bone", take.bones)):
        for name, body in bodies.items():
            found.update({f"{kind} {name} {axis}_m": body.position[:, k] for k, axis in enumerate("xyz")})
            found.update({f"{kind} {name} q{axis}": body.orientation[:, k] for k, axis in enumerate("xyzw")})
    found.update({f"analog {k + 1}": take.analog[:, k] for k in range(take.analog.shape[1])})
    for k, plate in enumerate(take.force_plates, 1):
        found.update({f"plate {k} force_{axis}_N": plate.force[:, i] for i, axis in enumerate("xyz")})
        found.update({f"plate {k} cop_{axis}_m": plate.center_of_pressure[:, i] for i, axis in enumerate("xyz")})
        found[f"plate {k} free_moment_Nm"] = plate.free_moment
    return found


def capture(packets: Sequence[bytes], seconds: Optional[Sequence[float]] = None, link: int = RAW_IP) -> bytes:
    """A capture file; a hundred packets a second if not told otherwise."""
    file = struct.pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 65536, link)
    for packet, time in zip(packets, seconds or itertools.count(0, 0.01)):
        file += struct.pack("<IIII", *divmod(round(time * 1e6), 1_000_000), len(packet), len(packet)) + packet
    return file


def packet(datagram: bytes, port: int = 40000, to: Tuple[str, int] = GROUP) -> bytes:
    """An IPv4 packet, from 10.0.0.1."""
    udp = struct.pack(">HHHH", port, to[1], 8 + len(datagram), 0) + datagram
    address = bytes(map(int, to[0].split(".")))
    return struct.pack(">BBHHHBBH", 0x45, 0, 20 + len(udp), 7, 0, 64, 17, 0) + bytes([10, 0, 0, 1]) + address + udp


def stream(*bodies: bytes) -> List[bytes]:
    return [packet(datagram) for body in bodies for datagram in wire.datagrams(wire.FRAME, body)]


def answer(kind: int, body: bytes) -> List[bytes]:
    return [packet(datagram, 5230, ("10.0.0.2", 40000)) for datagram in wire.datagrams(kind, body)]


def simulated(rate: float) -> List[bytes]:
    """The description of a simulated server."""
    return answer(wire.SERVER_DESCRIPTION,
                  wire.server_description(wire.SIMULATED.ljust(520, b"\0") + struct.pack("<f", rate)))


def ends_of_records(file: bytes) -> Iterator[int]:
    """Lengths at which a capture file is whole."""
    at = 24
    while at <= len(file):
        yield at
        if at == len(file):
            return
        at += 16 + struct.unpack_from("<I", file, at + 8)[0]
