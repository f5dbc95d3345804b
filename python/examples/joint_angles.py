#!/usr/bin/env python3
"""Writes the joint angles of a recording as a table: python3 joint_angles.py walk.pcap > angles.csv

A joint is a bone of a skeleton and its parent. Its angles are those of the bone's orientation relative to the parent's,
less what that is in the reference pose, as Cardan angles. From the kinematics of rigid bodies: a rotation is taken
apart into turns about the x axis, then the y axis, then the z axis of the moving bone, R = Rx(a) Ry(b) Rz(c), so that

    a = atan2(-R12, R22), b = asin(R02), c = atan2(-R01, R00)

in degrees. Which of them is flexion depends on how the server lays a bone's own axes.
"""
from __future__ import annotations

import argparse
import csv
import sys
from typing import Dict, List

import numpy as np
import velmar
from numpy.typing import NDArray

Floats = NDArray[np.float64]


def conjugate(q: Floats) -> Floats:
    """The inverse of unit quaternions (..., 4) x, y, z, w."""
    inverse: Floats = q * np.array([-1.0, -1.0, -1.0, 1.0])
    return inverse


def product(p: Floats, q: Floats) -> Floats:
    """The turn q, and then p, as the product of quaternions (..., 4)."""
    vector = p[..., 3:] * q[..., :3] + q[..., 3:] * p[..., :3] + np.cross(p[..., :3], q[..., :3])
    scalar = p[..., 3:] * q[..., 3:] - np.sum(p[..., :3] * q[..., :3], axis=-1, keepdims=True)
    return np.concatenate((vector, scalar), axis=-1)


def cardan_degrees(q: Floats) -> Floats:
    """The angles a, b, c of quaternions (..., 4), as (..., 3): see above."""
    x, y, z, w = np.moveaxis(q, -1, 0)
    a = np.arctan2(-2 * (y * z - x * w), 1 - 2 * (x * x + y * y))
    b = np.arcsin(np.clip(2 * (x * z + y * w), -1, 1))
    c = np.arctan2(-2 * (x * y - z * w), 1 - 2 * (y * y + z * z))
    degrees: Floats = np.degrees(np.stack((a, b, c), axis=-1))
    return degrees


def joint_angles(take: velmar.Take) -> Dict[str, Floats]:
    """By the name of the bone, (frames, 3) in degrees, NaN where a frame was lost."""
    angles = {}
    for skeleton in take.descriptions.skeletons:
        by_id = {bone.id: bone for bone in skeleton.bones}
        for bone in skeleton.bones:
            parent = by_id.get(bone.parent_id)
            if parent is None or bone.orientation is None or parent.orientation is None:
                continue
            ours, theirs = (
                take.bones[f"{skeleton.name}:{one.name}"].orientation.astype(float) for one in (bone, parent))
            reference = product(conjugate(parent.orientation.astype(float)), bone.orientation.astype(float))
            relative = product(conjugate(theirs), ours)
            angles[f"{skeleton.name}:{bone.name}"] = cardan_degrees(product(conjugate(reference), relative))
    return angles


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("recording", help="a file of velmar record")
    options = parser.parse_args()
    take = velmar.load(options.recording)
    angles = joint_angles(take)
    if not angles:
        sys.exit(f"{options.recording} does not say how its bones hang together")
    header: List[str] = ["frame", "time_s"] + [f"{name} {axis}_deg" for name in angles for axis in "xyz"]
    values = np.round(np.concatenate(list(angles.values()), axis=1), 3) + 0.0  # without a minus before zeros
    writer = csv.writer(sys.stdout)
    writer.writerow(header)
    for number, time, row in zip(take.number, take.time, values):
        writer.writerow([number, f"{time:.6f}"] + ["" if np.isnan(value) else f"{value:.3f}" for value in row])


if __name__ == "__main__":
    main()
