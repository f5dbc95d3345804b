"""What goes wrong, and what to do about it."""
from __future__ import annotations

__all__ = [
    "DamagedRecording", "NoAnswer", "RecordingError", "SessionClosed", "Timeout", "VelmarError", "VersionRefused"]


class VelmarError(Exception):
    """Whatever this package cannot do; each has a class of its own where a program may want to tell it apart."""


class NoAnswer(VelmarError):
    """The host is unknown, or nobody answers there."""


class VersionRefused(VelmarError):
    """The server answers, and does not support this library's version."""


class Timeout(VelmarError, TimeoutError):
    """No frame came in time."""


class SessionClosed(VelmarError):
    """A session or a feed is used after its end, or in a process that was forked off from its own."""


class RecordingError(VelmarError):
    """A recording cannot be read, or is none."""


class DamagedRecording(UserWarning):
    """A recording is read as far as it goes, since what follows is missing or damaged."""


def ask_doctor(server: str) -> str:
    """The sentence that every error about a missing stream ends with."""
    return f"`velmar doctor {server}` finds out why"
