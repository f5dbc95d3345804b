"""Frames in an event loop: who waits gets its frame, and whoever goes takes none with it."""

from __future__ import annotations

import asyncio
import threading
import time
from typing import Any, Awaitable, Callable, List

import pytest

import children
import wire

import velmar

LIMIT = 10 * children.SLOW


def run(story: Callable[[], Awaitable[None]]) -> None:
    """Runs it in a loop of its own, which must find nothing to complain of."""
    complaints: List[Any] = []

    async def whole() -> None:
        asyncio.get_running_loop().set_exception_handler(lambda loop, context: complaints.append(context))
        await asyncio.wait_for(story(), 3 * LIMIT)
    asyncio.run(whole())
    assert complaints == []


async def until(condition: Callable[[], Any]) -> None:
    deadline = time.monotonic() + LIMIT
    while not condition():
        assert time.monotonic() < deadline
        await asyncio.sleep(0.002)


async def started(*tasks: Any) -> Any:
    """Lets tasks run to where they wait."""
    for _ in range(5):
        await asyncio.sleep(0)
    assert not any(task.done() for task in tasks)


def test_frames_come_one_by_one_and_in_a_loop(script: Any, connect: Any) -> None:
    server, session = script(), connect()

    async def story() -> None:
        waiting = asyncio.ensure_future(session.next())
        await started(waiting)
        server.stream(*map(wire.frame, range(1, 12)))
        got = [(await waiting).number, (await session.next(timeout=LIMIT)).number,
               (await session.feed.next()).number]
        for stream in (session, session.frames(), session.feed, session.feed.frames(timeout=LIMIT)):
            async for frame in stream:
                got.append(frame.number)
                if len(got) % 2:
                    break
        assert got == list(range(1, len(got) + 1)) and len(got) == 11
    run(story)


def test_the_loop_runs_on_while_a_frame_is_awaited(script: Any, connect: Any) -> None:
    server, session = script(), connect()

    async def story() -> None:
        waiting = asyncio.ensure_future(session.next())
        ticks = 0
        end = time.monotonic() + 0.2
        while time.monotonic() < end:
            await asyncio.sleep(0)
            ticks += 1
        assert ticks > 100 / children.SLOW and not waiting.done()
        server.stream(wire.frame(1))
        assert (await waiting).number == 1
    run(story)


def test_other_tasks_run_while_frames_keep_coming(script: Any, connect: Any) -> None:
    """A reader that always finds a frame must not keep the loop to itself."""
    server, session = script(), connect(capacity=65536)
    server.stream(*map(wire.frame, range(500)))

    async def story() -> None:
        turns = 0

        async def count_turns() -> None:
            nonlocal turns
            while True:
                turns += 1
                await asyncio.sleep(0)
        await until(lambda: session.feed.statistics.waiting == 500)
        counting = asyncio.ensure_future(count_turns())
        number = 0
        async for frame in session.frames(timeout=LIMIT):
            number += 1
            if number == 500:
                break
        counting.cancel()
        assert turns > 1
    run(story)


@pytest.mark.parametrize("separate", [False, True], ids=["one feed", "two feeds"])
def test_several_tasks_share_a_feed_and_have_their_own(script: Any, connect: Any, separate: bool) -> None:
    server, session = script(), connect()
    feeds = [session.open_feed(), session.open_feed()] if separate else [session.feed]

    async def story() -> None:
        got: List[List[int]] = [[] for _ in range(4)]

        async def read(index: int) -> None:
            async for frame in feeds[index % len(feeds)].frames():
                got[index].append(frame.number)
        tasks = [asyncio.ensure_future(read(index)) for index in range(4)]
        await started(*tasks)
        for part in range(10):
            server.stream(*map(wire.frame, range(part * 20, part * 20 + 20)))
            await asyncio.sleep(0)
        await until(lambda: sum(map(len, got)) >= 200 * len(feeds))
        for index in range(len(feeds)):
            assert sorted(sum(got[index::len(feeds)], [])) == list(range(200))
        session.close()
        await asyncio.wait_for(asyncio.gather(*tasks), LIMIT)
    run(story)


def test_a_task_that_is_cancelled_takes_no_frame_with_it(script: Any, connect: Any) -> None:
    server, session = script(), connect()

    async def story() -> None:
        for turn in range(20):
            doomed, staying = (asyncio.ensure_future(session.next()) for _ in range(2))
            await started(doomed, staying)
            if turn % 2:
                server.stream(wire.frame(turn))
            doomed.cancel()
            if not turn % 2:
                server.stream(wire.frame(turn))
            with pytest.raises(asyncio.CancelledError):
                await doomed
            assert (await asyncio.wait_for(staying, LIMIT)).number == turn
    run(story)
    assert session.feed.statistics.received == 20


def test_a_cancelled_wait_leaves_its_frame_to_the_next(script: Any, connect: Any) -> None:
    server, session = script(), connect()

    async def story() -> None:
        for number in range(20):
            waiting = asyncio.ensure_future(session.next())
            await started(waiting)
            server.stream(wire.frame(number))
            await until(lambda: session.feed.statistics.received == number + 1)
            waiting.cancel()
            try:
                frame = await waiting
            except asyncio.CancelledError:
                frame = await session.next(timeout=LIMIT)
            assert frame.number == number
    run(story)


def test_time_outs_are_kept(script: Any, connect: Any) -> None:
    server, session = script(), connect()

    async def story() -> None:
        for timeout in (0, 0.05, 0.3):
            for wait in (session.next(timeout=timeout), session.frames(timeout=timeout).__anext__()):
                start = time.monotonic()
                with pytest.raises(velmar.Timeout, match="velmar doctor"):
                    await wait
                assert timeout * 0.99 <= time.monotonic() - start < timeout + 0.2 * children.SLOW
        with pytest.raises(asyncio.TimeoutError):
            await asyncio.wait_for(session.next(), 0.05)
        frames = session.frames(timeout=0.05)
        with pytest.raises(velmar.Timeout):
            await frames.__anext__()
        server.stream(wire.frame(1), wire.frame(2))
        assert (await frames.__anext__()).number == 1
        assert (await session.next(timeout=LIMIT)).number == 2
    run(story)


@pytest.mark.parametrize("where", ["in the loop", "in another thread"])
@pytest.mark.parametrize("what", ["session", "feed"])
def test_closing_ends_the_waits(script: Any, connect: Any, what: str, where: str) -> None:
    """Anew in the same loop, where the next feed may get the descriptor of the last."""
    server = script()

    async def story() -> None:
        for number in range(5):
            session = connect()
            feed = session.open_feed()

            async def iterate() -> List[int]:
                return [frame.number async for frame in feed]
            server.stream(wire.frame(number))
            iterating = asyncio.ensure_future(iterate())
            await until(lambda: feed.statistics.received == 1 and feed.statistics.waiting == 0)
            waiting = asyncio.ensure_future(feed.next())
            await started(iterating, waiting)
            close = session.close if what == "session" else feed.close
            if where == "in the loop":
                close()
            else:
                await asyncio.get_running_loop().run_in_executor(None, close)
            assert await asyncio.wait_for(iterating, LIMIT) == [number]
            with pytest.raises(velmar.SessionClosed):
                await asyncio.wait_for(waiting, LIMIT)
            with pytest.raises(velmar.SessionClosed):
                await feed.next()
    run(story)


def test_a_loop_that_ends_first_leaves_the_session_usable(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    for number in range(3):
        loop = asyncio.new_event_loop()
        abandoned = loop.create_task(session.next())
        loop.run_until_complete(asyncio.sleep(0.01))
        abandoned.cancel()
        loop.run_until_complete(asyncio.gather(abandoned, return_exceptions=True))
        loop.close()
        server.stream(wire.frame(number))
        assert session.next_frame(timeout=LIMIT).number == number
    session.close()


LOOPS_CLOSED_UNDER_A_WAIT = """
    import asyncio, gc, servers, velmar, warnings, wire
    server = servers.ScriptedServer(servers.FULL_ANSWERS)
    session = velmar.connect("127.0.0.1", force_plates=False)
    async def iterate():
        async for frame in session:
            pass
    for ending in range(3):
        loop = asyncio.new_event_loop()
        task = loop.create_task(session.next() if ending else iterate())
        loop.run_until_complete(asyncio.sleep(0.01))
        loop.close()
        task._log_destroy_pending = False
        if ending == 1:
            del task
            gc.collect()
        server.stream(wire.frame(ending))
        assert session.next_frame(timeout=20).number == ending
    async def again():
        server.stream(wire.frame(7))
        return (await session.next(timeout=20)).number
    print(asyncio.run(again()))
    session.close()
    del task
    gc.collect()
"""


def test_a_loop_may_be_closed_under_a_wait(private_network: None, python: Any) -> None:
    assert python(LOOPS_CLOSED_UNDER_A_WAIT).end(within=20).cleanly() == "7\n"


def test_two_loops_in_two_threads_read_one_feed(script: Any, connect: Any) -> None:
    server, session = script(), connect()
    together = threading.Barrier(3)

    async def read() -> List[int]:
        frames = session.frames()
        together.wait(LIMIT)
        return [frame.number async for frame in frames]

    async def story() -> None:
        readers = [asyncio.ensure_future(asyncio.to_thread(lambda: asyncio.run(read()))) for _ in range(2)]
        await asyncio.to_thread(together.wait, LIMIT)
        server.stream(*map(wire.frame, range(100)))
        await until(lambda: session.feed.statistics.received == 100 and session.feed.statistics.waiting == 0)
        session.close()
        assert sorted(sum(await asyncio.gather(*readers), [])) == list(range(100))
    run(story)
