// Start-up, shut-down and settings of a session.
#include "client/ClientCore.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <new>

#include "client/GlobalObject.h"
#include "platform/AppCallBack.h"
#include "platform/OutputMessage.h"
#include "platform/Presence.h"
#include "platform/Reports.h"

using Application::CAppCallBack;
using System::CPresence;

namespace {

constexpr const char* kAnyAddress = "0.0.0.0";
constexpr unsigned int kHandshakeTimeoutMs = 5000;
constexpr int kVersionRefused = 10;

CGlobalObject& Global() { return CommonKit::TSingletons<CGlobalObject>::Instance(); }

// False when memory ran out; the text is then empty.
bool Assign(std::string& text, const char* value) {
    try {
        text = value;
        return true;
    } catch (const std::bad_alloc&) {
        text.clear();
        return false;
    }
}

} // namespace

ClientCore::ClientCore(int connectionType) : m_connectionType(connectionType) {
    ResetSettings();
    CPlatformResource& platform = Global().Platform();
    if (!platform.State()) platform.Initialize();
}

ClientCore::~ClientCore() { Uninitialize(); }

void ClientCore::Initialize() { ResetSettings(); }

int ClientCore::Initialize(char* localAddress, char* serverAddress) {
    return Initialize(localAddress, serverAddress, kDefaultCommandPort, kDefaultDataPort);
}

int ClientCore::Initialize(char* localAddress, char* serverAddress, int commandPort) {
    return Initialize(localAddress, serverAddress, commandPort, kDefaultDataPort);
}

int ClientCore::Initialize(char* localAddress, char* serverAddress, int commandPort, int dataPort) {
    if (IsStopping() && !InOwnCallback()) Uninitialize();
    if (m_initialised || InOwnCallback()) return 1;
    if (!Assign(m_localAddress, localAddress == nullptr ? "" : localAddress)) {
        Report::Failed();
        return 1;
    }
    m_commandPort = commandPort;
    m_dataPort = dataPort;
    const CPresence present(this);
    m_endsLater = false;
    m_starting = true;
    m_feeds.CountAnew();
    const bool hadEnded = m_feeds.SetEnded(false);
    const int result = StartSession(serverAddress);
    m_starting = false;
    m_initialised = result == 0 && !m_endsLater;
    if (m_initialised) return 0;
    m_data.Stop();
    m_command.Stop();
    m_feeds.SetEnded(hadEnded || m_endsLater);
    if (!m_endsLater) return result;
    ResetSettings();
    return 1;
}

int ClientCore::StartSession(const char* serverAddress) {
    if (m_command.Start(m_localAddress.c_str(), serverAddress, m_commandPort, true) != 0 || m_endsLater) return 1;
    int result = ShakeHands();
    if (result == 0 && !m_endsLater) result = JoinStream(serverAddress);
    if (result != 0 || m_endsLater) return std::max(result, 1);
    unsigned char hello[sizeof kHelloText];
    std::copy(std::begin(kHelloText), std::end(kHelloText), hello);
    m_command.Send(PackageType_Hello, hello, sizeof hello, 0);
    return 0;
}

int ClientCore::ShakeHands() {
    unsigned char request[kVersionRecordSize] = {};
    TarvoSDKVersion(request + kVersionOffset);
    sPacket reply; // filled whole by a reply
    if (m_command.Call(PackageType_VersionRequest, request, sizeof request, &reply, kHandshakeTimeoutMs) != 0)
        return 1;
    if (reply.data[kVersionAcceptedOffset] == 0) return RefuseVersion(reply);
    m_sdkSupported = true;
    return 0;
}

int ClientCore::RefuseVersion(const sPacket& reply) {
    const unsigned char* const version = reply.data + kVersionOffset;
    char text[256];
    std::snprintf(text, sizeof text,
                  "[Error] Current SDKVersion is Not Supported, Found the Server Version is:%u.%u.%u.%u\n",
                  version[0], version[1], version[2], version[3]);
    COutputMessage::Error("%s", text);
    return kVersionRefused;
}

int ClientCore::JoinStream(const char* serverAddress) {
    GroupChoice choice;
    if (m_streamInterface.empty()) {
        choice = GroupChoice::Facing(serverAddress, static_cast<unsigned int>(m_commandPort));
    } else if (!GroupChoice::Named(m_streamInterface, choice)) {
        Report::NoInterface(m_streamInterface.c_str());
        return 1;
    }
    m_data.JoinOn(choice);
    return m_data.Start(m_localAddress.c_str(), m_multicastAddress.c_str(), m_dataPort, true);
}

int ClientCore::Uninitialize() {
    const bool inOwnLine = CPresence::Of(this); // of a start or a shut-down that is under way
    if (inOwnLine && !m_starting) return 0;
    if (inOwnLine || (InOwnCallback() && !IsIdle())) return EndLater(inOwnLine);
    const CPresence present(this);
    m_initialised = false;
    m_data.Stop();
    m_command.Stop();
    m_feeds.SetEnded(true);
    ResetSettings();
    return 0;
}

// A start looks at the flag between its steps, and undoes what it has made in order.
int ClientCore::EndLater(bool inOwnStart) {
    m_sdkSupported = false;
    m_feeds.SetEnded(true);
    const bool isFirst = !m_endsLater.exchange(true);
    if (!inOwnStart) {
        m_data.BeginStop();
        // The stream's thread may wait for those of the commands, since they never wait for it.
        if (CPresence::Of(&m_command))
            m_command.BeginStop();
        else
            m_command.Stop();
    }
    if (isFirst) Report::ShutDownInCallback();
    return 0;
}

bool ClientCore::InOwnCallback() const {
    return CPresence::Of(this) || CPresence::Of(&m_command) || CPresence::Of(&m_data);
}

void ClientCore::ResetSettings() {
    m_sdkSupported = false;
    m_initialised = false;
    m_loopBack = false;
    m_commandPort = kDefaultCommandPort;
    m_dataPort = kDefaultDataPort;
    Assign(m_localAddress, kAnyAddress);
    Assign(m_multicastAddress, kDefaultMulticastGroup);
}

void ClientCore::SetMulticastAddress(char* address) {
    if (!Assign(m_multicastAddress, address)) Report::Failed();
}

void ClientCore::TarvoSDKVersion(unsigned char* version) const { Global().GetVersion(version); }

int ClientCore::SetStreamInterface(const char* nameOrAddress) {
    GroupChoice choice;
    if (*nameOrAddress != '\0' && !GroupChoice::Named(nameOrAddress, choice)) {
        Report::NoInterface(nameOrAddress);
        return 1;
    }
    if (Assign(m_streamInterface, nameOrAddress)) return 0;
    Report::Failed();
    return 1;
}

sStreamStatistics ClientCore::GetStreamStatistics() const {
    sStreamStatistics statistics{};
    m_data.ReportStream(statistics);
    statistics.feedsDropped = m_feeds.Dropped();
    return statistics;
}

bool ClientCore::GetFrameTimes(sFrameTimes& times) const {
    const sFrameTimes* inHand = m_data.FrameInHand();
    if (inHand == nullptr) inHand = m_command.FrameInHand();
    if (inHand != nullptr) times = *inHand;
    return inHand != nullptr;
}

int ClientCore::SetVerbosityLevel(int level) { return COutputMessage::SetLevel(static_cast<Verbosity>(level)); }

int ClientCore::SetMessageCallback(tMessageCallback callback) { return CAppCallBack::SetLogMessageCB(callback); }

int ClientCore::SetDataCallback(tFrameCallback callback, void* userData) {
    m_command.SetUserData(CCommandServer::DataType_Stream, userData);
    m_data.SetUserData(CCommandServer::DataType_Stream, userData);
    return CAppCallBack::SetStreamFunc(callback);
}

int ClientCore::SetForcePlateCallback(tForcePlateCallback callback, void* userData) {
    m_command.SetUserData(CCommandServer::DataType_ForcePlate, userData);
    m_data.SetUserData(CCommandServer::DataType_ForcePlate, userData);
    return CAppCallBack::SetForcePlateFunc(callback);
}

sFrameOfMocapData* ClientCore::GetLastFrameOfData() { return Global().readCache(); }

int ClientCore::DecodeTimecode(unsigned int timecode, unsigned int subframe, int* hours, int* minutes,
                               int* seconds, int* frames, int* subframeOut) const {
    Quorin_DecodeTimecode(timecode, subframe, hours, minutes, seconds, frames, subframeOut);
    return 1;
}

int ClientCore::TimecodeStringify(unsigned int timecode, unsigned int subframe, char* buffer,
                                  int bufferSize) const {
    Quorin_TimecodeStringify(timecode, subframe, buffer, bufferSize);
    return 1;
}
