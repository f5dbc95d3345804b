// Listening and connecting sockets, stream sending and receiving, and the host's own addresses.
#include <arpa/inet.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "platform/Reports.h"
#include "platform/SocketCalls.h"
#include "platform/SocketFacade.h"
#include "platform/Utility.h"

namespace System {

namespace {

constexpr int kListenBacklog = 5;
constexpr unsigned int kAcceptPauseMs = 10; // keeps a server loop from spinning on a persistent failure
constexpr unsigned int kHostNameSize = 256;

// Reports the error of the call that just failed, closes the socket and passes the result on.
int GiveUp(const CSocketFacade& facade, int socket, int result, int line = __builtin_LINE()) {
    Report::SocketError(socket, errno, line);
    facade.Close(socket);
    return result;
}

// 0, or the error that a finished connect left on the socket.
int PendingError(int socket) {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) != 0) return errno;
    return error;
}

} // namespace

int CSocketFacade::Server(int& socket, unsigned int port, unsigned int protocol) const {
    if (protocol > kProtocolUdp) {
        Report::Failed();
        return 1;
    }
    socket = Calls::OpenSocket(protocol);
    if (socket == -1) return 1;
    const bool stream = protocol == kProtocolTcp;
    if (stream) Calls::SetOption(socket, SOL_SOCKET, SO_REUSEADDR, 1);
    if (Calls::Bind(socket, Calls::MakeAddress(INADDR_ANY, port)) != 0) return GiveUp(*this, socket, 1);
    if (stream && listen(socket, kListenBacklog) != 0) return GiveUp(*this, socket, 1);
    return 0;
}

int CSocketFacade::Client(int& socket, const char* address, unsigned int port, unsigned int protocol,
                          unsigned int timeoutMs) const {
    if (timeoutMs == 0) return BlockClient(socket, address, port, protocol);
    return NoBlockClient(socket, address, port, protocol, timeoutMs);
}

int CSocketFacade::OpenClient(int& socket, const char* address, unsigned int protocol,
                              unsigned int& resolved) const {
    if (protocol > kProtocolUdp) {
        Report::Failed();
        return 1;
    }
    socket = Calls::OpenSocket(protocol);
    if (socket == -1) return 7;
    if (protocol == kProtocolTcp) {
        Calls::SetOption(socket, SOL_SOCKET, SO_REUSEADDR, 1);
        if (Calls::Bind(socket, Calls::MakeAddress(INADDR_ANY, 0)) != 0) return GiveUp(*this, socket, 7);
    }
    if (const int result = GetIpByName(address, resolved)) {
        Report::Failed();
        Close(socket);
        return result;
    }
    return 0;
}

int CSocketFacade::BlockClient(int& socket, const char* address, unsigned int /*port*/,
                               unsigned int protocol) const {
    unsigned int resolved = 0;
    return OpenClient(socket, address, protocol, resolved);
}

int CSocketFacade::NoBlockClient(int& socket, const char* address, unsigned int port, unsigned int protocol,
                                 unsigned int timeoutMs) const {
    unsigned int resolved = 0;
    if (const int result = OpenClient(socket, address, protocol, resolved)) return result;
    int result = SetSessionBlock(socket, 1);
    if (result == 0) {
        if (AwaitConnection(socket, address, port, resolved, timeoutMs) != 0) {
            Close(socket);
            return 14;
        }
        result = SetSessionBlock(socket, 0);
    }
    if (result != 0) {
        Report::Failed();
        Close(socket);
    }
    return result;
}

int CSocketFacade::AwaitConnection(int socket, const char* address, unsigned int port, unsigned int resolved,
                                   unsigned int timeoutMs) const {
    const sockaddr_in destination = Calls::MakeAddress(resolved, port);
    if (connect(socket, reinterpret_cast<const sockaddr*>(&destination), sizeof destination) != 0 &&
        errno != EINPROGRESS) {
        Report::ConnectFailed(address, port, timeoutMs, errno);
        return 1;
    }
    if (Calls::AwaitEvents(socket, POLLIN | POLLOUT, timeoutMs) == 0) {
        Report::ConnectFailed(address, port, timeoutMs, ETIMEDOUT);
        return 1;
    }
    if (const int error = PendingError(socket)) {
        Report::ConnectFailed(address, port, timeoutMs, error);
        return 1;
    }
    return 0;
}

int CSocketFacade::Accept(int& client, int listening, unsigned int& address, unsigned int& port) const {
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    client = accept4(listening, reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC);
    if (client == 0 || client == -1) {
        Report::SocketError(listening, errno);
        CUtility::Sleep(kAcceptPauseMs);
        return 1;
    }
    address = ntohl(peer.sin_addr.s_addr);
    port = ntohs(peer.sin_port);
    return 0;
}

int CSocketFacade::Send(int socket, const void* data, unsigned int length, bool /*flag*/) const {
    if (socket == -1) {
        Report::Failed();
        return 1;
    }
    const auto* bytes = static_cast<const unsigned char*>(data);
    while (length > 0) {
        const ssize_t taken = send(socket, bytes, length, MSG_NOSIGNAL);
        if (taken == -1) {
            Report::SocketError(socket, CUtility::GetSystemError());
            return 1;
        }
        bytes += taken;
        length -= static_cast<unsigned int>(taken);
    }
    return 0;
}

int CSocketFacade::Receive(int socket, void* buffer, unsigned int& length, bool /*flag*/) const {
    if (socket == -1) {
        Report::Failed();
        return 1;
    }
    const ssize_t received = recv(socket, buffer, length, 0);
    if (received == -1) {
        Report::SocketError(socket, errno);
        return 1;
    }
    length = static_cast<unsigned int>(received);
    return 0;
}

int CSocketFacade::Receive(int socket, void* buffer, unsigned int& length, unsigned int timeoutMs,
                           bool flag) const {
    if (socket == -1) {
        Report::Failed();
        return 1;
    }
    const int ready = Calls::AwaitEvents(socket, POLLIN, timeoutMs);
    if (ready != 1) {
        Report::SocketError(socket, ready == 0 ? ETIMEDOUT : errno);
        return 1;
    }
    return Receive(socket, buffer, length, flag);
}

int CSocketFacade::SetSessionBlock(int socket, unsigned int nonBlocking) const {
    int value = static_cast<int>(nonBlocking);
    if (ioctl(socket, FIONBIO, &value) != 0) {
        Report::SocketError(socket, errno);
        return 7;
    }
    return 0;
}

int CSocketFacade::SetSessionKeepalive(int /*socket*/) const { return 0; }

int CSocketFacade::GetHostName(char* name, unsigned int capacity) const {
    if (gethostname(name, capacity) != 0) {
        Report::SystemError(errno);
        return 1;
    }
    return 0;
}

int CSocketFacade::GetIpAddress(char* text) const {
    char name[kHostNameSize];
    unsigned int address = 0;
    if (GetHostName(name, sizeof name) != 0 || GetIpByName(name, address) != 0) {
        Report::Failed();
        return 1;
    }
    return ChangeIpAddress(address, text, kHostNameSize);
}

int CSocketFacade::GetSocketAddress(int socket, char* text) const {
    if (socket == 0) {
        Report::Failed();
        return 1;
    }
    sockaddr_in local{};
    socklen_t size = sizeof local;
    if (getsockname(socket, reinterpret_cast<sockaddr*>(&local), &size) != 0) {
        Report::SocketError(socket, errno);
        return 1;
    }
    return ChangeIpAddress(ntohl(local.sin_addr.s_addr), text, INET_ADDRSTRLEN);
}

int CSocketFacade::GetPeerAddress(int socket, char* text) const {
    if (socket == 0) {
        Report::Failed();
        return 1;
    }
    sockaddr_in peer{};
    socklen_t size = sizeof peer;
    if (getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) != 0) {
        Report::SocketError(socket, errno);
        return 1;
    }
    return ChangeIpAddress(ntohl(peer.sin_addr.s_addr), text, INET_ADDRSTRLEN);
}

int CSocketFacade::GetMacAddress(char* text, bool withColons) const {
    char name[kHostNameSize];
    if (GetHostName(name, sizeof name) != 0) return 1;
    const char* const zeros = withColons ? "00:00:00:00:00:00" : "000000000000";
    std::snprintf(text, withColons ? sizeof "00:00:00:00:00:00" : sizeof "000000000000", "%s", zeros);
    return 0;
}

int CSocketFacade::GetLocalAddress(unsigned int* /*addresses*/, unsigned int& /*count*/) const { return 0; }

int CSocketFacade::IP_to_MAC(char* /*address*/, unsigned char* /*mac*/, char* /*interfaceName*/) const {
    return 0;
}

int CSocketFacade::GetPeerMacByIP(const char* /*interfaceName*/, const char* /*address*/,
                                  unsigned char* /*mac*/) const {
    return 0;
}

} // namespace System
