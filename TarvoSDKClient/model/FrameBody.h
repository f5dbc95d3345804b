// A frame's message body as it is kept until a reader decodes it.
#ifndef TARVO_MODEL_FRAME_BODY_H
#define TARVO_MODEL_FRAME_BODY_H

#include "TarvoSDKClient.h"

// The bytes that a frame's body takes. False when it has no body: a count is outside its bounds, or an array that
// is not empty is null.
bool MeasureFrame(const sFrameOfMocapData& frame, unsigned int& size);

#endif
