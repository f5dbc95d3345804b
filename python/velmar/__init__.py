"""Live motion capture and recordings of it as numpy arrays.

A stream::

    import velmar

    with velmar.connect("192.168.1.20") as session:
        print(session.server, session.descriptions.skeletons[0].bone_names)
        for frame in session.frames(timeout=2.0):
            hip = frame.skeletons[0].bones["position"][0]        # float32 (3,)
            if frame.force_plates: print(frame.number, hip, frame.force_plates[0].force)

A recording::

    take = velmar.load("walk.pcap")
    take.markers["LKNE"]                                         # (frames, 3), NaN where missing
    take.bones["Hips"].position, take.force_plates[0].force, take.time, take.rate

Without hardware: `velmar simulate` in another terminal, and "127.0.0.1" as the server.

What a session has (`help(velmar.Session)`)
    server                  who streams: name, version, host, rate
    descriptions            marker_sets, rigid_bodies, skeletons, force_plates, point_groups, by index and by name:
                            session.descriptions.skeletons["Figure1"].bones.index("LeftFoot")
    frames(timeout)         an iterator, for `for` and for `async for`; Timeout when none comes for so many seconds
    next_frame(timeout)     the next frame; `await session.next(timeout)` in an event loop
    statistics              what happened to every frame of the stream: lost, by cause; delays; intervals
    feed, open_feed()       its own feed, further ones; feed.statistics.dropped: this program was too slow for them
    close()                 as the end of the `with` block

What a frame has (`help(velmar.Frame)`); shapes in parentheses, all floats float32
    number, timecode, times            times.last_arrival_ns: when the kernel had it whole (wall clock)
    skeletons[i].id, .bones            records (bones,) of RIGID_BODY: "id", "position" (3,), "orientation" (4,),
                                       "marker_count", "residual", "flags"
    rigid_bodies                       records (bodies,) of RIGID_BODY
    marker_sets[i].name, .positions    (markers, 3)
    labeled_markers                    records (markers,) of LABELED_MARKER: "id", "position" (3,), "size",
                                       "skeleton_id"
    other_markers                      (markers, 3)
    force_plates[i].force              (3,); .center_of_pressure (3,); .free_moment
    analog                             (channels,)
    body_markers(i), skeletons[i].bone_markers(i)    positions (markers, 3), ids, sizes

What a take has (`help(velmar.Take)`)
    time, number, present, rate        (frames,); False in present where a frame was lost
    markers["LKNE"]                    (frames, 3); markers.array (frames, markers, 3)
    bones["Hips"].position             (frames, 3); .orientation (frames, 4); .residual (frames,)
    rigid_bodies["Stick"]              likewise
    force_plates[i].force              (frames, 3); .center_of_pressure (frames, 3); .free_moment (frames,)
    analog                             (frames, channels)
    descriptions, server, statistics, concerns
    to_numpy(), to_pandas()

Units and axes
    By the convention of the simulated server, which any server may follow or not: metres, z up, right-handed;
    orientations are unit quaternions x, y, z, w; both are global, those of bones too. Force plates are in the axes of
    the volume: newtons and newton metres. Times are in nanoseconds where a name ends in _ns, else in seconds.

Memory and threads
    Frames come by threads of the library, which never run Python. A frame owns the memory of its arrays, which are
    read-only (`.copy()` for one's own) and stay valid as long as somebody holds them. Sessions and feeds may be used
    from any thread; Ctrl-C ends every wait. A forked process must not use the sessions of its parent.

Errors
    NoAnswer, VersionRefused, Timeout, SessionClosed, RecordingError: all of them VelmarError. What keeps the data from
    coming, `velmar doctor SERVER` finds out.
"""
from ._descriptions import (
    Descriptions, ForcePlateInfo, MarkerSetInfo, PointGroupInfo, RigidBodyInfo, ServerInfo, SkeletonInfo)
from ._errors import DamagedRecording, NoAnswer, RecordingError, SessionClosed, Timeout, VelmarError, VersionRefused
from ._feed import Feed, Frames
from ._frames import BodyMarkers, ForcePlate, Frame, FrameTimes, MarkerSet, Skeleton, Timecode
from ._library import library_version
from ._records import LABELED_MARKER, RIGID_BODY
from ._session import Session, connect
from ._statistics import FeedStatistics, Statistics
from ._take import Bodies, Body, Markers, PlateTrack, Take, load

__version__ = library_version

__all__ = [
    "LABELED_MARKER", "RIGID_BODY", "Bodies", "Body", "BodyMarkers", "DamagedRecording", "Descriptions", "Feed",
    "FeedStatistics", "ForcePlate", "ForcePlateInfo", "Frame", "FrameTimes", "Frames", "MarkerSet", "MarkerSetInfo",
    "Markers", "NoAnswer", "PlateTrack", "PointGroupInfo", "RecordingError", "RigidBodyInfo", "ServerInfo", "Session",
    "SessionClosed", "Skeleton", "SkeletonInfo", "Statistics", "Take", "Timecode", "Timeout", "VelmarError",
    "VersionRefused", "connect", "library_version", "load"]
