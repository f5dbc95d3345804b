// The codec between the public records and message bodies, for whoever sends frames, descriptions or
// media packets in place of a capture server; the client library itself uses only the decoders.
#ifndef TARVO_APP_DATA_MODEL_H
#define TARVO_APP_DATA_MODEL_H

#include "TarvoSDKClient.h"
#include "TarvoWire.h"

// Stateless: any number may be used at once, from any thread, on different records. Nothing throws.
//
// Bodies are byte streams without alignment, little-endian. Encoders check nothing and never fail: the
// record must be within its bounds and the buffer large enough. Every decoder has two forms: the one
// with `available` never reads past that many bytes; the other trusts the body to be complete. `length`
// is an output: the bytes written or consumed, unchanged by a failure.
class TARVO_API CAppDataModel {
public:
    // Frame body:
    //   int32 frameNumber, int32 M, M x {char[256] name, int32 n, n x triple},
    //   int32 K, K x triple,
    //   int32 R, R x body, with body = {int32 id, float[3] position, float[4] orientation, int32 n,
    //       n x triple, n x int32 id, n x float size, float residual, uint16 flags},
    //   int32 S, S x {int32 id, int32 b, b x body},
    //   int32 L, L x 24 bytes, int32 A, A x float,
    //   uint32 timecode, uint32 subframe, uint32 aux, uint64 aux, uint16 flags
    // An empty frame is 50 bytes long. Returns 0.
    int EncodeMocap(sFrameOfMocapData* frame, unsigned char* buffer, int& length);

    // 0: `frame` is a new frame, released with ReleaseMocap. 1: a count is above its bound, the body ends
    // early, or memory ran out; `frame` is then null or what was decoded so far, zero after it, with the
    // failing count as read, and is released with ReleaseMocap too.
    // Arrays with a count of 0 are not null and not on the heap; a skeleton without bodies has a null array.
    int DecodeMocap(const unsigned char* buffer, int& length, sFrameOfMocapData*& frame);
    int DecodeMocap(const unsigned char* buffer, unsigned int available, int& length, sFrameOfMocapData*& frame);

    // Releases the arrays of a decoded frame and the record. Null is ignored. Returns 0.
    int ReleaseMocap(sFrameOfMocapData* frame);

    // Description body: int32 d, d x {int32 type, block}, with the block of
    //   marker set   {int32 n, char[256] name, n x char[256] marker name}
    //   rigid body   292 bytes
    //   skeleton     {char[256] name, int32 id, int32 b, b x 292 bytes}
    //   force plate  8584 bytes
    //   point group  {int32 n, char[256] name, n x 12 bytes}
    //   other types  nothing
    // An entry without a record is written as an empty one of its type. Returns 0.
    int EncodeDescription(sDataDescriptions* list, unsigned char* buffer, int& length);

    // 0: `list` is a new list, released with ReleaseDescription; an entry for whose record memory ran out
    // has null data. A list whose count is 0 or negative has no entries. 1: a count is above its bound, a count
    // inside an entry is negative, the body ends early, or memory ran out for the list; `list` is then null and
    // nothing remains to be released.
    int DecodeDescription(const unsigned char* buffer, int& length, sDataDescriptions*& list);
    int DecodeDescription(const unsigned char* buffer, unsigned int available, int& length,
                          sDataDescriptions*& list);

    // Releases the list with everything in it. Null is ignored. Returns 0.
    int ReleaseDescription(sDataDescriptions* list);

    // A media body is the 300,008-byte image of an sPacket. Encoding returns 0.
    int EncodeMedia(sPacket* packet, unsigned char* buffer, int& length);

    // 0: `packet` is new, released with ReleaseMedia; bytes that the body does not supply are zero.
    // 1: memory ran out, `packet` is null.
    int DecodeMedia(const unsigned char* buffer, int& length, sPacket*& packet);
    int DecodeMedia(const unsigned char* buffer, unsigned int available, int& length, sPacket*& packet);

    // Null is ignored. Returns 0.
    int ReleaseMedia(sPacket* packet);
};

#endif
