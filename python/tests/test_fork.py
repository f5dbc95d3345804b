"""A child that was forked off has no session of its parent, whatever it does with it, and the parent goes on."""

from __future__ import annotations

from typing import Any

import pytest

import children
import wire

FORK = """
    import gc, os, parts, servers, sys, velmar, wire
    server = servers.ScriptedServer(servers.FULL_ANSWERS)
    session = velmar.connect("127.0.0.1", force_plates=False)
    feed = session.open_feed()
    server.stream(parts.rich_frame(1), parts.rich_frame(2))
    frame = session.next_frame(timeout=20)
    iterator = session.frames(timeout=20)
    def closed(use):
        try:
            use()
        except velmar.SessionClosed:
            return True
    def refused_to_connect():
        try:
            velmar.connect("127.0.0.1", force_plates=False)
        except velmar.VelmarError as error:
            assert "spawn" in str(error)
        else:
            raise AssertionError("connects beside a session of its parent")
    def drop():
        global session, feed, iterator, frame
        del session, feed, iterator, frame
        gc.collect()
    def child():
        uses = (lambda: session.next_frame(timeout=0), lambda: feed.next_frame(timeout=0), session.open_feed,
                session.ask_descriptions, lambda: next(session.frames(timeout=0)), feed.fileno,
                lambda: session.next(timeout=0).send(None))
        failed = [number for number, use in enumerate(uses) if not closed(use)]
        assert not failed, failed
        assert parts.rewritten(frame) == parts.rich_frame(1)
        END
    pid = os.fork()
    if pid == 0:
        child()
        sys.exit(0)
    assert os.waitpid(pid, 0)[1] == 0
    got = [feed.next_frame(timeout=20).number for _ in range(2)]
    server.stream(parts.rich_frame(3))
    got += [session.next_frame(timeout=20).number for _ in range(2)]
    session.close()
    print(got, closed(session.next_frame))
"""
# What the child does with its parent's session before it exits.
FORK_ENDS = {
    "nothing": "pass",
    "closes": "session.close(); feed.close()",
    "drops": "drop()",
    "connects": "refused_to_connect()",
    "leaves at once": "os._exit(0)",
}


@pytest.mark.parametrize("case", FORK_ENDS)
def test_a_forked_child_has_no_session_and_its_parent_goes_on(private_network: None, python: Any, case: str) -> None:
    child = python(FORK.replace("END", FORK_ENDS[case]), environment=children.CUT_OFF)
    assert child.end(within=20).cleanly() == "[1, 2, 2, 3] True\n"


def test_a_child_forked_beside_a_waiting_thread_has_no_session(script: Any, python: Any) -> None:
    server = script()
    child = python("""
        import os, sys, threading, velmar
        session = velmar.connect("127.0.0.1", force_plates=False)
        got = []
        def read():
            for frame in session.frames():
                got.append(frame.number)
        reader = threading.Thread(target=read, daemon=True)
        reader.start()
        print("connected")
        for _ in range(5):
            pid = os.fork()
            if pid == 0:
                try:
                    session.next_frame(timeout=0)
                except velmar.SessionClosed:
                    sys.exit(7)
                sys.exit(1)
            assert os.WEXITSTATUS(os.waitpid(pid, 0)[1]) == 7
        session.close()
        reader.join(20)
        print(got == sorted(set(got)), not reader.is_alive())
    """, environment=children.CUT_OFF)
    child.expect("connected")
    for number in range(200):
        server.stream(wire.frame(number))
    assert child.end(within=20).cleanly().splitlines()[-1] == "True True"


def test_a_child_forked_beside_no_session_connects_by_itself(script: Any, python: Any) -> None:
    script()
    child = python("""
        import os, sys, velmar
        def connect():
            with velmar.connect("127.0.0.1", force_plates=False) as session:
                return session.server.name
        for _ in range(2):
            pid = os.fork()
            if pid == 0:
                sys.exit(7 if connect() == "another server" else 1)
            assert os.WEXITSTATUS(os.waitpid(pid, 0)[1]) == 7
            print(connect())
    """, environment=children.CUT_OFF)
    assert child.end(within=20).cleanly() == "another server\n" * 2
