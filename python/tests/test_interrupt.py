"""Ctrl-C in every wait ends it at once, and the program as any other; handlers of the program's own run meanwhile."""

from __future__ import annotations

import signal
from typing import Any, Dict

import pytest

import children
import wire

SERVED = """
    import asyncio, time, velmar
    def caught():
        print("caught", time.monotonic(), flush=True)
    try:
        session = None
        WAIT
    except KeyboardInterrupt:
        caught()
        raise
"""
CONNECTED = 'session = velmar.connect("127.0.0.1", force_plates=False); print("connected"); '
# The wait, and what a server must not answer for it.
WAITS: Dict[str, Any] = {
    "connect": ('velmar.connect("127.0.0.1")', wire.VERSION_REQUEST),
    "connect for plates": ('velmar.connect("127.0.0.1")', wire.DESCRIPTIONS),
    "descriptions": (CONNECTED + "session.descriptions", wire.DESCRIPTIONS),
    "ask_descriptions": (CONNECTED + "session.ask_descriptions()", wire.DESCRIPTIONS),
    "next_frame": (CONNECTED + "session.next_frame()", None),
    "next_frame in time": (CONNECTED + "session.next_frame(timeout=100)", None),
    "frames": (CONNECTED + "list(session.frames())", None),
    "with": (CONNECTED + "\n        with session: list(session.feed.frames(timeout=100))", None),
    "next": (CONNECTED + "asyncio.run(session.next())", None),
    "async for": (CONNECTED + """
        async def read():
            async for frame in session:
                pass
        asyncio.run(read())""", None),
}


@pytest.mark.parametrize("case", WAITS)
def test_ctrl_c_ends_every_wait(script: Any, python: Any, case: str) -> None:
    wait, unanswered = WAITS[case]
    server = script({} if unanswered is None else {unanswered: None})
    child = python(SERVED.replace("WAIT", wait))
    if unanswered is None:
        child.expect("connected")
    else:
        server.expect(unanswered)
    child.expect_asleep()
    sent = child.send(signal.SIGINT)
    ended = child.end(within=3)
    assert ended.code == -signal.SIGINT and ended.err.rstrip().endswith("KeyboardInterrupt"), ended
    caught = float(ended.out.split("caught")[1]) - sent
    # A tenth of a second, and what a busy machine takes for it.
    assert caught < 0.2 * children.SLOW and ended.seconds < children.SLOW, (caught, ended.seconds)


def test_ctrl_c_that_is_handled_leaves_the_session_running(script: Any, python: Any) -> None:
    server = script()
    child = python("""
        import velmar
        session = velmar.connect("127.0.0.1", force_plates=False)
        print("connected")
        try:
            session.next_frame()
        except KeyboardInterrupt:
            print("interrupted")
        print(session.next_frame(timeout=20).number)
    """)
    child.expect("connected")
    child.expect_asleep()
    child.send(signal.SIGINT)
    child.expect("interrupted")
    server.stream(wire.frame(4))
    assert child.end(within=20).cleanly().splitlines()[-1] == "4"


def test_a_handler_of_the_program_runs_during_a_wait(script: Any, python: Any) -> None:
    """And the wait goes on where the handler raises nothing."""
    server = script()
    child = python("""
        import signal, velmar
        signal.signal(signal.SIGUSR1, lambda number, frame: print("handled"))
        with velmar.connect("127.0.0.1", force_plates=False) as session:
            print("connected")
            print(session.next_frame().number)
    """)
    child.expect("connected")
    child.expect_asleep()
    child.send(signal.SIGUSR1)
    child.expect("handled")
    server.stream(wire.frame(4))
    assert child.end(within=20).cleanly().splitlines()[-1] == "4"
