"""The servers that tests talk to: `velmar simulate` as a process, and one whose every answer a test chooses."""

from __future__ import annotations

import os
import select
import signal
import socket
import subprocess
import threading
from pathlib import Path
from typing import Dict, List, Mapping, NamedTuple, Optional, Tuple

import children
import wire

GROUP = ("239.239.239.52", 5231)
HOST = "127.0.0.1"


def tool() -> str:
    return os.environ["VELMAR"]


def run_tool(*arguments: str) -> str:
    """What `velmar` prints, which must succeed."""
    done = subprocess.run([tool(), *arguments], env=children.plain_environment(), timeout=60 * children.SLOW,
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert done.returncode == 0, f"velmar {' '.join(arguments)}: {done.stdout}{done.stderr}"
    return done.stdout


class Logged(NamedTuple):
    """A line of the simulated server's frame log."""
    number: int
    checksum: int
    state: str


class Simulator:
    """`velmar simulate`, up and serving from the beginning on until `stop`."""

    def __init__(self, options: Tuple[str, ...], log: Path) -> None:
        self._log = log
        self._process = children.Process([tool(), "simulate", "--frame-log", str(log), *options],
                                         children.plain_environment())
        self._process.expect("serving port 5230")

    def stop(self) -> str:
        """Ends it, and gives what it said. The log is complete then."""
        if self._process.running:
            self._process.send(signal.SIGINT)
        return self._process.end(within=10).out

    def frame_log(self) -> Dict[int, Logged]:
        """Of a server that has ended: what became of each number."""
        rows = (line.split() for line in self._log.read_text().splitlines())
        return {int(row[1]): Logged(int(row[1]), int(row[2], 16), row[3]) for row in rows}


Answers = Mapping[int, Optional[Tuple[int, bytes]]]

# By the type of the request: type and payload of the reply.
FULL_ANSWERS: Answers = {
    wire.VERSION_REQUEST: (wire.VERSION_REPLY, wire.ACCEPTED),
    wire.SERVER_DESCRIPTION: (wire.SERVER_DESCRIPTION, wire.server_description(b"another server\0")),
    wire.DESCRIPTIONS: (wire.DESCRIPTIONS, wire.counted([])),
}


class ScriptedServer:
    """Answers each request as the table says, or not at all, and streams what it is told to."""

    def __init__(self, answers: Answers) -> None:
        self._answers = dict(answers)
        self._requests: List[int] = []
        self._came = threading.Condition()
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self._socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(HOST))
        self._socket.bind((HOST, 5230))
        self._stop, self._stopped = socket.socketpair()
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def answer(self, request: int, kind: int, payload: bytes) -> None:
        """From now on."""
        self._answers[request] = (kind, payload)

    def expect(self, kind: int, count: int = 1) -> None:
        """Waits until a client has sent so many requests of this type."""
        with self._came:
            assert self._came.wait_for(lambda: self._requests.count(kind) >= count, 20 * children.SLOW), \
                f"no request {kind} came, only {self._requests}"

    def stream(self, *bodies: bytes) -> None:
        for body in bodies:
            self.send(*wire.datagrams(wire.FRAME, body))

    def send(self, *datagrams: bytes) -> None:
        for datagram in datagrams:
            self._socket.sendto(datagram, GROUP)

    def close(self) -> None:
        self._stop.close()
        self._thread.join()
        self._stopped.close()
        self._socket.close()

    def _serve(self) -> None:
        while True:
            ready, _, _ = select.select([self._socket, self._stopped], [], [])
            if self._stopped in ready:
                return
            request, sender = self._socket.recvfrom(65536)
            self._reply(request[8], int.from_bytes(request[12:16], "little"), sender)

    def _reply(self, kind: int, sequence: int, sender: Tuple[str, int]) -> None:
        with self._came:
            self._requests.append(kind)
            self._came.notify_all()
        reply = self._answers.get(kind)
        if reply is not None:
            for datagram in wire.datagrams(reply[0], reply[1], sequence):
                self._socket.sendto(datagram, sender)
