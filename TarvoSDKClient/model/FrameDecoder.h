// From a frame body to a record.
#ifndef TARVO_MODEL_FRAME_DECODER_H
#define TARVO_MODEL_FRAME_DECODER_H

#include "model/FrameExtent.h"

// Into a record that reads as zero; `filled` (at first {}) says then how far it does not, also after a failure.
// False at the first count above its bound, at the end of the body, and when memory runs out; the failing count is
// in the record, and what follows it is zero. `consumed` is written on success.
bool DecodeFrame(const unsigned char* body, unsigned int available, int& consumed, sFrameOfMocapData& frame,
                 FrameExtent& filled);

#endif
