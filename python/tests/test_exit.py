"""The interpreter exits with whatever is still running: soon, with its own code, and without a word of it."""

from __future__ import annotations

import signal
from typing import Any

import pytest

import children
import servers
import wire

@pytest.mark.parametrize("unanswered", [wire.VERSION_REQUEST, wire.DESCRIPTIONS], ids=["connect", "descriptions"])
def test_the_interpreter_exits_while_a_thread_connects(script: Any, python: Any, unanswered: int) -> None:
    server = script({unanswered: None})
    child = python("""
        import signal, threading, velmar
        signal.pthread_sigmask(signal.SIG_BLOCK, [signal.SIGUSR1])
        threading.Thread(target=velmar.connect, args=("127.0.0.1",), daemon=True).start()
        signal.sigwait([signal.SIGUSR1])
    """)
    server.expect(unanswered)
    child.send(signal.SIGUSR1)
    ended = child.end(within=7)
    assert ended.cleanly() == ""


CONNECT = 'session = velmar.connect("127.0.0.1")\n'
EXITS = {
    "a running session": CONNECT,
    "a feed": CONNECT + "feed = session.open_feed(); feed.fileno()",
    "frames": CONNECT + "frame = session.next_frame(timeout=20); bones = frame.skeletons[0].bones",
    "a waiting thread": CONNECT + """
def read():
    for frame in session.frames():
        started.set()
threading.Thread(target=read, daemon=True).start()
assert started.wait(20)""",
    "a thread that waits for what never comes": CONNECT + """
feed = session.open_feed(capacity=1)
def read():
    try:
        while feed.next_frame():
            started.set()
    except velmar.SessionClosed:
        pass
for _ in range(4):
    threading.Thread(target=read, daemon=True).start()
assert started.wait(20)""",
    "threads that ask": CONNECT + """
def ask():
    try:
        while feed.statistics and session.statistics:
            started.set()
    except velmar.SessionClosed:
        pass
feed = session.open_feed()
for _ in range(3):
    threading.Thread(target=ask, daemon=True).start()
assert started.wait(20)""",
    "a generator": CONNECT + "frames = iter(session.frames(timeout=20)); next(frames)",
    "a generator within itself": CONNECT + """
class Knot: pass
knot = Knot(); knot.frames = iter(session.frames()); knot.self = knot; knot.session = session
next(knot.frames)""",
    "an asynchronous generator": CONNECT + """
frames = session.frames().__aiter__()
async def one(): return await frames.__anext__()
asyncio.run(one())""",
    "a loop that runs in a thread": CONNECT + """
async def read():
    async for frame in session:
        started.set()
threading.Thread(target=asyncio.run, args=(read(),), daemon=True).start()
assert started.wait(20)""",
    "a with block": CONNECT + "with session:\n    next(session.frames(timeout=20)); sys.exit(0)",
    "several sessions": CONNECT + "others = [velmar.connect('127.0.0.1') for _ in range(3)]",
    "a dropped session": CONNECT + "del session",
    "a session in a module": CONNECT + "sys.modules['kept'] = session; velmar.kept = session",
    "exit without ado": CONNECT + "frame = session.next_frame(timeout=20); os._exit(0)",
    "a handler at exit": "atexit.register(lambda: session.close())\n" + CONNECT,
    "a handler that reads": CONNECT + "atexit.register(lambda: session.next_frame(timeout=20).number)",
    "a finalizer": CONNECT + """
class Late:
    def __del__(self, session=session):
        session.close()
late = Late()""",
    "descriptions": CONNECT + "bones = session.descriptions.skeletons[0].bones; server = session.server",
}


@pytest.fixture(scope="module")
def person(private_network: None, tmp_path_factory: pytest.TempPathFactory) -> Any:
    """A walking figure for all ways to exit."""
    server = servers.Simulator(("--rate", "500"), tmp_path_factory.mktemp("person") / "frames.log")
    yield server
    server.stop()


@pytest.mark.parametrize("case", EXITS)
def test_the_interpreter_exits(person: Any, python: Any, case: str) -> None:
    source = "import asyncio, atexit, os, sys, threading, time, velmar\nstarted = threading.Event()\n" + EXITS[case]
    environment = children.CUT_OFF if "daemon" in source else {}
    ended = python(source + "\n", environment=environment).end(within=4)
    assert ended.cleanly() == ""
    assert ended.seconds < 2 * children.SLOW


@pytest.mark.parametrize("beside", ["", EXITS["threads that ask"].replace(CONNECT, "")], ids=["alone", "in use"])
def test_a_session_that_still_runs_is_closed_at_the_exit(person: Any, python: Any, beside: str) -> None:
    """As a handler sees it that was there before the package, and so runs behind the package's own."""
    source = ("import atexit, threading; atexit.register(lambda: print(session.closed, feed.closed))\n"
              "import velmar\nstarted = threading.Event()\n" + CONNECT + "feed = session.open_feed()\n" + beside)
    child = python(source, environment=children.CUT_OFF if beside else {})
    assert child.end(within=4).cleanly() == "True True\n"


def test_an_unhandled_exception_ends_a_program_with_a_session(person: Any, python: Any) -> None:
    source = "import velmar\n" + CONNECT + "frame = session.next_frame(timeout=20)\nraise ZeroDivisionError"
    result = python(source).end(within=4)
    assert result.code == 1 and result.err.rstrip().endswith("ZeroDivisionError")
    assert result.err.count("Traceback") == 1 and "ignored" not in result.err
