// What every socket operation shares: closing, ports, handles and address conversion.
#include "platform/SocketFacade.h"

#include <arpa/inet.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/Reports.h"
#include "platform/SocketCalls.h"

namespace System {

namespace {

constexpr unsigned int kHighestPort = 65535;
constexpr const char* kBroadcastAddress = "255.255.255.255";
constexpr std::size_t kAddressTextSize = 16;

// Asks the system itself, for a process without the process file system.
bool IsOpenSocket(int handle) {
    struct stat status {};
    return fstat(handle, &status) == 0 && S_ISSOCK(status.st_mode);
}

} // namespace

int CSocketFacade::Close(int socket) const {
    if (ShutDown(socket)) Release(socket);
    return 0;
}

int CSocketFacade::Close(int socket, const char* group) const {
    if (ShutDown(socket, group)) Release(socket);
    return 0;
}

bool CSocketFacade::ShutDown(int socket) const {
    if (socket == 0) return false;
    Report::Closing(socket);
    return WakeReaders(socket);
}

bool CSocketFacade::ShutDown(int socket, const char* group) const {
    if (socket == 0) return false;
    Report::Closing(socket);
    if (group != nullptr) {
        ip_mreq membership{};
        membership.imr_multiaddr.s_addr = inet_addr(group);
        if (Calls::SetOption(socket, IPPROTO_IP, IP_DROP_MEMBERSHIP, membership) != 0)
            Report::SocketError(socket, errno);
    }
    return WakeReaders(socket);
}

// False when the handle is no socket.
bool CSocketFacade::WakeReaders(int socket) const {
    const int kind = Fd_is_Socket(socket);
    if (kind != 1 && !(kind == -1 && IsOpenSocket(socket))) return false;
    shutdown(socket, SHUT_RDWR);
    return true;
}

void CSocketFacade::Release(int socket) const { close(socket); }

int CSocketFacade::Fd_is_Socket(int handle) const {
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/fd/%d", getpid(), handle);
    struct stat status {};
    if (lstat(path, &status) != 0) {
        Report::Failed();
        return -1;
    }
    if (!S_ISLNK(status.st_mode)) {
        Report::Failed();
        return 0;
    }
    char target[256];
    const ssize_t length = readlink(path, target, sizeof target - 1);
    target[length > 0 ? length : 0] = '\0';
    if (std::strstr(target, "socket:") != nullptr) return 1;
    Report::Failed();
    return 0;
}

int CSocketFacade::ChangeProtocolType(unsigned int& protocol, unsigned int& type) const {
    if (protocol == kProtocolTcp) {
        protocol = IPPROTO_TCP;
        type = SOCK_STREAM;
        return 0;
    }
    if (protocol == kProtocolUdp) {
        protocol = IPPROTO_UDP;
        type = SOCK_DGRAM;
        return 0;
    }
    return 4;
}

int CSocketFacade::LocalPortIdle(unsigned int protocol, unsigned int port) const {
    if (protocol > kProtocolUdp || port > kHighestPort) return 1;
    const int handle = Calls::OpenSocket(protocol);
    if (handle == -1) return 1;
    const bool idle = Calls::Bind(handle, Calls::MakeAddress(INADDR_ANY, port)) == 0;
    if (!idle) Report::SocketError(handle, errno);
    Close(handle);
    return idle ? 0 : 1;
}

int CSocketFacade::GetNextPort(unsigned int first, unsigned int last, unsigned int protocol,
                               unsigned int& port) const {
    if (first == 0 || first > last) {
        Report::Failed();
        return 1;
    }
    for (unsigned int candidate = first; candidate <= last && candidate <= kHighestPort; ++candidate) {
        port = candidate;
        if (LocalPortIdle(protocol, candidate) == 0) return 0;
    }
    port = 0;
    Report::Failed();
    return 1;
}

int CSocketFacade::GetIpByName(const char* name, unsigned int& address) const {
    if (name == nullptr) {
        Report::Failed();
        return 4;
    }
    address = ntohl(inet_addr(name));
    if (address == INADDR_NONE) {
        if (std::strcmp(name, kBroadcastAddress) == 0) return 0;
        Report::Failed();
        address = 0;
    } else if (address != 0) {
        return 0;
    }
    if (Calls::LookUpHost(name, address)) return 0;
    Report::Failed();
    return 4;
}

unsigned int CSocketFacade::ChangeIpAddress(const char* text) const {
    const unsigned int address = text == nullptr ? INADDR_NONE : ntohl(inet_addr(text));
    if (address != INADDR_NONE) return address;
    if (text != nullptr && std::strcmp(text, kBroadcastAddress) == 0) return address;
    Report::Failed();
    return 0;
}

int CSocketFacade::ChangeIpAddress(unsigned int address, char* text, unsigned int capacity) const {
    char dotted[kAddressTextSize];
    const int length = std::snprintf(dotted, sizeof dotted, "%u.%u.%u.%u", address >> 24, (address >> 16) & 0xFF,
                                     (address >> 8) & 0xFF, address & 0xFF);
    if (static_cast<unsigned int>(length) >= capacity) {
        Report::Failed();
        return 1;
    }
    std::memcpy(text, dotted, static_cast<std::size_t>(length) + 1);
    return 0;
}

unsigned short CSocketFacade::Ntohs(unsigned short value) const { return ntohs(value); }
unsigned int CSocketFacade::Ntohl(unsigned int value) const { return ntohl(value); }

} // namespace System
