"""What a frame says: every value is the one that was sent, and its arrays stay so for as long as somebody has them."""

from __future__ import annotations

import json
import pickle
import time
from pathlib import Path
from typing import Any, Dict, List

import numpy as np
import pytest

import children
import parts
import servers
import wire

import velmar

Rows = List[Dict[str, Any]]


def column(rows: Rows, *names: str) -> Any:
    """Members of exported rows as float32 (rows,), or (rows, names)."""
    values = np.array([[row[name] for name in names] for row in rows], "<f4").reshape(len(rows), len(names))
    return values[:, 0] if len(names) == 1 else values


def positions(rows: Rows) -> Any:
    return column(rows, "position_x_m", "position_y_m", "position_z_m")


def exported(recording: Path, folder: Path) -> Dict[int, Dict[str, Any]]:
    servers.run_tool("export", str(recording), "--format", "json", "-o", str(folder))
    rows = [json.loads(line) for line in (folder / "frames.jsonl").read_text().splitlines()]
    return {row["frame_number"]: row for row in rows}


def assert_bodies_as_exported(records: Any, rows: Rows, identifier: str) -> None:
    assert list(records["id"]) == [row[identifier] for row in rows]
    assert np.array_equal(records["position"], positions(rows))
    assert np.array_equal(records["orientation"], column(rows, *(f"orientation_{axis}" for axis in "xyzw")))
    assert np.array_equal(records["residual"], column(rows, "residual_m"))
    assert list(records["flags"]) == [row["flags"] for row in rows]


def assert_as_exported(frame: velmar.Frame, row: Dict[str, Any]) -> None:
    """Every part of a frame against what the tool's own decoder wrote of the same one."""
    code = frame.timecode
    assert row["timecode"] == (f"{code.hours:02}:{code.minutes:02}:{code.seconds:02}:{code.frames:02}."
                               f"{code.subframe:02}")
    assert row["auxiliary"] == [{"auxiliary_32": frame.aux_value_32, "auxiliary_64": frame.aux_value_64,
                                 "flags": frame.flags}]
    named = [marker for marker in row["markers"] if marker["marker_set"]]
    assert np.array_equal(np.concatenate([s.positions for s in frame.marker_sets]), positions(named))
    assert np.array_equal(frame.other_markers, positions([m for m in row["markers"] if not m["marker_set"]]))
    assert_bodies_as_exported(frame.rigid_bodies, row["rigid_bodies"], "rigid_body_id")
    assert_bodies_as_exported(np.concatenate([s.bones for s in frame.skeletons]), row["skeleton_bones"], "bone_id")
    assert [s.id for s in frame.skeletons] == list(dict.fromkeys(b["skeleton_id"] for b in row["skeleton_bones"]))
    assert np.array_equal(frame.analog, column(row["analog"], "value"))
    assert_markers_as_exported(frame, row)
    assert_plates_as_exported(frame, row["force_plates"])


def assert_markers_as_exported(frame: velmar.Frame, row: Dict[str, Any]) -> None:
    labeled = frame.labeled_markers
    assert list(labeled["id"]) == [m["marker_id"] for m in row["labeled_markers"]]
    assert list(labeled["skeleton_id"]) == [m["skeleton_id"] for m in row["labeled_markers"]]
    assert np.array_equal(labeled["position"], positions(row["labeled_markers"]))
    assert np.array_equal(labeled["size"], column(row["labeled_markers"], "diameter_m"))
    of_bodies = [frame.body_markers(i) for i in range(len(frame.rigid_bodies))]
    assert np.array_equal(np.concatenate([m.positions for m in of_bodies]), positions(row["body_markers"]))
    assert list(np.concatenate([m.ids for m in of_bodies])) == [m["marker_id"] for m in row["body_markers"]]
    assert np.array_equal(np.concatenate([m.sizes for m in of_bodies]), column(row["body_markers"], "diameter_m"))


def assert_plates_as_exported(frame: velmar.Frame, rows: Rows) -> None:
    assert len(frame.force_plates) == len(rows) == 2
    for plate, row in zip(frame.force_plates, rows):
        for ours, member in ((plate.force, "force_{}_N"), (plate.center_of_pressure, "center_of_pressure_{}_m")):
            assert np.allclose(ours, [row[member.format(axis)] for axis in "xyz"], rtol=1e-5, atol=1e-4), member
        assert plate.free_moment == pytest.approx(row["free_moment_Nm"], rel=1e-5, abs=1e-4)


BESIDE_A_RECORDING = """
    import pickle, sys, servers, velmar
    with velmar.connect("127.0.0.1", capacity=4096) as session:
        servers.run_tool("record", "127.0.0.1", "-o", sys.argv[1], "--seconds", "4.5")
        frames = [session.next_frame(timeout=10) for _ in range(session.feed.statistics.waiting)]
    with open(sys.argv[2], "wb") as file:
        pickle.dump(frames, file)
"""


def test_values_are_those_of_the_tools_decoder(simulate: Any, python: Any, tmp_path: Path) -> None:
    """Of a stream that goes over both force plates. A child reads it, as what is unloaded is told once a process."""
    simulate("--rate", "60", "--rigid-bodies", "3", "--other-markers", "2", "--skeletons", "2")
    recording, pickled = tmp_path / "walk.pcap", tmp_path / "walk.pickle"
    python(BESIDE_A_RECORDING, str(recording), str(pickled)).end(within=30).cleanly()
    rows = exported(recording, tmp_path / "walk")
    frames = {frame.number: frame for frame in pickle.loads(pickled.read_bytes())}
    assert len(rows) > 200 and set(rows) <= set(frames)
    for number, row in rows.items():
        assert_as_exported(frames[number], row)
    loads = np.array([[np.linalg.norm(plate.force) for plate in frames[number].force_plates] for number in rows])
    assert (loads.max(axis=0) > 100).all(), "nobody has walked over a plate"
    assert (loads.min(axis=0) < 1).all()


def test_frames_written_back_have_the_checksums_of_the_frame_log(simulate: Any, connect: Any) -> None:
    server = simulate("--rate", "250", "--skeletons", "2", "--rigid-bodies", "3", "--other-markers", "5",
                      "--analog", "7", "--marker-sets", "3")
    frames = [frame for frame, _ in zip(connect().frames(timeout=10), range(40))]
    server.stop()
    log = server.frame_log()
    assert [f.number for f in frames] == list(range(frames[0].number, frames[0].number + 40))
    for frame in frames:
        sent = log[frame.number].checksum
        assert (frame.aux_value_32, wire.checksum(parts.rewritten(frame, aux_32=0))) == (sent, sent)


FULL_BODIES = [wire.some_body(i, 200 if i == 500 else 0) for i in range(1000)]
EXTREMES: Dict[str, bytes] = {
    "nothing": wire.frame(1),
    "least numbers": wire.frame(-2**31, bodies=[wire.some_body(-2**31)], skeletons=[wire.skeleton(-2**31, [])]),
    "largest numbers": wire.frame(2**31 - 1, timecode=0xFFFFFFFF, subframe=0xFFFFFFFF, aux_32=0xFFFFFFFF,
                                  aux_64=2**64 - 1, flags=0xFFFF, labeled=[[0xFFFFFFFF] * 6]),
    "no numbers": wire.frame(1, other_markers=[[np.nan, np.inf, -np.inf]], analog=[np.nan, np.inf, -0.0]),
    "marker sets": wire.frame(1, marker_sets=[wire.marker_set(f"Set{i}", np.full((200 if i in (0, 199) else 1, 3), i))
                                              for i in range(200)]),
    "markers": wire.frame(1, other_markers=np.arange(3000).reshape(1000, 3),
                          labeled=np.arange(6000).reshape(1000, 6), analog=np.arange(32)),
    "bodies": wire.frame(1, bodies=FULL_BODIES),
    "skeletons": wire.frame(1, skeletons=[wire.skeleton(i, [wire.some_body(b, b % 3) for b in range(i % 7)])
                                          for i in range(100)]),
    "bones": wire.frame(1, skeletons=[wire.skeleton(5, FULL_BODIES[400:600])]),
    "everything": parts.rich_frame(),
    "the largest": wire.frame(1, bodies=FULL_BODIES, other_markers=np.ones((1000, 3)), labeled=np.ones((1000, 6)),
                              skeletons=[wire.skeleton(i, FULL_BODIES[:62]) for i in range(100)]),
}


def test_frames_come_as_they_were_sent_up_to_every_bound(script: Any, connect: Any) -> None:
    assert 2**18 < len(EXTREMES["the largest"]) < 256 * wire.FRAGMENT
    server, session = script(), connect()
    for case, body in EXTREMES.items():
        server.stream(body)
        frame = session.next_frame(timeout=10)
        assert parts.rewritten(frame) == body, case
        assert frame.labeled_markers.tobytes() == frame.labeled_marker_words.tobytes(), case


def test_shapes_and_types_are_the_documented_ones(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    server.stream(wire.frame(1), wire.frame(2, skeletons=-5), parts.rich_frame())
    for _ in range(2):
        empty = session.next_frame(timeout=10)
        assert empty.skeletons == () == empty.marker_sets == empty.force_plates
        assert {name: array.shape for name, array in parts.arrays(empty).items() if "field" not in name} == {
            "other_markers": (0, 3), "rigid_bodies": (0,), "analog": (0,), "labeled_markers": (0,),
            "labeled_marker_words": (0, 6)}
    rich = session.next_frame(timeout=10)
    assert rich.rigid_bodies.dtype == rich.skeletons[0].bones.dtype == velmar.RIGID_BODY
    assert rich.labeled_markers.dtype == velmar.LABELED_MARKER
    assert rich.skeletons[1].bones.shape == (0,)
    markers = rich.skeletons[0].bone_markers(0)
    kinds = [a.dtype for a in (rich.other_markers, rich.analog, rich.marker_sets[0].positions, markers.positions,
                               markers.sizes, markers.ids, rich.labeled_marker_words)]
    assert kinds == ["float32"] * 5 + ["int32", "uint32"]
    for wrong in (rich.body_markers, rich.skeletons[0].bone_markers, rich.skeletons[1].bone_markers):
        with pytest.raises(IndexError):
            wrong(3)


def test_the_timecode_reads_as_the_protocols_page_has_it(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    server.send(wire.LEAST_FRAME)
    frame = session.next_frame(timeout=10)
    code = frame.timecode
    assert (frame.number, code.hours, code.minutes, code.seconds, code.frames, code.subframe) == (1, 1, 2, 3, 4, 0)
    assert str(code) == "01:02:03:04.0"


NAMES = {b"LKNE": "LKNE", b"": "", b"x" * 256: "x" * 256, "Füße".encode(): "Füße", b"LKNE\0LANK": "LKNE"}


def test_names_are_read_to_their_end_and_of_any_bytes(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    odd = [b"a\xff\xfeb", "ä".encode() * 127 + b"xy\xc3"]
    server.stream(wire.frame(1, marker_sets=[wire.marker_set(raw, []) for raw in [*NAMES, *odd]]))
    frame = session.next_frame(timeout=10)
    names = [s.name for s in frame.marker_sets]
    assert names[:-2] == list(NAMES.values())
    assert names[-2][0] + names[-2][-1] == "ab" and names[-1].startswith("ä" * 127 + "xy")


def test_a_frame_that_cannot_be_decoded_is_counted_and_the_next_one_comes(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    too_many = wire.frame(2)[:4] + (201).to_bytes(4, "little") + wire.frame(2)[8:]
    server.stream(wire.frame(1), too_many, parts.rich_frame(3)[:-1], wire.frame(4))
    assert [session.next_frame(timeout=10).number for _ in range(2)] == [1, 4]
    seen = session.statistics
    assert (seen.messages_undecodable, seen.missing_undecodable, seen.lost, seen.frames_delivered) == (2, 2, 2, 2)


def test_times_are_those_of_the_arrival(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    wall, monotonic = time.time_ns(), time.monotonic_ns()
    server.stream(EXTREMES["the largest"])
    times = session.next_frame(timeout=10).times
    # The clocks are read one after the other; nothing here takes longer than this.
    slack = int(0.1e9 * children.SLOW)
    assert wall - slack <= times.first_arrival_ns < times.last_arrival_ns <= time.time_ns() + slack
    assert monotonic <= times.arrival_monotonic_ns + slack
    assert times.arrival_monotonic_ns <= times.delivery_monotonic_ns <= time.monotonic_ns()


def test_plates_are_computed_and_their_channels_taken(script: Any, python: Any) -> None:
    """By hand: force as sent; moments (50, 100, 20) over it; the point (1, -0.5) on a plate at (10, 20, 30)."""
    server = script({wire.DESCRIPTIONS: (wire.DESCRIPTIONS, wire.counted([wire.plate_entry()]))})
    child = python("""
        import velmar
        with velmar.connect("127.0.0.1") as session:
            print("connected")
            for number in 1, 2, 3:
                frame = session.next_frame(timeout=20)
                print([frame.number, frame.analog.tolist()] + [
                    (p.force.tolist(), p.center_of_pressure.tolist(), p.free_moment) for p in frame.force_plates])
    """)
    child.expect("connected")
    server.stream(wire.frame(1, analog=[0] * 6 + [0.5]), wire.frame(2, analog=[1, 2, -100, 0.05, 0.1, 0.02, 1.5]),
                  wire.frame(3, analog=[4, 5]))
    lines = [eval(line) for line in child.end(within=20).cleanly().splitlines()[1:]]
    assert lines[0] == [1, [0.5], ([0, 0, 0], [10, 20, 30], 0)]
    force, center, moment = lines[1][2]
    assert lines[1][:2] == [2, [1.5]] and force == [1, 2, -100]
    assert center == pytest.approx([11, 19.5, 30]) and moment == pytest.approx(17.5)
    assert lines[2] == [3, [4, 5]], "channels too few for the plate are the frame's"


def test_arrays_are_read_only_views(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    server.stream(parts.rich_frame())
    frame = session.next_frame(timeout=10)
    for name, array in parts.arrays(frame).items():
        assert not array.flags.writeable, name
        with pytest.raises(ValueError):
            array[...] = 0
        with pytest.raises(ValueError):
            array.flags.writeable = True
        copy = array.copy()
        copy[...] = 0
    assert frame.rigid_bodies.base is not None and frame.other_markers.base is not None
    assert parts.rewritten(frame) == parts.rich_frame()


def test_frames_are_the_same_after_pickling(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    for case, body in EXTREMES.items():
        server.stream(body)
        frame = session.next_frame(timeout=10)
        for protocol in range(2, pickle.HIGHEST_PROTOCOL + 1):
            again = pickle.loads(pickle.dumps(frame, protocol))
            assert parts.rewritten(again) == body and again.times == frame.times, (case, protocol)
    assert len(pickle.dumps(frame)) < 2 * len(body), "far more is pickled than there is in it"


OUTLIVING = """
    import gc, itertools, random, parts, servers, velmar, wire
    server = servers.ScriptedServer({**servers.FULL_ANSWERS,
                                     101: (101, wire.counted([wire.plate_entry()]))})
    def held_arrays(order, close):
        session = velmar.connect("127.0.0.1")
        feed = session.open_feed()
        server.stream(parts.rich_frame(analog=[0, 0, -9, 0, 0, 0, 7]))
        frame = feed.next_frame(timeout=20)
        arrays, before = parts.arrays(frame), parts.copies(frame)
        things = {"session": session, "feed": feed, "frame": frame,
                  "views": (frame.skeletons, frame.marker_sets, frame.force_plates)}
        del session, feed, frame
        for name in order:
            if close and name in ("session", "feed"):
                things[name].close()
            del things[name]
            gc.collect()
            spoil = [bytes([i]) * size for i in range(1, 9) for size in (16, 200, 3000, 90000)]
            assert not parts.differing(arrays, before), (order, close, name)
        return arrays, before
    for turn, order in enumerate(itertools.permutations(("session", "feed", "frame", "views"))):
        arrays, before = held_arrays(order, close=turn % 2)
        names = list(arrays)
        random.Random(turn).shuffle(names)
        for name in names:
            assert not parts.differing(arrays, before), (order, name)
            del arrays[name]
    session = velmar.connect("127.0.0.1")
    for name in before:
        server.stream(parts.rich_frame(analog=[0, 0, -9, 0, 0, 0, 7]))
        alone = parts.arrays(session.next_frame(timeout=20))[name]
        spoil = [bytes([i]) * size for i in range(1, 9) for size in (16, 200, 3000, 90000)]
        assert not parts.differing({name: alone}, before), name
    print(len(before))
"""


def test_arrays_outlive_everything_in_every_order(private_network: None, python: Any) -> None:
    said = python(OUTLIVING, environment=children.SPOILING).end(within=50).cleanly()
    assert int(said) > 30


STEADY = """
    import asyncio, collections, os, sys, velmar
    count = int(sys.argv[1])
    def resident():
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
    def touch(frame, held):
        held.append((frame.skeletons[0].bones["position"], frame.marker_sets[0].positions, frame.analog,
                     frame.body_markers(0).positions, frame.labeled_markers, frame.timecode, frame.times,
                     [plate.force for plate in frame.force_plates], frame.other_markers))
    async def awaited(session, held, number):
        for _ in range(number):
            touch(await session.next(timeout=20), held)
    with velmar.connect("127.0.0.1", capacity=64) as session:
        held = collections.deque(maxlen=10)
        sizes = []
        for part in [2000] + [count // 4] * 4:
            for frame, _ in zip(session.frames(timeout=20), range(part * 3 // 4)):
                touch(frame, held)
            asyncio.run(awaited(session, held, part // 4))
            sizes.append(resident())
    print([size - sizes[0] for size in sizes])
"""


def test_memory_is_constant_over_many_frames(simulate: Any, python: Any) -> None:
    """20,000 of them, or as many as VELMAR_PYTHON_FRAMES says."""
    simulate("--rate", "4000", "--rigid-bodies", "1", "--other-markers", "3")
    child = python(STEADY, str(children.FRAMES), environment=children.FRUGAL)
    growth = eval(child.end(within=30 + children.FRAMES / 2000).cleanly())
    # A leak of 100 bytes a frame would be 2 MB.
    assert growth[-1] < 2**20, growth
