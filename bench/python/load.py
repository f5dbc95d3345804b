"""How long `velmar.load` takes for a recording of a person, beside `pandas.read_csv` of what `velmar export` makes of
it: the one wide table, and the tables that hold the same values between them."""
from __future__ import annotations

import argparse
import importlib
import os
import statistics
import subprocess
import tempfile
import time
import warnings
from pathlib import Path
from typing import Any, Callable, Dict, Iterator, List, Optional, Sequence, Tuple

import velmar

from servers import simulate

_RATE = 5000  # frames a second: as many as are recorded without a loss
_REPETITIONS = 5
_WIDE = ("frames",)
_TABLES = ("markers", "labeled_markers", "skeleton_bones", "analog", "force_plates")
Measured = Tuple[str, List[float], List[float]]


def _velmar(*arguments: str) -> None:
    subprocess.run([os.environ["VELMAR"], *arguments], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)


def _record(path: Path, frames: int) -> None:
    with simulate("--rate", str(_RATE)):
        _velmar("record", "127.0.0.1", "--frames", str(frames), "-o", str(path))


def _export(recording: Path, name: str, *options: str) -> Path:
    folder = recording.with_name(name)
    _velmar("export", str(recording), "-o", str(folder), *options)
    return folder


def _read(folder: Path, names: Sequence[str]) -> List[Any]:
    pandas = importlib.import_module("pandas")
    return [pandas.read_csv(folder / f"{name}.csv") for name in names]


def _seconds(work: Callable[[], object]) -> float:
    began = time.perf_counter()
    work()
    return time.perf_counter() - began


def _check(recording: Path, wide: Path) -> None:
    """Both ways give as many frames, and the same ones: it is the same that is measured."""
    take = velmar.load(recording)
    table, = _read(wide, _WIDE)
    assert (table["frame_number"] == take.number[take.present]).all()
    assert table.shape[1] > 3 * len(take.markers) + 7 * len(take.bones)


def measure(frames: int) -> Iterator[Measured]:
    """Of the wide table and of the others: their name, and the seconds of `velmar.load` and of pandas, in turn."""
    with tempfile.TemporaryDirectory() as folder, warnings.catch_warnings():
        warnings.simplefilter("ignore")
        recording = Path(folder) / "person.pcap"
        _record(recording, frames)
        wide, tables = _export(recording, "wide", "--wide"), _export(recording, "tables")
        _check(recording, wide)
        readers: Dict[str, Callable[[], object]] = {
            "one wide table": lambda: _read(wide, _WIDE), "the tables": lambda: _read(tables, _TABLES)}
        for name, reader in readers.items():
            pairs = [(_seconds(lambda: velmar.load(recording)), _seconds(reader)) for _ in range(_REPETITIONS)]
            yield name, [ours for ours, _ in pairs], [theirs for _, theirs in pairs]


def main(arguments: Optional[Sequence[str]] = None) -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--frames", type=int, default=100_000, help="of the recording")
    options = parser.parse_args(arguments)
    texts = []
    for name, ours, theirs in measure(options.frames):
        load, table = statistics.median(ours), statistics.median(theirs)
        texts.append(f"{load:.2f} s, pandas.read_csv of {name} {table:.2f} s: {table / load:.1f} times as fast")
    print(f"velmar.load of {options.frames} person frames (medians of {_REPETITIONS}): {'; '.join(texts)}")


if __name__ == "__main__":
    main()
