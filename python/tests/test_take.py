"""Recordings: velmar.load gives what `velmar export` writes of the same file, and says what is wrong with others."""

from __future__ import annotations

import io
import json
import os
import pickle
import random
import re
import signal
import sys
import tempfile
import threading
import time
import warnings
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any, Callable, Dict, List, Sequence, Tuple

import numpy as np
import pytest

import children
import take_files as files
import velmar
import wire
from servers import run_tool
from velmar import _recording as recordings

FAULTS = ("--lose-frames", "0.05", "--skip", "0.03", "--duplicate", "0.02", "--reorder", "0.02", "--seed", "7")


def same(actual: Any, expected: Any, what: str = "") -> None:
    """NaN equals NaN."""
    np.testing.assert_array_equal(actual, expected, what)


@pytest.fixture(scope="module")
def walk(private_network: None, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """Two figures and two bodies over both plates, with frames that were lost, doubled or late."""
    return files.record(tmp_path_factory.mktemp("take") / "walk.pcap", 500, "--rate", "500", "--skeletons", "2",
                        "--rigid-bodies", "2", "--other-markers", "1", "--analog", "3", *FAULTS)


@pytest.fixture(scope="module")
def person(private_network: None, tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A figure, whole."""
    return files.record(tmp_path_factory.mktemp("take") / "person.pcap", 40, "--rate", "500")


@pytest.fixture
def made(tmp_path: Path) -> Callable[..., velmar.Take]:
    """made(packets): the take of a capture file with these packets."""
    def make(packets: Sequence[bytes], **options: Any) -> velmar.Take:
        (tmp_path / "made.pcap").write_bytes(files.capture(packets, options.pop("seconds", None)))
        return velmar.load(tmp_path / "made.pcap", **options)
    return make


def first_and_last(take: velmar.Take) -> Tuple[int, int]:
    return int(take.number[100]), int(take.number[200])


@pytest.mark.parametrize("options", ["whole", "part", "unloaded", "rate"])
def test_values_are_those_of_the_table(walk: Path, options: str) -> None:
    first, last = first_and_last(velmar.load(walk))
    cases: Dict[str, Tuple[List[str], Dict[str, Any]]] = {
        "whole": ([], {}),
        "part": (["--from", "0.1s", "--to", str(last)], {"start": 0.1, "stop": np.int64(last)}),
        "unloaded": (["--unloaded", f"{first}-{last}"], {"unloaded": (first, last)}),
        "rate": (["--rate", "250"], {"rate": 250})}
    flags, arguments = cases[options]
    table, take = files.wide_table(walk, *flags), velmar.load(walk, **arguments)
    rows = table.first_rows
    assert len(rows) > 90 and set(take.number[take.present]) == set(rows)
    came = np.array([rows[number] for number in take.number[take.present]])
    same(take.arrival_ns[take.present], np.array(table.arrivals_ns)[came])
    np.testing.assert_allclose(take.time[take.present], np.array(table.seconds)[came], atol=6e-7)
    values = files.columns(take)
    assert list(values) == list(table.values)
    for name, column in values.items():
        same(column[take.present], table.values[name][came], name)
        assert np.isnan(column[~take.present]).all(), name


def test_lost_frames_keep_their_places(walk: Path) -> None:
    take = velmar.load(walk)
    lost = np.flatnonzero(~take.present)
    assert len(lost) > 20 and len(take) == len(take.time) == len(take.present)
    same(take.number, take.number[0] + np.arange(len(take)))
    same(take.time, np.arange(len(take)) / take.rate)
    assert take.rate == 500 and take.rate_source == "stated"
    assert not take.arrival_ns[lost].any() and np.isnan(take.bones.residual[lost]).all()


def test_residuals_and_names_are_those_of_the_frames(walk: Path) -> None:
    take = velmar.load(walk)
    skeletons = take.descriptions.skeletons
    assert list(take.bones) == [f"{each.name}:{bone}" for each in skeletons for bone in each.bone_names]
    assert list(take.rigid_bodies) == [body.name for body in take.descriptions.rigid_bodies]
    index = {number: i for i, number in enumerate(take.number.tolist())}
    for line in files.json_lines(walk):
        i = index[line["frame_number"]]
        for bodies, entries in ((take.rigid_bodies, "rigid_bodies"), (take.bones, "skeleton_bones")):
            same(bodies.residual[i], np.array([entry["residual_m"] for entry in line[entries]], np.float32))
    info = json.loads(run_tool("info", str(walk), "--json"))["recording"]
    assert take.statistics == info["statistics"] and take.statistics["missing_never_seen"] > 0
    assert take.server.is_simulated and take.server.rate == 500 and take.name == "walk" and take.path == str(walk)


def test_names_are_found_whole_and_by_their_last_part(walk: Path, person: Path) -> None:
    one, two = velmar.load(person), velmar.load(walk)
    same(one.markers["Hips"], one.markers["Figure1:Hips"])
    assert one.markers["Hips"].shape == (40, 3) and np.shares_memory(one.markers["Hips"], one.markers.array)
    assert np.shares_memory(one.bones["LeftFoot"].orientation, one.bones.orientation)
    assert not np.shares_memory(two.rigid_bodies.position, two.bones.position)
    assert "Hips" in one.bones and "Hips" not in two.bones and "Figure2:Hips" in two.bones
    for take, name, text in ((two, "Hips", "more than one bone is named 'Hips': Figure1:Hips, Figure2:Hips"),
                             (one, "Tail", r"no bone is named 'Tail'; there are: Figure1:Hips.* and 1 more"),
                             (one, "Figure2:Hips", "no bone is named 'Figure2:Hips'")):
        with pytest.raises(KeyError, match=text):
            take.bones[name]
    with pytest.raises(KeyError, match="no rigid body is named 'Stick': there is none"):
        one.rigid_bodies["Stick"]
    assert "40 frames at 500 Hz, 0 lost" in repr(one) and "Figure1:Hips" in repr(one.markers)


def test_numpy_and_pickle_keep_every_value(walk: Path) -> None:
    take = velmar.load(walk)
    arrays = take.to_numpy()
    assert {name: array.shape[1:] for name, array in arrays.items()} == {
        "time": (), "number": (), "present": (), "arrival_ns": (), "markers": (len(take.markers), 3),
        "marker_names": (), "bone_position": (42, 3), "bone_orientation": (42, 4), "bone_residual": (42,),
        "bone_names": (), "rigid_body_position": (2, 3), "rigid_body_orientation": (2, 4),
        "rigid_body_residual": (2,), "rigid_body_names": (), "plate_force": (2, 3),
        "plate_center_of_pressure": (2, 3), "plate_free_moment": (2,), "analog": (3,)}
    for name, track in take.markers.items():
        same(arrays["markers"][:, arrays["marker_names"].tolist().index(name)], track)
    same(arrays["plate_force"][:, 1], take.force_plates[1].force)
    file = io.BytesIO()
    np.savez(file, **arrays)
    file.seek(0)
    copy, stored = pickle.loads(pickle.dumps(take)), np.load(file)
    values = files.columns(take)
    del take
    for name, column in files.columns(copy).items():
        same(column, values[name], name)
    for name, array in arrays.items():
        same(stored[name], array, name)


@pytest.mark.filterwarnings("ignore:indexing past lexsort depth")
def test_pandas_gets_every_value(walk: Path, made: Callable[..., velmar.Take],
                                 monkeypatch: pytest.MonkeyPatch) -> None:
    pytest.importorskip("pandas")
    take = velmar.load(walk)
    table = take.to_pandas()
    assert table.columns.names == ["kind", "name", "component"] and table.index.name == "time"
    same(table.index, take.time)
    same(table["frame", "number", ""], take.number)
    assert table["frame", "present", ""].dtype == bool
    same(table["marker", "Figure2:Hips"], take.markers["Figure2:Hips"])
    for kind, bodies in (("bone", take.bones), ("rigid body", take.rigid_bodies)):
        for name, body in bodies.items():
            same(table[kind, name], np.column_stack([body.position, body.orientation, body.residual]))
    same(table["force plate", "2"].to_numpy()[:, :3], take.force_plates[1].force)
    same(table["analog"], take.analog)
    assert made(files.stream(wire.frame(1))).to_pandas().shape == (1, 3)
    modules: Dict[str, Any] = sys.modules
    monkeypatch.setitem(modules, "pandas", None)
    with pytest.raises(ImportError, match="python3-pandas"):
        take.to_pandas()


def test_a_cut_file_is_read_as_far_as_it_goes(person: Path, tmp_path: Path) -> None:
    content = person.read_bytes()
    whole, cut = velmar.load(person), tmp_path / "cut.pcap"
    arrays, ends, frames = whole.to_numpy(), set(files.ends_of_records(content)), 0
    for length in sorted({*range(0, len(content), 1999), *ends, *(end - 1 for end in ends)}):
        cut.write_bytes(content[:length])
        with warnings.catch_warnings(record=True) as warned:
            warnings.simplefilter("always")
            try:
                take = velmar.load(cut)
            except velmar.RecordingError as error:
                assert str(cut) in str(error) and frames == 0
                continue
        assert [each.category for each in warned] == [] if length in ends else [velmar.DamagedRecording]
        assert any("is damaged" in line for line in take.concerns) == (length not in ends)
        assert frames <= len(take) <= frames + 1
        frames = len(take)
        for name, array in take.to_numpy().items():
            expected = arrays[name] if name.endswith("_names") else arrays[name][:frames]
            same(array, expected, f"{name} of {length} bytes")
    assert frames == len(whole)


@pytest.mark.filterwarnings("ignore::velmar.DamagedRecording")
def test_whatever_a_file_holds_is_read_or_refused(person: Path, tmp_path: Path) -> None:
    content, dice, file = person.read_bytes()[:40_000], random.Random(3), tmp_path / "any.pcap"
    read = 0
    for _ in range(300):
        changed = bytearray(content)
        for _ in range(dice.randrange(1, 40)):
            at = dice.randrange(24, len(changed))
            changed[at] = dice.choice((0, 1, 0x7F, 0x80, 0xFF, dice.randrange(256)))
        file.write_bytes(changed)
        try:
            take = velmar.load(file)
        except velmar.RecordingError as error:
            assert str(file) in str(error)
            continue
        read += 1
        assert len(take) == len(take.markers.array) == len(take.bones.residual) == len(take.analog)
        take.to_numpy()
    assert read > 30


def foreign() -> Dict[str, Tuple[bytes, str]]:
    lacks = wire.marker_set("Ann", [[1, 2, 3]] * 4)[:-1]
    return {
        "empty": (b"", "it is empty"),
        "text": (b"frame,x,y,z\n" * 100, "is not a capture file"),
        "picture": (b"\x89PNG\r\n\x1a\n\0\0\0\rIHDR" + bytes(100), "is not a capture file"),
        "packets of none": (files.capture([]), "holds no frame sent to 239.239.239.52:5231"),
        "another stream": (files.capture([files.packet(wire.LEAST_FRAME, to=("239.1.2.3", 5231))]), "holds no frame"),
        "another protocol": (files.capture([files.packet(b"hello" * 20)]), "holds no frame"),
        "undecodable": (files.capture(files.stream(wire.frame(1)[:4] + b"\1\0\0\0" + lacks)),
                        "none of its frames can be decoded"),
        "another link": (files.capture([b"x" * 60], link=105), "was captured on a link of type 105")}


@pytest.mark.parametrize("name", foreign())
def test_what_is_no_recording_is_refused(name: str, tmp_path: Path) -> None:
    content, text = foreign()[name]
    file = tmp_path / name
    file.write_bytes(content)
    before = len(os.listdir("/proc/self/fd"))
    with pytest.raises(velmar.RecordingError, match=re.escape(text)) as caught:
        velmar.load(file)
    assert str(file) in str(caught.value) and len(os.listdir("/proc/self/fd")) == before


def test_what_cannot_be_opened_is_refused(tmp_path: Path) -> None:
    os.mkfifo(tmp_path / "pipe")
    for path, text in ((tmp_path, "it is no regular file"), (tmp_path / "pipe", "it is no regular file"),
                       (tmp_path / "none.pcap", "No such file or directory"),
                       (tmp_path / ("x" * 300), "File name too long|no regular file")):
        with pytest.raises(velmar.RecordingError, match=text) as caught:
            velmar.load(path)
        assert str(path) in str(caught.value)


@pytest.mark.skipif(os.geteuid() != 0, reason="needs a second user")
def test_a_file_of_somebody_else_is_refused(person: Path) -> None:
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o755)
        file = Path(folder) / "secret.pcap"
        file.write_bytes(person.read_bytes())
        os.chmod(file, 0o600)
        velmar.load(file)
        os.seteuid(65534)
        try:
            with pytest.raises(velmar.RecordingError, match="secret.pcap cannot be read: Permission denied"):
                velmar.load(file)
        finally:
            os.seteuid(0)


@pytest.mark.parametrize("arguments, kind, text", [
    ({"start": "3s"}, TypeError, "start takes a frame's number"),
    ({"stop": True}, TypeError, "stop takes a frame's number"),
    ({"start": -0.5}, ValueError, "0 or more"),
    ({"stop": float("nan")}, ValueError, "0 or more"),
    ({"start": 2**31}, ValueError, "32 bits"),
    ({"start": 7, "stop": 6}, ValueError, "6 comes before 7"),
    ({"start": 0.7, "stop": 0.6}, ValueError, "0.6 comes before 0.7"),
    ({"unloaded": 5}, TypeError, "a first and a last frame"),
    ({"unloaded": (5,)}, TypeError, "a first and a last frame"),
    ({"unloaded": (1.5, 2.5)}, TypeError, "by their numbers, as ints, not 1.5"),
    ({"unloaded": (6, 5)}, ValueError, "5 comes before 6"),
    ({"unloaded": (0, 2**31)}, ValueError, "32 bits"),
    ({"rate": "120"}, TypeError, "rate takes frames a second"),
    ({"rate": 0}, ValueError, "0.01 to 100000"),
    ({"rate": float("nan")}, ValueError, "0.01 to 100000"),
    ({"start": 2**31 - 1}, velmar.RecordingError, "holds no frame from frame 2147483647"),
    ({"start": 5e3}, velmar.RecordingError, "holds no frame from 5000 s"),
    ({"unloaded": (-7, -1)}, velmar.RecordingError, "has no readings of force plates in frames -7 to -1"),
])
def test_arguments_that_make_no_sense(person: Path, arguments: Dict[str, Any], kind: type, text: str) -> None:
    with pytest.raises(kind, match=text):
        velmar.load(person, **arguments)


def test_paths_that_are_none() -> None:
    paths: List[Tuple[Any, Any]] = [(5, TypeError), (None, TypeError), ("a\0b", ValueError), ("\ud800", ValueError)]
    for path, kind in paths:
        with pytest.raises(kind):
            velmar.load(path)


def test_numbers_that_leave_out_go_back_or_go_round(made: Callable[..., velmar.Take]) -> None:
    for came, number in (([7, 9, 10], [7, 8, 9, 10]), ([7, 8, 1, 2], [7, 8, 1, 2]), ([7, 9, 8], [7, 8, 9]),
                         ([2**31 - 2, 2**31 - 1, -2**31], [2**31 - 2, 2**31 - 1, -2**31]),
                         ([1, 5_000_000, 5_000_001], [1, 5_000_000, 5_000_001]), ([3, 3, 4], [3, 4])):
        take = made(files.simulated(100) + files.stream(*(wire.frame(each) for each in came)))
        assert take.number.tolist() == number
        assert take.present.tolist() == [each in came for each in number]


def test_long_takes_are_whole(made: Callable[..., velmar.Take]) -> None:
    came = [number for number in range(2500) if number not in (999, 1000, 2000)]
    take = made(files.simulated(100) + files.stream(
        *(wire.frame(number, marker_sets=[wire.marker_set("Ann", [[number, 1, 2]])]) for number in came)))
    same(take.number, np.arange(2500))
    same(np.flatnonzero(take.present), came)
    same(take.markers["Ann:1"][came, 0], came)


def test_what_some_frames_lack_is_missing(made: Callable[..., velmar.Take]) -> None:
    def body(number: int, sets: List[bytes], analog: Sequence[float]) -> bytes:
        return wire.frame(number, marker_sets=sets, analog=analog, bodies=[wire.some_body(8)] if number == 2 else [])
    take = made(files.stream(
        body(1, [wire.marker_set("Ann", [[1, 2, 3], [4, np.nan, 6]])], [1, 2]),
        body(2, [wire.marker_set("Ann", [[7, 8, np.inf]]), wire.marker_set("Ann", [[1, 1, 1]])], [3]),
        body(3, [], [np.inf, 5, 6])))
    missing = [np.nan] * 3
    assert list(take.markers) == ["Ann:1", "Ann:2", "Ann:1_2"] and list(take.rigid_bodies) == ["Body8"]
    same(take.markers.array, [[[1, 2, 3], missing, missing], [missing, missing, [1, 1, 1]], [missing] * 3])
    same(take.analog, [[1, 2, np.nan], [3, np.nan, np.nan], [np.inf, 5, 6]])
    same(np.isnan(take.rigid_bodies["Body8"].residual), [True, False, True])


def test_a_recording_without_descriptions_says_so(made: Callable[..., velmar.Take]) -> None:
    take = made(files.stream(*map(wire.frame, range(5))))
    assert take.markers.array.shape == (5, 0, 3) and take.to_numpy()["plate_force"].shape == (5, 0, 3)
    assert take.server.name == "" and len(take.descriptions.skeletons) == 0 and take.rate_source == "arrivals"
    assert any("neither the server's description nor data descriptions" in line for line in take.concerns)
    alone = made(files.stream(wire.frame(0), wire.frame(2_000_000_000)))
    assert alone.rate_source == "unknown" and "Name the rate with rate=" in alone.concerns[-1]


def test_names_are_text_and_differ(made: Callable[..., velmar.Take]) -> None:
    names = (b"A\xff", b"A\xfe", "ö".encode(), b"x" * 256, b"A:B")
    sets = [wire.marker_set(name, [[i, 0, 0]]) for i, name in enumerate(names)]
    take = made(files.stream(wire.frame(1, marker_sets=sets)))
    assert list(take.markers) == ["A:B:1", "A\ufffd:1", "A\ufffd:1_2", "x" * 256 + ":1", "ö:1"]
    assert [take.markers[name][0, 0] for name in take.markers] == [4, 1, 0, 3, 2]
    with pytest.raises(KeyError, match="more than one marker is named '1': A:B:1, A\ufffd:1, x+:1, ö:1"):
        take.markers["1"]


def test_few_frames_cannot_ask_for_all_memory(made: Callable[..., velmar.Take]) -> None:
    frames = [wire.frame(i * 5_900_000, marker_sets=[wire.marker_set("Ann", [[0, 0, 0]])]) for i in range(4)]
    with pytest.raises(velmar.RecordingError, match="would become 17700001 rows.*Take a part.*start and stop"):
        made(files.simulated(100_000) + files.stream(*frames), seconds=[0, 0, 59, 118, 177])


def test_loads_neither_share_a_stop_nor_values(walk: Path, person: Path) -> None:
    everything = recordings.Span(None, None, None, None)
    expected = velmar.load(walk).markers.array
    with ThreadPoolExecutor(4) as pool, recordings._Reader(str(walk)) as stopped:
        loads = [pool.submit(velmar.load, path) for path in [walk, person] * 10]
        stopped.stop()
        with pytest.raises(velmar.RecordingError, match="stopped before the end of .*walk.pcap"):
            pool.submit(stopped.open, everything).result()
        for load in loads[::2]:
            same(load.result().markers.array, expected)
    with recordings._Reader(str(walk)) as reader:
        reader.open(everything)
        arrays = recordings._arrays(reader.properties())
        reader.stop()
        with pytest.raises(velmar.RecordingError, match="stopped before the end of .*walk.pcap"):
            reader.fill(arrays)


@pytest.mark.parametrize("presses", [1, 5])
def test_ctrl_c_ends_a_load(tmp_path: Path, presses: int) -> None:
    frames = files.capture(files.stream(*map(wire.frame, range(1000))))
    long = tmp_path / "long.pcap"
    long.write_bytes(frames + frames[24:] * 1000)
    began = time.monotonic()
    velmar.load(long)
    takes = time.monotonic() - began
    load = children.python("import sys, velmar\nprint('loads')\nvelmar.load(sys.argv[1])", str(long))
    try:
        load.expect("loads")
        load.expect_asleep()
        for _ in range(presses):
            load.send(signal.SIGINT)
        ended = load.end(within=30)
        assert ended.code == -signal.SIGINT and "KeyboardInterrupt" in ended.err
        assert ended.seconds < takes / 4, f"a load takes {takes} s"
    finally:
        load.kill()
        long.unlink()


def test_loads_leave_nothing_behind(person: Path, tmp_path: Path) -> None:
    broken = tmp_path / "broken.pcap"
    broken.write_bytes(person.read_bytes()[:3000])

    def loads(count: int) -> Tuple[int, int]:
        for _ in range(count):
            velmar.load(person)
            with pytest.raises(velmar.RecordingError):
                velmar.load(broken)
        with open("/proc/self/statm") as file:
            return int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE"), len(os.listdir("/proc/self/fd"))
    _, descriptors = loads(50)
    resident, _ = loads(50)
    after, left = loads(150)
    # A take that were not closed would keep half a megabyte.
    assert after - resident < 16e6 * children.SLOW and left == descriptors and threading.active_count() < 5
