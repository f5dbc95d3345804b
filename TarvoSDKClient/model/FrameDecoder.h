// From a frame body to a record.
#ifndef TARVO_MODEL_FRAME_DECODER_H
#define TARVO_MODEL_FRAME_DECODER_H

#include "model/FrameExtent.h"

// Into a record without arrays that reads as zero beyond what `filled` says of it; what a frame before has left
// there is overwritten, and cleared where the new frame has no entries. False at the first count above its bound,
// at the end of the body, and when memory runs out; the failing count is in the record, and what follows it is as
// it was. `filled` is brought up to date in both cases, `consumed` on success.
bool DecodeFrame(const unsigned char* body, unsigned int available, int& consumed, sFrameOfMocapData& frame,
                 FrameExtent& filled);

#endif
