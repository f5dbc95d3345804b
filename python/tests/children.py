"""Processes that a test starts and judges: how they end, what they say, how long they take. None outlives its test."""

from __future__ import annotations

import ctypes
import os
import signal
import subprocess
import sys
import tempfile
import threading
import time
from pathlib import Path
from typing import Dict, List, Mapping, NamedTuple, Optional, Sequence

# Times as long as this is what a slower build may take, as one with a sanitizer.
SLOW = float(os.environ.get("VELMAR_PYTHON_SLOW", "1"))
# How much the tests of what stays constant read and connect.
FRAMES = int(os.environ.get("VELMAR_PYTHON_FRAMES", "20000"))
CONNECTS = int(os.environ.get("VELMAR_PYTHON_CONNECTS", "50"))

_LIBC = ctypes.CDLL(None)
_PR_SET_PDEATHSIG = 1


def plain_environment() -> Dict[str, str]:
    """For programs that are not Python: what is preloaded for the library of the package is not for them."""
    return {key: value for key, value in os.environ.items() if key != "LD_PRELOAD"}


def python_environment(more: Mapping[str, str] = {}) -> Dict[str, str]:
    """For a child that imports the package, and the modules of these tests."""
    paths = [os.environ.get("PYTHONPATH", ""), str(Path(__file__).parent)]
    return {**os.environ, "PYTHONPATH": os.pathsep.join(filter(None, paths)), "PYTHONFAULTHANDLER": "1",
            "PYTHONUNBUFFERED": "1", **more}


def sanitizer_options(options: str) -> Dict[str, str]:
    """The environment for further options of the address sanitizer, in a run that has it."""
    return {"ASAN_OPTIONS": ":".join(filter(None, [os.environ.get("ASAN_OPTIONS", ""), options]))}


# Freed memory is overwritten at once, so that whoever still reads it gets garbage.
SPOILING = {"MALLOC_PERTURB_": "165", **sanitizer_options("max_free_fill_size=1000000:free_fill_byte=165")}
# What is freed is given back, so that resident memory tells of leaks alone.
FRUGAL = sanitizer_options("quarantine_size_mb=1:thread_local_quarantine_size_kb=16")
# What a fork or the end of the interpreter cuts off in its midst cannot give back what it has; that is no leak.
CUT_OFF = sanitizer_options("detect_leaks=0")


def _in_the_child() -> None:
    # Ctrl-C as in a terminal also where the test run itself ignores it, and no orphan of a run that was killed.
    signal.signal(signal.SIGINT, signal.SIG_DFL)
    _LIBC.prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


class Ended(NamedTuple):
    """How a process has ended; `seconds` counts from its start or the last signal that it was sent."""
    code: int
    out: str
    err: str
    seconds: float

    def cleanly(self) -> str:
        """What it said, when it succeeded without a complaint."""
        assert self.code == 0 and self.err == "", f"ended with {self.code}\n{self.out}\n{self.err}"
        return self.out


class Process:
    """A running process whose output is read as it comes."""

    def __init__(self, command: Sequence[str], environment: Mapping[str, str]) -> None:
        self._err = tempfile.TemporaryFile("w+")
        self._lines: List[str] = []
        self._said = threading.Condition()
        self._ended: Optional[Ended] = None
        self._since = time.monotonic()
        self._process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                         stderr=self._err, text=True, preexec_fn=_in_the_child)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    @property
    def running(self) -> bool:
        return self._process.poll() is None

    def expect(self, text: str) -> str:
        """Waits for a line with this text, and gives it."""
        def found() -> List[str]:
            return [line for line in self._lines if text in line]
        with self._said:
            self._said.wait_for(lambda: found() or not self._reader.is_alive(), 20 * SLOW)
            if found():
                return found()[0]
        raise AssertionError(f"never said {text!r}:\n{self._last_words()}")

    def expect_asleep(self) -> None:
        """Waits until its main thread is in a wait that the system knows of, and stays there."""
        stat = Path(f"/proc/{self._process.pid}/task/{self._process.pid}/stat")
        deadline = time.monotonic() + 20 * SLOW
        asleep = 0
        while asleep < 5:
            asleep = asleep + 1 if stat.read_text().rpartition(")")[2].split()[0] == "S" else 0
            assert time.monotonic() < deadline, "its main thread never waits"
            time.sleep(0.002)

    def send(self, number: int) -> float:
        """Sends a signal, and gives the monotonic time of that in seconds."""
        self._since = time.monotonic()
        self._process.send_signal(number)
        return self._since

    def end(self, within: float) -> Ended:
        """Waits for its end, which must come within so many seconds; a hang is shown with its stacks."""
        if self._ended:
            return self._ended
        try:
            code = self._process.wait(within * SLOW)
        except subprocess.TimeoutExpired:
            raise AssertionError(f"still runs after {within * SLOW} s:\n{self._last_words()}") from None
        seconds = time.monotonic() - self._since
        self._reader.join(10)
        with self._err:
            self._err.seek(0)
            self._ended = Ended(code, "".join(self._lines), self._err.read(), seconds)
        return self._ended

    def kill(self) -> None:
        """Ends it at once, if it still runs."""
        if self.running:
            self._process.kill()
            self._process.wait()
        self._reader.join(10)
        self._err.close()

    def _read(self) -> None:
        assert self._process.stdout is not None
        with self._process.stdout:
            for line in self._process.stdout:
                with self._said:
                    self._lines.append(line)
                    self._said.notify_all()
        with self._said:
            self._said.notify_all()

    def _last_words(self) -> str:
        """What it has said, with the stacks of its threads if it is Python."""
        self._process.send_signal(signal.SIGABRT)
        try:
            self._process.wait(5)
        except subprocess.TimeoutExpired:
            self._process.kill()
        self._reader.join(10)
        self._err.seek(0)
        return "".join(self._lines) + self._err.read()


def python(source: str, *arguments: str, environment: Mapping[str, str] = {}) -> Process:
    """A Python program, running."""
    return Process([sys.executable, "-c", source, *arguments], python_environment(environment))
