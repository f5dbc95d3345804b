// The life of an endpoint and its receive loop.
#include "transport/CommandServer.h"

#include <arpa/inet.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "client/GlobalObject.h"
#include "platform/Presence.h"
#include "platform/Reports.h"
#include "platform/StreamSocket.h"
#include "platform/Utility.h"

using System::CDatagramBatch;
using System::CGuard;
using System::CPlainGuard;
using System::CPresence;
using System::CUtility;
namespace StreamSocket = System::StreamSocket;

namespace {

constexpr unsigned int kSendAreaSize = 131072;
constexpr unsigned int kPauseAfterFailureMs = 10; // keeps a failing receive from spinning

} // namespace

CCommandServer::~CCommandServer() { Stop(); }

const System::CSocketFacade& CCommandServer::Facade() {
    return CommonKit::TSingletons<CGlobalObject>::Instance().SocketFacade();
}

int CCommandServer::Start(const char* /*localAddress*/, const char* address, int port, bool loopback) {
    if (!Claim()) return 1;
    m_port = static_cast<unsigned int>(port);
    m_learnsPeer = false;
    m_multicast = IsMulticast(address);
    m_ownPort = m_multicast ? m_port : kNoPort;
    int handle = -1;
    try {
        m_address = address == nullptr ? "" : address;
    } catch (const std::bad_alloc&) {
        return StartWith(false, handle);
    }
    const bool opened = OpenPeerSocket(handle, loopback) == 0;
    return StartWith(opened, handle);
}

int CCommandServer::Start(const char* /*address*/, int port) {
    if (!Claim()) return 1;
    m_port = static_cast<unsigned int>(port);
    m_learnsPeer = true;
    m_multicast = false;
    m_ownPort = kNoPort;
    int handle = -1;
    const bool opened = Facade().Server(handle, m_port, System::kProtocolUdp) == 0;
    return StartWith(opened, handle);
}

// False when it runs already, or still has to end and cannot.
bool CCommandServer::Claim() {
    if (IsStopping() && Stop() != 0) return false;
    if (m_running.exchange(true)) return false;
    m_claimed = true;
    return true;
}

int CCommandServer::OpenPeerSocket(int& handle, bool loopback) {
    if (m_multicast) return OpenGroupSocket(handle, loopback);
    return Facade().Client(handle, m_address.c_str(), m_port, System::kProtocolUdp, 0);
}

int CCommandServer::StartWith(bool opened, int handle) {
    m_join.Reset();
    if (opened) {
        unsigned int count = 0;
        Facade().GetLocalAddress(m_localAddresses.data(), count);
        m_localAddressCount = static_cast<int>(count);
        StreamSocket::Prepare(handle, kSocketReceiveBuffer);
        m_ledger.Reset(kSocketReceiveBuffer, StreamSocket::GrantedBuffer(handle));
        m_socket.SetSocket(handle, System::kProtocolUdp);
        if (CreateResources() == 0) return 0;
    }
    Report::Failed();
    Stop();
    return 1;
}

int CCommandServer::CreateResources() {
    if (m_sendArea.Create(kSendAreaSize) != 0 || m_receiveArea.Create() != 0 ||
        m_joinArea.Create(CMessageJoin::kAreaSize) != 0)
        return 1;
    m_join.Use(m_joinArea.Buffer(), m_joinArea.Length());
    if (m_mutex.create() != 0) return 1;
    if (m_events.initialize() != 0) return 1;
    m_requestsReady = true;
    m_gate.Open();
    return m_thread.Start(this);
}

int CCommandServer::Stop() {
    BeginStop();
    if (!m_claimed) return 0;
    if (CPresence::Of(this)) return 1;
    FinishStop();
    return 0;
}

void CCommandServer::BeginStop() {
    if (m_running.exchange(false)) WakeAndShutDown();
}

// From here on nobody waits and nobody enters, and the receive loop ends when its datagram is handled.
void CCommandServer::WakeAndShutDown() {
    m_gate.Close();
    if (m_requestsReady) {
        const CGuard guard(&m_mutex);
        m_pending.clear(); // a request that wakes and finds no entry ends
        m_events.signal();
    }
    m_thread.running = false;
    ShutDownSocket();
}

void CCommandServer::ShutDownSocket() {
    if (m_multicast)
        ShutDownGroupSocket();
    else
        m_socket.ShutDown();
}

// The descriptor is closed only when no thread can be blocked on it, so that its number cannot be given to
// another socket under a receive.
void CCommandServer::FinishStop() {
    m_thread.Stop();
    m_gate.AwaitEmpty();
    m_socket.Release();
    m_sendArea.Destroy();
    m_receiveArea.Destroy();
    m_join.Use(nullptr, 0);
    m_joinArea.Destroy();
    if (m_requestsReady) m_events.destroy();
    m_requestsReady = false;
    m_mutex.destroy();
    {
        const CPlainGuard guard(m_userDataLock);
        m_userData.fill(nullptr);
    }
    m_claimed = false;
}

bool CCommandServer::IsMulticast(const char* address) {
    constexpr std::size_t kPrefix = 3;
    if (address == nullptr || strnlen(address, kPrefix) < kPrefix) return false;
    const char prefix[kPrefix + 1] = {address[0], address[1], address[2], '\0'};
    return (std::strtol(prefix, nullptr, 10) & ~0xFL) == 224;
}

int CCommandServer::IsLocalAddress(unsigned int address) const {
    const auto* const end = m_localAddresses.data() + m_localAddressCount;
    return std::find(m_localAddresses.data(), end, htonl(address)) == end ? 1 : 0;
}

int CCommandServer::SetUserData(DataType type, void* value) {
    if (type != DataType_Stream && type != DataType_ForcePlate) return 0;
    const CPlainGuard guard(m_userDataLock);
    m_userData[static_cast<std::size_t>(type) - 1] = value;
    return 0;
}

void* CCommandServer::UserData(DataType type) {
    const CPlainGuard guard(m_userDataLock);
    return m_userData[static_cast<std::size_t>(type) - 1];
}

// The thread is present in the feeds that it fills: nobody may wait on it for what it brings.
int CCommandServer::RunTask() {
    const CPresence present(m_feeds);
    while (m_running)
        if (!ReceiveOnce()) break;
    return 0;
}

// False when the loop has nothing to receive from any more. One call takes all datagrams that wait, since the call
// is what a small one costs most for; a stop is seen between two of them.
bool CCommandServer::ReceiveOnce() {
    if (m_socket.IsValid()) {
        Report::Failed();
        return false;
    }
    if (m_mayBeFull.load(std::memory_order_relaxed)) {
        m_ledger.SawWaiting(StreamSocket::Waiting(m_socket));
        m_mayBeFull.store(false, std::memory_order_relaxed);
    }
    if (m_socket.Receive(m_receiveArea) != 0) {
        Report::Failed();
        CUtility::Sleep(kPauseAfterFailureMs);
        return true;
    }
    unsigned int handled = 0;
    do {
        HandleDatagram(m_receiveArea[handled]);
    } while (++handled < m_receiveArea.Count() && m_running);
    if (m_receiveArea.IsFull()) m_mayBeFull.store(true, std::memory_order_relaxed);
    return true;
}

void CCommandServer::HandleDatagram(const CDatagramBatch::Datagram& datagram) {
    const bool isRunning = m_running;
    if (isRunning) m_ledger.Received(datagram);
    if (datagram.length == 0) { // also what a receive brings that the shut-down of the socket ends
        if (isRunning) m_ledger.IsTooShort();
        Report::Failed();
        CUtility::Sleep(kPauseAfterFailureMs);
        return;
    }
    if (!isRunning || IsOwnDatagram(htonl(datagram.sender), datagram.senderPort)) return;
    if (datagram.sender != m_sender) Facade().ChangeIpAddress(datagram.sender, m_senderText, sizeof m_senderText);
    m_sender = datagram.sender;
    DisposeStream(m_senderText, datagram.senderPort, datagram.data, datagram.length);
}

bool CCommandServer::IsOwnDatagram(unsigned int sender, unsigned int senderPort) const {
    const auto* const end = m_localAddresses.data() + m_localAddressCount;
    return senderPort == m_ownPort && std::find(m_localAddresses.data(), end, sender) != end;
}
