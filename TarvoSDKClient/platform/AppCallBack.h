// The callback registry: what the application asked to be told about, for the whole process.
#ifndef TARVO_PLATFORM_APP_CALL_BACK_H
#define TARVO_PLATFORM_APP_CALL_BACK_H

#include "TarvoSDKClient.h"
#include "platform/OutputMessage.h"

namespace Application {

// Every operation is callable from any thread and returns 0 where it returns a number. Setting null clears a
// callback; a callback that is replaced while another thread is about to call it may be called once more. Callers
// hold no lock of the library while they deliver.
class CAppCallBack {
public:
    static int SetLogMessageCB(tMessageCallback callback);
    static int SetStreamFunc(tFrameCallback callback);
    static int SetForcePlateFunc(tForcePlateCallback callback);

    static bool HasStreamFunc();

    // Each calls its callback with the arguments unchanged, or does nothing when none is set.
    static int OutputMessage(Verbosity level, char* text);
    static int Stream(sFrameOfMocapData* frame, void* userData);
    static int ForcePlate(sForcePlates* plates, void* userData);
};

} // namespace Application

#endif
