"""A session and its feeds: what the server says, which reader gets which frame, and how everything ends."""

from __future__ import annotations

import json
import re
import select
import threading
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from typing import Any, Dict, List

import numpy as np
import pytest

import children
import servers
import wire

import velmar

STATISTICS_HEADER = Path(__file__).parents[2] / "include" / "TarvoStream.h"


def numbers(feed: Any, count: int) -> List[int]:
    return [feed.next_frame(timeout=10).number for _ in range(count)]


def wait_until(condition: Any) -> None:
    deadline = time.monotonic() + 10 * children.SLOW
    while not condition():
        assert time.monotonic() < deadline
        time.sleep(0.002)


# What the server says.

def plain_body(body: Any) -> Dict[str, Any]:
    return {"name": body.name, "id": body.id, "parentId": -1 if body.parent_id is None else body.parent_id,
            "offset": np.float32(body.offset).tolist(), "orientation": np.float32(body.orientation).tolist()}


def plain_plate(plate: Any) -> Dict[str, Any]:
    return {"id": plate.id, "scaleFactor": plate.scale_factor, "channelLayout": plate.channel_layout,
            "origin": plate.origin.tolist(), "sensorOffset": plate.sensor_offset.tolist(),
            "rotation": plate.rotation.tolist(), "calibration": plate.calibration.tolist()}


def single(value: Any) -> Any:
    """JSON's numbers as the floats of 32 bits that they were written from."""
    if isinstance(value, float):
        return float(np.float32(value))
    if isinstance(value, list):
        return [single(item) for item in value]
    return {key: single(item) for key, item in value.items() if key != "type"} if isinstance(value, dict) else value


def test_descriptions_are_those_of_the_tool(simulate: Any, connect: Any) -> None:
    simulate("--rigid-bodies", "2", "--skeletons", "3", "--marker-sets", "2")
    said = json.loads(servers.run_tool("info", "127.0.0.1", "--json"))
    by_kind: Dict[str, List[Any]] = {}
    for entry in said["descriptions"]:
        by_kind.setdefault(entry["type"], []).append(single(entry))
    session = connect()
    found = session.descriptions
    assert [plain_plate(p) for p in found.force_plates] == by_kind["force plate"]
    assert [{"name": s.name, "markers": list(s.marker_names)} for s in found.marker_sets] == by_kind["marker set"]
    assert [plain_body(b) for b in found.rigid_bodies] == by_kind["rigid body"]
    assert [{"name": s.name, "id": s.id, "bones": [plain_body(b) for b in s.bones]}
            for s in found.skeletons] == by_kind["skeleton"]
    assert [{"name": g.name, "points": g.points.tolist()} for g in found.point_groups] == by_kind["point group"]
    server = session.server
    assert {"name": server.name, "version": server.version, "host": server.host, "frameRate": server.rate,
            "acceptsClient": True} == said["server"]


def test_descriptions_are_found_by_name_and_by_index(simulate: Any, connect: Any) -> None:
    simulate("--rigid-bodies", "2", "--skeletons", "2")
    found = connect().descriptions
    for collection, name in ((found.skeletons, "Figure2"), (found.rigid_bodies, "Body2"),
                             (found.marker_sets, "Figure2"), (found.point_groups, "Labelled markers"),
                             (found.skeletons[0].bones, "LeftFoot")):
        place = collection.index(name)
        assert collection[name] is collection[place] and collection[name].name == name
        for find in (collection.__getitem__, collection.index):
            with pytest.raises(KeyError, match=f"Nobody.*{name}|{name}.*Nobody"):
                find("Nobody")
        with pytest.raises(IndexError):
            collection[1000]
    skeleton = found.skeletons["Figure1"]
    assert skeleton.bone_names[skeleton.bones.index("LeftFoot")] == "LeftFoot"
    foot = skeleton.bones["LeftFoot"]
    assert [b.name for b in skeleton.bones if b.id == foot.parent_id] == ["LeftLeg"]
    assert skeleton.bones["Hips"].parent_id is None


def test_bones_stand_in_frames_as_the_descriptions_say(simulate: Any, connect: Any) -> None:
    """The page's formula, p + q o q*, with every bone, parent and offset of a frame: one wrong order breaks it."""
    simulate()
    session = connect()
    bones, frame = session.descriptions.skeletons[0].bones, session.next_frame(timeout=10)
    by_id = {int(record["id"]): record for record in frame.skeletons[0].bones}
    children_of_bones = [bone for bone in bones if bone.parent_id is not None]
    assert len(children_of_bones) == 20
    for bone in children_of_bones:
        parent = by_id[bone.parent_id]
        q, o = parent["orientation"], bone.offset
        t = np.cross(q[:3], o)
        u = np.cross(q[:3], t)
        assert np.allclose(parent["position"] + o + 2 * (q[3] * t + u), by_id[bone.id]["position"], atol=1e-5)


def test_of_another_server_names_and_words_are_known(script: Any, connect: Any) -> None:
    block = wire.body_block("Stick", range(1, 10))
    unending = wire.body_block(b"B\xff" + b"x" * 300)
    entries = [wire.rigid_body_entry(block), wire.skeleton_entry("Ann", 4, [block, unending]),
               wire.marker_set_entry("Set", ["a" * 256, "b\0c"]), (99).to_bytes(4, "little"),
               wire.marker_set_entry("", [])]
    script({wire.DESCRIPTIONS: (wire.DESCRIPTIONS, wire.counted(entries))})
    session = connect()
    assert session.server.name == "another server"
    assert (session.server.version, session.server.host, session.server.rate) == (None, None, None)
    found = session.descriptions
    stick = found.rigid_bodies["Stick"]
    assert stick.words.tobytes() == block and stick.words.shape == (73,)
    assert found.skeletons["Ann"].id == 4 and found.skeletons["Ann"].bone_names[0] == "Stick"
    assert found.skeletons["Ann"].bones["Stick"].words.tobytes() == block
    assert found.skeletons["Ann"].bones[1].name.startswith("B")
    assert list(found.marker_sets["Set"].marker_names) == ["a" * 256, "b"]
    assert len(found.marker_sets) == 2 and len(found.force_plates) == len(found.point_groups) == 0


def test_descriptions_need_no_server_that_describes_itself(script: Any, connect: Any) -> None:
    script({wire.SERVER_DESCRIPTION: None,
            wire.DESCRIPTIONS: (wire.DESCRIPTIONS, wire.counted([wire.marker_set_entry("Set", ["LKNE"])]))})
    assert connect().descriptions.marker_sets["Set"].marker_names == ("LKNE",)


def test_descriptions_are_asked_once_and_again_on_demand(script: Any, connect: Any) -> None:
    server = script({wire.DESCRIPTIONS: (wire.DESCRIPTIONS, wire.counted([wire.marker_set_entry("Old", [])]))})
    session = connect()
    assert session.descriptions.marker_sets["Old"] is session.descriptions.marker_sets[0]
    server.answer(wire.DESCRIPTIONS, wire.DESCRIPTIONS, wire.counted([wire.marker_set_entry("New", [])]))
    assert session.descriptions.marker_sets[0].name == "Old"
    session.ask_descriptions()
    assert session.descriptions.marker_sets[0].name == "New"


# What happened to every frame.

def test_statistics_have_every_value_of_the_header(script: Any, connect: Any) -> None:
    record = re.search(r"typedef struct sStreamStatistics \{(.*?)\} sStreamStatistics;",
                       re.sub(r"/\*.*?\*/", "", STATISTICS_HEADER.read_text(), flags=re.DOTALL), re.DOTALL)
    assert record is not None
    fields = re.findall(r"uint64_t (\w+);", record[1])
    server, session = script(), connect()
    server.stream(wire.frame(5), wire.frame(6), wire.frame(6), wire.frame(2))
    server.send(b"short", wire.LEAST_FRAME + b"?", b"?" + wire.LEAST_FRAME[1:])
    numbers(session, 4)
    wait_until(lambda: session.statistics.rejected_foreign == 1)
    seen = session.statistics
    for field in fields:
        assert isinstance(getattr(seen, re.sub(r"([A-Z])", r"_\1", field).lower()), int), field
    assert (seen.datagrams, seen.rejected_too_short, seen.rejected_wrong_length, seen.rejected_foreign) == (7, 1, 1, 1)
    assert (seen.frames_delivered, seen.frames_repeated, seen.numbers_went_back, seen.lost) == (4, 1, 1, 0)
    assert seen.bytes == 6 * 66 + 6 and seen.interface_name == "lo"
    assert 0 < seen.delay_median_ns <= seen.delay_largest_ns


def test_lost_frames_are_counted_as_the_frame_log_has_them(simulate: Any, connect: Any) -> None:
    server = simulate("--rate", "400", "--skip", "0.1", "--lose-frames", "0.1", "--lose-middle", "0.1", "--seed", "3",
                      "--other-markers", "300")
    session = connect()
    got = numbers(session, 300)
    server.stop()
    with pytest.raises(velmar.Timeout):
        while True:
            got.append(session.next_frame(timeout=0.5).number)
    seen = session.statistics
    log = {number: line.state for number, line in server.frame_log().items() if got[0] <= number <= got[-1]}
    assert got == [number for number, state in log.items() if state == "whole"]
    assert seen.frames_delivered == len(got) and seen.lost == len(log) - len(got) > 20
    assert seen.missing_incomplete > 0
    assert seen.lost == (seen.missing_too_slow + seen.missing_incomplete + seen.missing_undecodable
                         + seen.missing_never_seen)


# Feeds.

def test_each_feed_keeps_the_newest_frames_and_counts_the_others(script: Any, connect: Any) -> None:
    server, session = script(), connect(capacity=4)
    with session.open_feed() as wide, session.open_feed(capacity=1) as narrow:
        server.stream(*map(wire.frame, range(1, 11)))
        wait_until(lambda: wide.statistics.received == 10)
        for feed, capacity in ((session.feed, 4), (wide, 2048), (narrow, 1)):
            seen = feed.statistics
            kept = min(capacity, 10)
            assert (seen.capacity, seen.received, seen.dropped, seen.waiting) == (capacity, 10, 10 - kept, kept)
            assert numbers(feed, kept) == list(range(11 - kept, 11))
    assert session.statistics.feeds_dropped == 15


def test_a_feeds_descriptor_tells_of_frames(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    with session.open_feed() as feed:
        assert select.select([feed], [], [], 0)[0] == []
        server.stream(wire.frame(1), wire.frame(2))
        assert select.select([feed], [], [], 10)[0] == [feed]
        wait_until(lambda: feed.statistics.waiting == 2)
        assert numbers(feed, 2) == [1, 2]
        assert select.select([feed], [], [], 0)[0] == []


def test_frames_of_one_feed_go_to_one_thread_each(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    def read(_: int) -> List[int]:
        return [frame.number for frame in session.frames()]
    with ThreadPoolExecutor(4) as pool:
        readers = [pool.submit(read, i) for i in range(4)]
        server.stream(*map(wire.frame, range(400)))
        wait_until(lambda: session.feed.statistics.received == 400 and session.feed.statistics.waiting == 0)
        session.close()
        assert sorted(sum((reader.result(timeout=10) for reader in readers), [])) == list(range(400))


def test_two_sessions_do_not_touch_each_other(script: Any, connect: Any) -> None:
    server, one, other = script(), connect(), connect()
    server.stream(wire.frame(1))
    assert numbers(one, 1) == numbers(other, 1) == [1]
    one.close()
    server.stream(wire.frame(2), wire.frame(3))
    assert numbers(other, 2) == [2, 3] and other.statistics.lost == 0


# Waiting.

def test_time_outs_last_as_long_as_they_say(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    for timeout in (0, 0.05, 0.4):
        for wait in (session.next_frame, session.feed.next_frame, lambda limit: next(session.frames(timeout=limit))):
            start = time.monotonic()
            with pytest.raises(velmar.Timeout, match="velmar doctor") as raised:
                wait(timeout)
            assert timeout <= time.monotonic() - start < timeout + 0.2 * children.SLOW
            assert isinstance(raised.value, TimeoutError) and isinstance(raised.value, velmar.VelmarError)
    server.stream(wire.frame(1))
    assert session.next_frame(timeout=10).number == 1


def test_long_time_outs_do_not_wrap(script: Any, connect: Any) -> None:
    """Beyond 32 bits of milliseconds, and at what stands there for no limit."""
    server, session = script(), connect()
    for number, timeout in enumerate((4294967.295, 4294967.3, 1e9, 1e15)):
        with ThreadPoolExecutor(1) as pool:
            waiting = pool.submit(session.next_frame, timeout=timeout)
            with pytest.raises(BaseException):
                waiting.result(timeout=0.05)
            assert not waiting.done(), timeout
            server.stream(wire.frame(number))
            assert waiting.result(timeout=10).number == number


def test_an_iterator_goes_on_after_a_time_out_and_after_a_break(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    frames = iter(session.frames(timeout=0.05))
    for _ in range(2):
        with pytest.raises(velmar.Timeout):
            next(frames)
    server.stream(*map(wire.frame, range(1, 7)))
    wait_until(lambda: session.feed.statistics.waiting == 6)
    assert next(frames).number == 1
    for frame in session.frames(timeout=1):
        assert frame.number == 2
        break
    abandoned = session.frames(timeout=1)
    assert next(abandoned).number == 3
    del abandoned
    assert next(frames).number == 4 and numbers(session, 2) == [5, 6]


# The end.

@pytest.mark.parametrize("what", ["session", "feed"])
def test_closing_ends_every_wait_of_other_threads(script: Any, connect: Any, what: str) -> None:
    server, session = script(), connect()
    feed = session.open_feed()
    def iterate() -> List[int]:
        return [frame.number for frame in feed.frames()]
    with ThreadPoolExecutor(3) as pool:
        iterating = pool.submit(iterate)
        server.stream(wire.frame(1))
        wait_until(lambda: feed.statistics.received == 1 and feed.statistics.waiting == 0)
        waiting = [pool.submit(feed.next_frame, timeout) for timeout in (None, 50)]
        start = time.monotonic()
        (session if what == "session" else feed).close()
        assert iterating.result(timeout=10) == [1]
        for wait in waiting:
            with pytest.raises(velmar.SessionClosed):
                wait.result(timeout=10)
        assert time.monotonic() - start < children.SLOW
    assert session.closed == (what == "session")


def test_closing_ends_a_question_of_another_thread(script: Any, connect: Any) -> None:
    server = script({wire.DESCRIPTIONS: None})
    session = connect()
    with ThreadPoolExecutor(1) as pool:
        asking = pool.submit(session.ask_descriptions)
        server.expect(wire.DESCRIPTIONS)
        start = time.monotonic()
        session.close()
        with pytest.raises(velmar.SessionClosed):
            asking.result(timeout=10)
    assert time.monotonic() - start < children.SLOW


def test_what_has_ended_says_so(script: Any, connect: Any) -> None:
    script()
    session = connect()
    feed, closed_feed = session.open_feed(), session.open_feed()
    frames = session.frames()
    assert not session.closed
    closed_feed.close()
    session.close()
    session.close()
    assert session.closed
    uses = {
        "next_frame": session.next_frame, "next_frame in time": lambda: session.next_frame(timeout=0),
        "open_feed": session.open_feed, "ask_descriptions": session.ask_descriptions,
        "feed.next_frame": feed.next_frame, "closed feed": closed_feed.next_frame,
        "feed's descriptor": feed.fileno, "closed feed's descriptor": closed_feed.fileno,
    }
    for name, use in uses.items():
        with pytest.raises(velmar.SessionClosed):
            pytest.fail(f"{name} gives {use()}")
    assert list(frames) == [], "an iterator ends with the session"
    feed.close()
    closed_feed.close()


def test_a_with_block_closes_and_lets_exceptions_through(script: Any, connect: Any) -> None:
    script()
    for error in (ZeroDivisionError, velmar.Timeout, KeyboardInterrupt):
        with pytest.raises(error):
            with connect() as session:
                with session.open_feed() as feed:
                    raise error("of the program")
        assert session.closed
        with pytest.raises(velmar.SessionClosed):
            feed.next_frame(timeout=0)


def test_a_session_closed_from_many_threads_ends_once(script: Any, connect: Any) -> None:
    server = script()
    for _ in range(10):
        session = connect()
        feeds = [session.open_feed() for _ in range(4)]
        together = threading.Barrier(9)
        def end(thing: Any) -> None:
            together.wait(10)
            thing.close()
        def use(feed: Any) -> None:
            together.wait(10)
            for _ in feed.frames():
                pass
        with ThreadPoolExecutor(9) as pool:
            work = [pool.submit(end, thing) for thing in (session, session, *feeds[:2])]
            work += [pool.submit(use, feed) for feed in (*feeds, session)]
            server.stream(*map(wire.frame, range(20)))
            for done in work:
                error = done.exception(timeout=10)
                assert error is None or isinstance(error, velmar.SessionClosed)


CLOSED_IN_THE_MIDST = """
    import os, sys, threading, servers, velmar, wire
    server = servers.ScriptedServer(servers.FULL_ANSWERS)
    package = os.path.dirname(velmar.__file__)
    uses = {
        "statistics": lambda session, feed: session.statistics,
        "server": lambda session, feed: session.server,
        "open_feed": lambda session, feed: session.open_feed(capacity=1),
        "feed.statistics": lambda session, feed: feed.statistics,
        "feed.fileno": lambda session, feed: feed.fileno(),
        "feed.next_frame": lambda session, feed: feed.next_frame(timeout=0),
        "feed.next": lambda session, feed: feed.next(timeout=0).send(None),
        "feed.close": lambda session, feed: feed.close(),
        "close": lambda session, feed: session.close(),
    }
    def used_until(step, use):
        # Whether the use came to that step of the package's code, where it stood still until the session was closed.
        session = velmar.connect("127.0.0.1", force_plates=False)
        feed = session.open_feed()
        steps, there, closed, wrong = [], threading.Event(), threading.Event(), []
        def stop(frame, event, arg):
            if not frame.f_code.co_filename.startswith(package):
                return None
            place = f"{os.path.basename(frame.f_code.co_filename)}:{frame.f_lineno}"
            if place in steps:
                return stop
            steps.append(place)
            if len(steps) == step:
                there.set()
                closed.wait(0.04)
            return stop
        def run():
            sys.settrace(stop)
            try:
                use(session, feed)
            except velmar.VelmarError:
                pass
            except BaseException as error:
                wrong.append(repr(error))
            finally:
                sys.settrace(None)
                there.set()
        user = threading.Thread(target=run)
        user.start()
        there.wait()
        session.close()
        closed.set()
        user.join()
        if wrong:
            print(name, "at", steps[step - 1], *wrong, file=sys.stderr)
        return len(steps) >= step
    for name, use in uses.items():
        step = 1
        while used_until(step, use):
            step += 1
        print(name, step)
"""


def test_a_session_may_be_closed_at_any_step_of_its_use(private_network: None, python: Any) -> None:
    said = python(CLOSED_IN_THE_MIDST, environment=children.SPOILING).end(within=40).cleanly()
    assert all(int(line.split()[1]) > 3 for line in said.splitlines()), said


# What a process has, once threads that were joined have left the system's list.
USED = """
    import os, sys, time, velmar
    def used():
        with open("/proc/self/statm") as file:
            resident = int(file.read().split()[1]) * os.sysconf("SC_PAGE_SIZE")
        end = time.monotonic() + 0.2
        threads = [len(os.listdir("/proc/self/task"))]
        while time.monotonic() < end and min(threads) > 1:
            threads.append(len(os.listdir("/proc/self/task")))
        return min(threads), len(os.listdir("/proc/self/fd")), resident
"""
MANY_CONNECTS = USED + """
    import asyncio
    async def awaited(session):
        abandoned = asyncio.ensure_future(session.feed.next())
        await session.next(timeout=20)
        with session.open_feed() as closed:
            waiting = asyncio.ensure_future(closed.next())
            await asyncio.sleep(0)
        await asyncio.gather(waiting, return_exceptions=True)
    def connect_in_each_way(number):
        session = velmar.connect("127.0.0.1")
        feed = session.open_feed(capacity=8)
        feed.fileno()
        frames = feed.frames(timeout=20)
        held = next(frames).skeletons[0].bones
        session.descriptions.skeletons["Figure1"]
        asyncio.run(awaited(session))
        if number % 5 == 0:
            return held                  # dropped with everything
        if number % 5 == 1:
            feed.close()
        with session:
            if number % 5 == 2:
                del feed, frames
        return held
    for number in range(20):
        held = connect_in_each_way(number)
    before = used()
    for number in range(int(sys.argv[1])):
        held = connect_in_each_way(number)
    after = used()
    print([b - a for a, b in zip(before, after)])
"""


def test_many_connects_leave_nothing(simulate: Any, python: Any) -> None:
    """50 of them, or as many as VELMAR_PYTHON_CONNECTS says."""
    count = children.CONNECTS
    simulate("--rate", "2000")
    child = python(MANY_CONNECTS, str(count), environment=children.FRUGAL)
    threads, descriptors, memory = eval(child.end(within=20 + count / 10).cleanly())
    assert (threads, descriptors) == (0, 0)
    # Ten kilobytes a connect would be a leak; a few connects say less than many.
    assert memory < 2**20 + count * 500, memory


def test_connecting_fails_without_leaving_anything(script: Any, python: Any) -> None:
    script({wire.VERSION_REQUEST: (wire.VERSION_REPLY, wire.REFUSED)})
    child = python(USED + """
    def refused():
        try:
            velmar.connect("127.0.0.1")
        except velmar.VersionRefused:
            return used()[:2]
    first = refused()
    print({refused() for _ in range(20)} == {first})
""")
    assert child.end(within=20).cleanly() == "True\n"


def test_the_server_may_be_named(script: Any) -> None:
    script()
    with velmar.connect("localhost", force_plates=False) as session:
        assert session.server.name == "another server"
    with velmar.connect("127.0.0.1", interface="127.0.0.1", force_plates=False) as session:
        assert session.statistics.interface_name == "lo"
