#!/usr/bin/env python3
"""Draws the force on a force plate as it comes: python3 plot_force_plate.py 192.168.1.20

Needs matplotlib (python3-matplotlib). With --save it draws the first seconds into a file instead of a window.
"""
from __future__ import annotations

import argparse
import collections
import importlib
import sys
from typing import Any, Deque, Tuple

import velmar

DRAWN_SECONDS = 5.0
DRAWINGS_PER_SECOND = 20


class Curves:
    """The newest seconds of the three components of a force, over the time of their frames."""

    def __init__(self, plt: Any, plate: int) -> None:
        self._plt = plt
        self._plate = plate
        self._samples: Deque[Tuple[float, Any]] = collections.deque()
        self._figure, self._axes = plt.subplots()
        self._lines = [self._axes.plot([], [], label=f"force {axis}")[0] for axis in "xyz"]
        self._axes.set(xlabel="seconds", ylabel="newtons", title=f"force plate {plate}")
        self._axes.legend(loc="upper left")

    def add(self, frame: velmar.Frame) -> None:
        if len(frame.force_plates) < self._plate:
            sys.exit(f"frame {frame.number} has {len(frame.force_plates)} force plates, none is number {self._plate}")
        now = frame.times.arrival_monotonic_ns / 1e9
        self._samples.append((now, frame.force_plates[self._plate - 1].force))
        while now - self._samples[0][0] > DRAWN_SECONDS:
            self._samples.popleft()

    def draw(self) -> None:
        last = self._samples[-1][0]
        times = [time - last for time, _ in self._samples]
        for axis, line in enumerate(self._lines):
            line.set_data(times, [force[axis] for _, force in self._samples])
        self._axes.set_xlim(-DRAWN_SECONDS, 0)
        self._axes.relim()
        self._axes.autoscale_view(scalex=False)

    def save(self, path: str) -> None:
        self._figure.savefig(path)

    def show(self) -> None:
        self._plt.pause(1 / DRAWINGS_PER_SECOND)

    @property
    def is_open(self) -> bool:
        return bool(self._plt.fignum_exists(self._figure.number))


def show(session: velmar.Session, curves: Curves) -> None:
    """Draws what waits in the feed, again and again: however slow the drawing is, no frame is missed."""
    curves.show()
    while curves.is_open:
        curves.add(session.next_frame(timeout=2.0))
        for _ in range(session.feed.statistics.waiting):
            curves.add(session.next_frame(timeout=2.0))
        curves.draw()
        curves.show()


def save(session: velmar.Session, curves: Curves, path: str, seconds: float) -> None:
    begin = None
    for frame in session.frames(timeout=2.0):
        curves.add(frame)
        begin = begin or frame.times.arrival_monotonic_ns
        if frame.times.arrival_monotonic_ns - begin > seconds * 1e9:
            break
    curves.draw()
    curves.save(path)


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("server", help="host name or address of the capture server")
    parser.add_argument("--plate", type=int, default=1, choices=range(1, 9), metavar="1..8",
                        help="which one (default: 1)")
    parser.add_argument("--save", metavar="FILE", help="draw into an image file, of the first seconds")
    parser.add_argument("--seconds", type=float, default=DRAWN_SECONDS, help="of the image (default: %(default)s)")
    options = parser.parse_args()
    try:
        matplotlib = importlib.import_module("matplotlib")
    except ImportError:
        sys.exit("plot_force_plate.py needs matplotlib: sudo apt install python3-matplotlib")
    if options.save:
        matplotlib.use("agg")
    with velmar.connect(options.server) as session:
        curves = Curves(importlib.import_module("matplotlib.pyplot"), options.plate)
        if options.save:
            save(session, curves, options.save, options.seconds)
        else:
            show(session, curves)


if __name__ == "__main__":
    main()
