// The plain exported functions: every one checks its handle and calls the method of the same name.

// A null pointer argument is a mistake of the caller's that must show in release builds too.
#undef NDEBUG
#include <cassert>
#include <new>

#include "TarvoSDKClient.h"

namespace {

constexpr int kFailed = 1;
constexpr int kNoClient = 2;

TarvoSDKClient* Client(void* handle) { return static_cast<TarvoSDKClient*>(handle); }

} // namespace

int CreateClient(void** phClient) {
    assert(phClient);
    *phClient = new (std::nothrow) TarvoSDKClient;
    return *phClient == nullptr ? kFailed : 0;
}

int DestroyClient(void* hClient) {
    if (hClient == nullptr) return kNoClient;
    delete Client(hClient);
    return 0;
}

int Initialize(void* hClient, char* serverAddress) {
    return hClient == nullptr ? kNoClient : Client(hClient)->Initialize(serverAddress);
}

int Uninitialize(void* hClient) { return hClient == nullptr ? kNoClient : Client(hClient)->Uninitialize(); }

int TarvoVersion(void* hClient, unsigned char* version) {
    if (hClient == nullptr) return kNoClient;
    Client(hClient)->TarvoSDKVersion(version);
    return 0;
}

int SetVerbosityLevel(void* hClient, int level) {
    if (hClient == nullptr) return kNoClient;
    Client(hClient)->SetVerbosityLevel(level);
    return 0;
}

int SetDataCallback(void* hClient, void (*callback)(sFrameOfMocapData*, void*), void* userData) {
    return hClient == nullptr ? kNoClient : Client(hClient)->SetDataCallback(callback, userData);
}

int SetMessageCallback(void* hClient, void (*callback)(int, char*)) {
    return hClient == nullptr ? kNoClient : Client(hClient)->SetMessageCallback(callback);
}

int SetForcePlateCallback(void* hClient, void (*callback)(sForcePlates*, void*), void* userData) {
    return hClient == nullptr ? kNoClient : Client(hClient)->SetForcePlateCallback(callback, userData);
}

int GetServerDescription(void* hClient, sServerDescription* description) {
    return hClient == nullptr ? kNoClient : Client(hClient)->GetServerDescription(description);
}

int GetDataDescriptions(void* hClient, sDataDescriptions** pDataDescriptions) {
    assert(pDataDescriptions);
    return hClient == nullptr ? kNoClient : Client(hClient)->GetDataDescriptions(pDataDescriptions);
}

int FreeDataDescriptions(void* hClient, sDataDescriptions* pDataDescriptions) {
    assert(pDataDescriptions);
    return hClient == nullptr ? kNoClient : Client(hClient)->FreeDataDescriptions(pDataDescriptions);
}

int GetDataDescriptionsEx(void* hClient, sDataDescriptions* pDataDescriptions, sDataDescriptions** library) {
    assert(pDataDescriptions);
    if (hClient == nullptr) return kNoClient;
    sDataDescriptions* list = nullptr;
    if (Client(hClient)->GetDataDescriptions(&list) != 0 || list == nullptr) return kNoClient;
    *library = list;
    *pDataDescriptions = *list;
    return 0;
}

int FreeDataDescriptionsEx(void* hClient, sDataDescriptions* pDataDescriptions) {
    assert(pDataDescriptions);
    return hClient == nullptr ? kNoClient : Client(hClient)->FreeDataDescriptions(pDataDescriptions);
}

int DecodeTimecode(void* hClient, unsigned int timecode, unsigned int subframe, int* hours, int* minutes,
                   int* seconds, int* frames, int* subframeOut) {
    if (hClient == nullptr) return kNoClient;
    return Client(hClient)->DecodeTimecode(timecode, subframe, hours, minutes, seconds, frames, subframeOut);
}

int TimecodeStringify(void* hClient, unsigned int timecode, unsigned int subframe, char* buffer, int bufferSize) {
    if (hClient == nullptr) return kNoClient;
    return Client(hClient)->TimecodeStringify(timecode, subframe, buffer, bufferSize);
}

int WaitForForcePlateInit(void* hClient, long timeoutMs) {
    return hClient == nullptr ? kNoClient : Client(hClient)->WaitForForcePlateInit(timeoutMs);
}

sFrameOfMocapData* GetLastFrameOfMocapData(void* hClient) {
    return hClient == nullptr ? nullptr : Client(hClient)->GetLastFrameOfMocapData();
}

int TarvoFreeFrame(void* hClient, sFrameOfMocapData* frame) {
    return hClient == nullptr ? kNoClient : Client(hClient)->TarvoFreeFrame(frame);
}
