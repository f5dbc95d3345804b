"""Simulated servers to measure against."""
from __future__ import annotations

import os
import signal
import subprocess


class Server:
    """`velmar simulate`, up once the object is made; a context manager."""

    def __init__(self, *options: str) -> None:
        self._process = subprocess.Popen(
            [os.environ["VELMAR"], "simulate", *options], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        assert self._process.stdout is not None
        said = self._process.stdout.readline()
        if self._process.poll() is not None:
            raise RuntimeError(f"velmar simulate has ended: {said}")

    def end(self) -> None:
        """Ends it, if it has not been."""
        if self._process.poll() is None:
            self._process.send_signal(signal.SIGINT)
            self._process.communicate()

    def __enter__(self) -> Server:
        return self

    def __exit__(self, *_: object) -> None:
        self.end()


def simulate(*options: str) -> Server:
    """A running server."""
    return Server(*options)
