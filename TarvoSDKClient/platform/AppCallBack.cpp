#include "platform/AppCallBack.h"

#include <atomic>

namespace Application {

namespace {
std::atomic<tMessageCallback> g_message{nullptr};
std::atomic<tFrameCallback> g_frame{nullptr};
std::atomic<tForcePlateCallback> g_forcePlate{nullptr};
} // namespace

int CAppCallBack::SetLogMessageCB(tMessageCallback callback) {
    g_message.store(callback);
    return 0;
}

int CAppCallBack::SetStreamFunc(tFrameCallback callback) {
    g_frame.store(callback);
    return 0;
}

int CAppCallBack::SetForcePlateFunc(tForcePlateCallback callback) {
    g_forcePlate.store(callback);
    return 0;
}

bool CAppCallBack::HasStreamFunc() { return g_frame.load() != nullptr; }

int CAppCallBack::OutputMessage(Verbosity level, char* text) {
    if (const tMessageCallback callback = g_message.load()) callback(level, text);
    return 0;
}

int CAppCallBack::Stream(sFrameOfMocapData* frame, void* userData) {
    if (const tFrameCallback callback = g_frame.load()) callback(frame, userData);
    return 0;
}

int CAppCallBack::ForcePlate(sForcePlates* plates, void* userData) {
    if (const tForcePlateCallback callback = g_forcePlate.load()) callback(plates, userData);
    return 0;
}

} // namespace Application
