"""Measures the Python package: what a frame costs beside a loop in C over the same feed, whether a busy program loses
frames, and how long a recording takes to load beside its table. One table of medians."""
from __future__ import annotations

import argparse
import json
import statistics
from typing import Any, Callable, Dict, List, Optional, Sequence, Tuple

import load
import reading
import stage

Row = Dict[str, Any]


def row(what: str, load: str, unit: str, ours: Sequence[float], floor: Sequence[float] = (), wanted: str = "",
        note: str = "") -> Row:
    values = [f"{statistics.median(list_):.2f} {unit}" if list_ else "-" for list_ in (ours, floor)]
    print(f"{what:44} {load:26} {values[0]:>14} {values[1]:>14} {wanted:>24}  {note}", flush=True)
    return {"what": what, "load": load, "unit": unit, "ours": list(ours), "floor": list(floor), "note": note}


def reading_rows(options: argparse.Namespace) -> List[Row]:
    what = "frame and a skeleton's positions"
    rows = [compared(what, "person, queued", reading.queued(options.loop, options.blocks), "10 us more than C")]
    for rate in (1000, 120):
        rows.append(compared(f"{what}, processor", f"person, paced at {rate} Hz",
                             reading.paced(options.loop, rate, options.blocks)))
    return rows


def compared(what: str, load: str, times: Tuple[List[float], List[float]], wanted: str = "") -> Row:
    python, c = times
    more = statistics.median(ours - floor for ours, floor in zip(python, c))
    return row(what, load, "us", python, c, wanted, f"{more:.2f} us more")


def stage_rows(options: argparse.Namespace) -> List[Row]:
    result = stage.beside_busy_threads(options.seconds)
    return [row("latency beside two busy threads", "stage at 1 kHz", "ms", result.latencies_ms, (), "no frame lost",
                f"{result.frames} frames, {result.missing} missing: {result.dropped} dropped, {result.lost} lost")]


def load_rows(options: argparse.Namespace) -> List[Row]:
    rows = []
    for name, ours, table in load.measure(options.frames):
        ratio = statistics.median(table) / statistics.median(ours)
        rows.append(row(f"load, beside pandas with {name}", f"{options.frames} person frames", "s", ours, table,
                        "5 times as fast", f"{ratio:.1f} times as fast"))
    return rows


def main(arguments: Optional[Sequence[str]] = None) -> None:
    parts: Dict[str, Callable[[argparse.Namespace], List[Row]]] = {
        "reading": reading_rows, "stage": stage_rows, "load": load_rows}
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--only", choices=parts)
    parser.add_argument("--seconds", type=float, default=600, help="of the stage")
    parser.add_argument("--blocks", type=int, default=15, help="of frames, of each reader")
    parser.add_argument("--frames", type=int, default=100_000, help="of the recording")
    parser.add_argument("--json", help="a file for the value of every repetition")
    parser.add_argument("--loop", required=True, help="the loop in C, as a shared library")
    options = parser.parse_args(arguments)
    print(f"{'':44} {'load':26} {'velmar':>14} {'floor':>14} {'wanted':>24}")
    rows = [line for name, part in parts.items() if options.only in (None, name) for line in part(options)]
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump(rows, file, indent=1)


if __name__ == "__main__":
    main()
