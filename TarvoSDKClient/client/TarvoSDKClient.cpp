// The public class: every method checks that there is a session and forwards to it.
#include "TarvoSDKClient.h"

#include <new>

#include "client/ClientCore.h"

namespace {

constexpr int kNoClient = 2;
constexpr int kNotSupported = 10;
constexpr int kMulticast = 0;

} // namespace

TarvoSDKClient::TarvoSDKClient() : m_core(new (std::nothrow) ClientCore(kMulticast)) {}

TarvoSDKClient::~TarvoSDKClient() {
    if (m_core == nullptr) return;
    m_core->Uninitialize();
    // In a callback of this client, also when the process exits in one, a thread is still at work in the session,
    // which is left to it.
    if (m_core->CanBeDestroyed()) delete m_core;
    // A destroyed client is one without a session. Written as volatile, since a compiler may leave out stores to
    // an object that ends.
    *const_cast<ClientCore* volatile*>(&m_core) = nullptr;
}

int TarvoSDKClient::Initialize(char* serverAddress) {
    return m_core == nullptr ? kNoClient : m_core->Initialize(nullptr, serverAddress);
}

int TarvoSDKClient::Uninitialize() { return m_core == nullptr ? kNoClient : m_core->Uninitialize(); }

void TarvoSDKClient::TarvoSDKVersion(unsigned char* version) { Quorin_GetVersion(version); }

void TarvoSDKClient::SetVerbosityLevel(int level) {
    if (m_core != nullptr) m_core->SetVerbosityLevel(level);
}

int TarvoSDKClient::WaitForForcePlateInit(long timeoutMs) {
    if (m_core == nullptr) return kNoClient;
    return m_core->IsSDKSupport() ? m_core->WaitForForcePlateInit(timeoutMs) : kNotSupported;
}

int TarvoSDKClient::SetForcePlateCallback(void (*callback)(sForcePlates*, void*), void* userData) {
    return m_core == nullptr ? kNoClient : m_core->SetForcePlateCallback(callback, userData);
}

int TarvoSDKClient::SetDataCallback(void (*callback)(sFrameOfMocapData*, void*), void* userData) {
    return m_core == nullptr ? kNoClient : m_core->SetDataCallback(callback, userData);
}

int TarvoSDKClient::SetMessageCallback(void (*callback)(int, char*)) {
    return m_core == nullptr ? kNoClient : m_core->SetMessageCallback(callback);
}

int TarvoSDKClient::GetServerDescription(sServerDescription* description) {
    return m_core == nullptr ? kNoClient : m_core->GetServerDescription(description);
}

int TarvoSDKClient::GetDataDescriptions(sDataDescriptions** descriptions) {
    if (m_core == nullptr) return kNoClient;
    return m_core->IsSDKSupport() ? m_core->GetDataDescriptions(descriptions) : kNotSupported;
}

int TarvoSDKClient::GetDataDescriptionsEx(sDataDescriptions** descriptions) {
    if (m_core == nullptr) return kNoClient;
    return m_core->IsSDKSupport() ? m_core->GetDataDescriptionsEx(descriptions) : kNotSupported;
}

int TarvoSDKClient::FreeDataDescriptions(sDataDescriptions* descriptions) {
    return Quorin_FreeDescriptions(descriptions);
}

int TarvoSDKClient::DecodeTimecode(unsigned int timecode, unsigned int subframe, int* hours, int* minutes,
                                   int* seconds, int* frames, int* subframeOut) {
    return Quorin_DecodeTimecode(timecode, subframe, hours, minutes, seconds, frames, subframeOut);
}

int TarvoSDKClient::TimecodeStringify(unsigned int timecode, unsigned int subframe, char* buffer, int bufferSize) {
    return Quorin_TimecodeStringify(timecode, subframe, buffer, bufferSize);
}

int TarvoSDKClient::TarvoCopyFrame(const sFrameOfMocapData* source, sFrameOfMocapData* destination) {
    return Quorin_CopyFrame(source, destination);
}

int TarvoSDKClient::TarvoFreeFrame(sFrameOfMocapData* frame) { return Quorin_FreeFrame(frame); }

sFrameOfMocapData* TarvoSDKClient::GetLastFrameOfMocapData() {
    return m_core == nullptr ? nullptr : m_core->GetLastFrameOfData();
}
