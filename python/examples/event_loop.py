#!/usr/bin/env python3
"""A stream in an event loop, beside something else: python3 event_loop.py 192.168.1.20

Prints how high the first skeleton's first bone is, ten times a second, and every two seconds what became of the frames.
"""
from __future__ import annotations

import argparse
import asyncio

import velmar


async def follow(session: velmar.Session, state: "dict[str, velmar.Frame]") -> None:
    async for frame in session.frames(timeout=2.0):
        state["latest"] = frame


async def show(state: "dict[str, velmar.Frame]") -> None:
    while True:
        await asyncio.sleep(0.1)
        frame = state.get("latest")
        if frame is not None and frame.skeletons:
            print(f"frame {frame.number}: {frame.skeletons[0].bones['position'][0, 2]:.3f} high")


async def account(session: velmar.Session) -> None:
    while True:
        await asyncio.sleep(2.0)
        statistics = session.statistics
        dropped = session.feed.statistics.dropped
        print(f"{statistics.frames_delivered} frames, {statistics.lost} lost, {dropped} dropped")


async def run(server: str, seconds: float) -> None:
    loop = asyncio.get_running_loop()
    session = await loop.run_in_executor(None, velmar.connect, server)  # which takes up to 5 seconds
    with session:
        state: "dict[str, velmar.Frame]" = {}
        tasks = asyncio.gather(follow(session, state), show(state), account(session))
        try:
            await asyncio.wait_for(tasks, seconds or None)
        except asyncio.TimeoutError as error:
            if isinstance(error, velmar.Timeout):
                raise


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("server", help="host name or address of the capture server")
    parser.add_argument("--seconds", type=float, default=0, help="then end (default: on Ctrl-C)")
    options = parser.parse_args()
    try:
        asyncio.run(run(options.server, options.seconds))
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
