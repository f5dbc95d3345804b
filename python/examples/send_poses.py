#!/usr/bin/env python3
"""Sends all poses to another program: python3 send_poses.py 192.168.1.20 --to 127.0.0.1:9000

The poses are those of the rigid bodies and of the bones.

A frame is a UDP datagram with a line of JSON:
    {"frame": 120, "poses": [[1, 2.0, 0.5, 0.9, 0.0, 0.0, 0.7, 0.7], ...]}
each pose an identifier, the position x, y, z, the orientation x, y, z, w. A body or bone that has no pose is left out.
"""
from __future__ import annotations

import argparse
import itertools
import json
import socket
from typing import Any, List, Tuple

import numpy as np
import velmar
from numpy.typing import NDArray


def poses_of(bodies: NDArray[np.void]) -> List[List[Any]]:
    rows = np.column_stack((bodies["position"], bodies["orientation"]))
    return [[id, *row] for id, row in zip(bodies["id"].tolist(), rows.tolist()) if np.isfinite(row).all()]


def message(frame: velmar.Frame) -> bytes:
    groups = [frame.rigid_bodies, *(skeleton.bones for skeleton in frame.skeletons)]
    poses = list(itertools.chain.from_iterable(poses_of(bodies) for bodies in groups))
    return json.dumps({"frame": frame.number, "poses": poses}).encode() + b"\n"


def address(text: str) -> Tuple[str, int]:
    host, _, port = text.rpartition(":")
    if not host or not port.isdigit() or not 0 < int(port) < 65536:
        raise argparse.ArgumentTypeError(f"takes HOST:PORT, not {text!r}")
    return host, int(port)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("server", help="host name or address of the capture server")
    parser.add_argument("--to", type=address, default=("127.0.0.1", 9000), metavar="HOST:PORT",
                        help="who gets them (default: 127.0.0.1:9000)")
    parser.add_argument("--every", type=int, default=1, help="of how many frames one is sent (default: every one)")
    options = parser.parse_args()
    with velmar.connect(options.server) as session, socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as out:
        try:
            for frame in session.frames(timeout=2.0):
                if frame.number % max(1, options.every) == 0:
                    out.sendto(message(frame), options.to)
        except KeyboardInterrupt:
            pass


if __name__ == "__main__":
    main()
