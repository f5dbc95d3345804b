// What goes between the program and a page that looks at a stream, over one WebSocket at /stream. The page's side
// of it stands in page/src/protocol.ts.
//
// To the page, text: *state*. Objects with a "type", reliable, sent anew to every page that connects. Of each type
// only the newest one matters; "losses" and "log" bring what is new, and with "anew" true everything that is kept.
//
//   hello         first of all: version (of the library), source {kind "server" or "recording", name}, unit (of
//                 length; "m" by convention), historySeconds (asked; 0 in a recording, which is kept whole)
//   descriptions  known; server (as velmar info --json has it, or null); list (its "descriptions"); labels:
//   whether the
//                 words of labelled markers are id, x, y, z, size, skeleton id. When not known, why is in "reason"
//   sets          names: of the marker sets of the newest frame, in its order
//   status        state, text (a line for people), notices (lines that matter until they go). State is one of
//                 "connecting", "refused", "silent" (connected, no frame), "streaming", "gone" (its interface),
//                 "recording"
//   statistics    twice a second: what velmar watch --json has in a line; passed_over (frames that this program
//   was
//                 too slow for), pages (that look on), history {oldest, newest (places), oldest_ms, newest_ms
//                 (times of arrival), frames, bytes}; null instead of history before the first frame
//   losses        marks: [{ms, too_slow, incomplete, undecodable, never_seen}], the last minute of lost frames by
//                 time of arrival and by cause, numbers of frames
//   log           lines: [{level 1..4, text}], of the library
//   pong          answers ping: id, clock_ms (this program's clock)
//
// To the page, binary: a *frame*. Little-endian, every field at a multiple of its size. At most one is on its way
// to a page: the next one comes when the page has said "taken".
//
//   prefix, of this page                      body, the same for all pages
//    0 u32 kFrameMagic                        32 f64 index, its place in the history, from 0
//    4 u32 skipped: in all, passed over for   40 f64 arrivalMs: since 1970, wall clock; of its last datagram
//          this page while it followed        48 f64 deliveredMs: on this program's clock, 0 in a recording
//    8 f64 sentMs, on this program's clock    56 f32 kernelMs: from arrival to delivery, 0 in a recording
//   16 f64 oldest place in the history        60 i32 frame number
//   24 f64 newest place                       64 u32 timecode, 68 u32 subframe, 72 u32 flags of the frame
//                                             76 u32 force plates, 80 u32 analog values, 84 u32 marker sets,
//                                             88 u32 markers of sets, 92 u32 other markers, 96 u32 labelled
//                                             markers, 100 u32 rigid bodies, 104 u32 skeletons, 108 u32 bones
//   112 force plates: f32 force[3] (N), centre of pressure[3], free moment (N m)             28 bytes each
//       analog values: f32                                                                    4
//       marker sets: u32 markers                                                              4
//       markers of sets, one set behind the other: f32 x, y, z                               12
//       other markers: f32 x, y, z                                                           12
//       labelled markers: six words as the server sent them                                  24
//       rigid bodies: i32 id, f32 position[3], f32 orientation[4] (x, y, z, w), f32 residual, u32 flags   40
//       skeletons: i32 id, u32 bones                                                          8
//       bones, one skeleton behind the other: as rigid bodies                                40
//
// From the page, text, objects of at most kMaxPageMessage bytes. Anything else ends the connection.
//
//   taken   the latest frame has been taken
//   live    follow: frames as they come, the newest next. So begins a page of a server
//   at      hold, and send one frame: of place "index", or the latest that arrived up to "ms" (since 1970); the
//   nearest
//           one that is kept. Sent again before the answer, the newest one counts. A page of a recording begins
//           with its first frame
//   ping    id (a number)
#ifndef VELMAR_VIEW_PAGE_PROTOCOL_H
#define VELMAR_VIEW_PAGE_PROTOCOL_H

#include <cstddef>
#include <cstdint>

inline constexpr std::uint32_t kFrameMagic = 0x31524656; // "VFR1"
inline constexpr std::size_t kFramePrefixSize = 32;
inline constexpr std::size_t kFrameBodyHeaderSize = 80;
inline constexpr std::size_t kMaxPageMessage = 256;

#endif
