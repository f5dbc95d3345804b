#!/usr/bin/env bash
# Lets tshark dissect with extras/velmar.lua what a simulated server sends, and compares what it finds with what
# the server was told to send.
set -eu
cd "$(dirname "$0")/.."
work=build/check-dissector

scripts/prepare.sh dissector
cmake --preset release >/dev/null
cmake --build --preset release --target velmar -- --quiet
rm -rf "$work"
mkdir -p "$work"
scripts/private-network.sh scripts/with-server.sh build/release/tools/velmar/velmar "$work/server.log" \
  --skeletons 2 --rigid-bodies 3 --other-markers 5 --markers 40 --analog 2 --frame-log "$work/frames.log" -- \
  python3 tests/tool/capture.py "$work/stream.pcap" 4

values() { # values FILTER FIELD...: a line of the fields' values for each datagram that passes
  local filter=$1 fields=()
  shift
  for field in "$@"; do fields+=(-e "$field"); done
  tshark -X lua_script:extras/velmar.lua -r "$work/stream.pcap" -Y "$filter" -T fields -E separator=/s \
    "${fields[@]}" 2>>"$work/tshark.log"
}

{
  echo "Frames: marker sets, markers, rigid bodies, skeletons, bones, labelled markers, channels, names"
  # Numbers follow each other, from whichever came first.
  values "velmar.frame.number > 0" velmar.frame.{number,marker_sets,other_markers,rigid_bodies,skeletons} \
    velmar.bones velmar.frame.{labeled_markers,analog} velmar.name |
    awk 'NR == 1 { first = $1 } { $1 -= first; print }'
  # The server's log has what stands at the end of a body.
  echo "Frames with the time and the checksum that they were sent with:" \
    "$(values "velmar.frame.number > 0" velmar.frame.{aux64,number,aux32} | sed 's/0x//; s/$/ whole/' |
      grep -cxFf - <(cut -d " " -f 1-4 "$work/frames.log"))"
  echo "Requests, then replies with the packet of their request: packet, type, text"
  values "velmar.request" frame.number velmar.{type,text}
  values "velmar.reply && velmar.fragment == 0" velmar.answers frame.number velmar.{type,text}
  echo "Server: name, version, frames a second, accepts"
  values velmar.server.name velmar.server.{name,version,frame_rate,accepts}
  echo "Labelled markers of the first frame: identifiers, and the skeletons that wear them"
  values "velmar.frame.number > 0" velmar.labeled_marker.{id,skeleton} | head -n 1
  echo "Descriptions: types, markers, bones, points, names"
  values velmar.descriptions velmar.{description.type,markers,bones,points,name}
  echo "Damaged"
  values "velmar.frame.number == 0 || _ws.expert" velmar.type _ws.expert.message
  echo "Foreign: $(values "udp && !velmar" udp.length)"
} >"$work/found.txt"
diff -u tests/tool/dissected.txt "$work/found.txt" || { cat "$work/tshark.log"; exit 1; }
echo "All fields are as sent."
