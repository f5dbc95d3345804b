"""Fixtures: servers, sessions and children that end with their test. Run inside scripts/private-network.sh, with
VELMAR set to the tool and PYTHONPATH to the package; VELMAR_PYTHON_SLOW scales every limit of time."""

from __future__ import annotations

import faulthandler
import os
import signal
import textwrap
from pathlib import Path
from types import FrameType
from typing import Any, Callable, Iterator, List, Mapping, Optional

import pytest

import children
from servers import FULL_ANSWERS, HOST, Answers, ScriptedServer, Simulator

import velmar

# Longer than any test is meant to take: only a hang reaches it.
PATIENCE = (60 + children.FRAMES / 2000 + children.CONNECTS / 10) * children.SLOW

_terminal = -1


def pytest_configure(config: pytest.Config) -> None:
    global _terminal
    _terminal = os.dup(2)


def pytest_unconfigure(config: pytest.Config) -> None:
    # A thread that a failed test has left behind must not keep the run from its end.
    faulthandler.dump_traceback_later(20 * children.SLOW, exit=True, file=_terminal)


@pytest.fixture(autouse=True)
def no_hang() -> Iterator[None]:
    """A test that hangs fails; one that does not even notice that ends the run with the stacks of its threads."""
    def fail(number: int, frame: Optional[FrameType]) -> None:
        pytest.fail(f"hangs for {PATIENCE} s")
    before = signal.signal(signal.SIGALRM, fail)
    signal.setitimer(signal.ITIMER_REAL, PATIENCE)
    faulthandler.dump_traceback_later(PATIENCE + 20 * children.SLOW, exit=True, file=_terminal)
    yield
    faulthandler.cancel_dump_traceback_later()
    signal.setitimer(signal.ITIMER_REAL, 0)
    signal.signal(signal.SIGALRM, before)


@pytest.fixture(scope="session")
def private_network() -> None:
    routes = Path("/proc/net/route").read_text().splitlines()[1:]
    if any(route.split()[0] != "lo" for route in routes):
        pytest.exit("these tests send to a multicast group: run them by scripts/private-network.sh", 2)


@pytest.fixture
def simulate(private_network: None, tmp_path: Path) -> Iterator[Callable[..., Simulator]]:
    """simulate("--rate", "500"): a simulated server, serving."""
    running: List[Simulator] = []

    def start(*options: str) -> Simulator:
        running.append(Simulator(options, tmp_path / f"frames{len(running)}.log"))
        return running[-1]
    yield start
    for simulator in running:
        simulator.stop()


@pytest.fixture
def script(private_network: None) -> Iterator[Callable[..., ScriptedServer]]:
    """script({101: (101, body)}): a server that answers so, and otherwise as one without any data; None: not."""
    running: List[ScriptedServer] = []

    def start(answers: Answers = {}) -> ScriptedServer:
        running.append(ScriptedServer({**FULL_ANSWERS, **answers}))
        return running[-1]
    yield start
    for server in running:
        server.close()


@pytest.fixture
def connect() -> Iterator[Callable[..., velmar.Session]]:
    """velmar.connect to this machine, without plates unless asked for; closed with the test."""
    sessions: List[velmar.Session] = []

    def start(**options: Any) -> velmar.Session:
        options.setdefault("force_plates", False)
        sessions.append(velmar.connect(HOST, **options))
        return sessions[-1]
    yield start
    for session in sessions:
        session.close()


@pytest.fixture
def python() -> Iterator[Callable[..., children.Process]]:
    """python(source): a Python program, running; none outlives its test."""
    running: List[children.Process] = []

    def start(source: str, *arguments: str, environment: Mapping[str, str] = {}) -> children.Process:
        running.append(children.python(textwrap.dedent(source), *arguments, environment=environment))
        return running[-1]
    yield start
    for process in running:
        process.kill()
