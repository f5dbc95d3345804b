// Datagram sockets: broadcast, multicast, sending and receiving.
#include <arpa/inet.h>

#include <cerrno>

#include "platform/DatagramBatch.h"
#include "platform/Reports.h"
#include "platform/SocketCalls.h"
#include "platform/SocketFacade.h"

namespace System {

namespace {

constexpr unsigned char kMulticastHops = 255;

// Interface and group in network byte order.
ip_mreq MakeMembership(const char* group, in_addr_t interfaceAddress) {
    ip_mreq membership{};
    membership.imr_multiaddr.s_addr = inet_addr(group);
    membership.imr_interface.s_addr = interfaceAddress;
    return membership;
}

bool SelectInterface(int socket, in_addr_t interfaceAddress) {
    in_addr address{};
    address.s_addr = interfaceAddress;
    return Calls::SetOption(socket, IPPROTO_IP, IP_MULTICAST_IF, address) == 0;
}

// Both options may fail: the socket is then still of use.
void SetLoopAndHops(int socket, bool loop) {
    const int loopFlag = loop ? 1 : 0;
    if (Calls::SetOption(socket, IPPROTO_IP, IP_MULTICAST_LOOP, loopFlag) != 0) Report::SocketError(socket, errno);
    if (Calls::SetOption(socket, IPPROTO_IP, IP_MULTICAST_TTL, kMulticastHops) != 0)
        Report::SocketError(socket, errno);
}

bool Join(int socket, const char* group, in_addr_t interfaceAddress) {
    return Calls::SetOption(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, MakeMembership(group, interfaceAddress)) == 0;
}

// Of a group that another socket of this host has joined elsewhere, nothing. Done without where the system cannot.
void TakeOwnGroupsOnly(int socket) { Calls::SetOption(socket, IPPROTO_IP, IP_MULTICAST_ALL, 0); }

// A datagram socket that several processes may bind to the same port.
int OpenShared(int& socket, int line = __builtin_LINE()) {
    socket = Calls::OpenSocket(kProtocolUdp, line);
    if (socket == -1) return 1;
    Calls::SetOption(socket, SOL_SOCKET, SO_REUSEADDR, 1);
    return 0;
}

// Reports the error of the call that just failed and closes the socket.
int GiveUp(const CSocketFacade& facade, int socket, int line = __builtin_LINE()) {
    Report::SocketError(socket, errno, line);
    facade.Close(socket);
    return 1;
}

// One datagram and its sender. False after a report.
bool ReceiveDatagram(int socket, void* buffer, unsigned int& length, sockaddr_in& sender) {
    socklen_t senderSize = sizeof sender;
    const ssize_t received =
        recvfrom(socket, buffer, length, 0, reinterpret_cast<sockaddr*>(&sender), &senderSize);
    if (received == -1) {
        Report::SocketError(socket, errno);
        return false;
    }
    length = static_cast<unsigned int>(received);
    return true;
}

} // namespace

int CSocketFacade::Broadcast(int& socket, const char* localAddress, unsigned int port) const {
    if (OpenShared(socket) != 0) return 1;
    if (Calls::SetOption(socket, SOL_SOCKET, SO_BROADCAST, 1) != 0) return GiveUp(*this, socket);
    if (Calls::Bind(socket, Calls::MakeLocalAddress(localAddress, port)) != 0) return GiveUp(*this, socket);
    return 0;
}

int CSocketFacade::Multicast(int& socket, const char* localAddress, const char* group, unsigned int port,
                             bool loop) const {
    if (group == nullptr) {
        Report::Failed();
        return 1;
    }
    const sockaddr_in local = Calls::MakeLocalAddress(localAddress, port);
    if (OpenShared(socket) != 0) return 1;
    TakeOwnGroupsOnly(socket);
    if (Calls::Bind(socket, local) != 0) return GiveUp(*this, socket);
    if (!SelectInterface(socket, local.sin_addr.s_addr)) return GiveUp(*this, socket);
    SetLoopAndHops(socket, loop);
    if (!Join(socket, group, local.sin_addr.s_addr)) return GiveUp(*this, socket);
    return 0;
}

int CSocketFacade::Multicast(int& socket, const unsigned int* interfaces, unsigned int count, const char* group,
                             unsigned int port, bool loop) const {
    if (group == nullptr) {
        Report::Failed();
        return 1;
    }
    if (OpenShared(socket) != 0) return 1;
    TakeOwnGroupsOnly(socket);
    if (Calls::Bind(socket, Calls::MakeAddress(INADDR_ANY, port)) != 0) return GiveUp(*this, socket);
    if (!SelectInterface(socket, INADDR_ANY)) return GiveUp(*this, socket);
    if (count != 0 && interfaces != nullptr) return JoinInterfaces(socket, interfaces, count, group, loop);
    SetLoopAndHops(socket, loop);
    if (!Join(socket, group, INADDR_ANY)) return GiveUp(*this, socket);
    return 0;
}

int CSocketFacade::JoinInterfaces(int socket, const unsigned int* interfaces, unsigned int count,
                                  const char* group, bool loop) const {
    for (int i = 0; i < static_cast<int>(count); ++i) {
        if (!SelectInterface(socket, interfaces[i])) Report::SocketError(socket, errno);
        SetLoopAndHops(socket, loop);
        if (!Join(socket, group, interfaces[i])) Report::SocketError(socket, errno);
    }
    return 0;
}

int CSocketFacade::SendDatagram(int socket, const void* data, unsigned int length, unsigned int address,
                                unsigned int port) const {
    const sockaddr_in destination = Calls::MakeAddress(address, port);
    const auto* bytes = static_cast<const unsigned char*>(data);
    while (length > 0) {
        const ssize_t taken = sendto(socket, bytes, length, MSG_NOSIGNAL,
                                     reinterpret_cast<const sockaddr*>(&destination), sizeof destination);
        if (taken == -1) {
            Report::SocketError(socket, errno);
            return 1;
        }
        bytes += taken;
        length -= static_cast<unsigned int>(taken);
    }
    return 0;
}

int CSocketFacade::SendTo(int socket, const void* data, unsigned int length, unsigned int address,
                          unsigned int port, const unsigned int* interfaces, unsigned int count) const {
    if (count == 0 || interfaces == nullptr) return SendDatagram(socket, data, length, address, port);
    for (int i = 0; i < static_cast<int>(count); ++i) {
        if (!SelectInterface(socket, interfaces[i])) {
            const int error = errno;
            Report::SystemError(error);
            if (error == EADDRNOTAVAIL) {
                Report::Failed();
                return 4;
            }
        }
        if (SendDatagram(socket, data, length, address, port) != 0) return 1;
    }
    return 0;
}

int CSocketFacade::SendTo(int socket, const void* data, unsigned int length, const char* address,
                          unsigned int port, const unsigned int* interfaces, unsigned int count) const {
    unsigned int resolved = 0;
    if (address == nullptr || GetIpByName(address, resolved) != 0) {
        Report::Failed();
        return 1;
    }
    return SendTo(socket, data, length, resolved, port, interfaces, count);
}

int CSocketFacade::ReceiveFrom(int socket, void* buffer, unsigned int& length, unsigned int& address,
                               unsigned int& port) const {
    if (socket == -1) {
        Report::Failed();
        return 1;
    }
    sockaddr_in sender{};
    if (!ReceiveDatagram(socket, buffer, length, sender)) return 1;
    address = ntohl(sender.sin_addr.s_addr);
    port = ntohs(sender.sin_port);
    return 0;
}

int CSocketFacade::ReceiveFrom(int socket, void* buffer, unsigned int& length, char* address,
                               unsigned int& port) const {
    sockaddr_in sender{};
    if (!ReceiveDatagram(socket, buffer, length, sender)) return 1;
    port = ntohs(sender.sin_port);
    return ChangeIpAddress(ntohl(sender.sin_addr.s_addr), address, INET_ADDRSTRLEN);
}

int CSocketFacade::ReceiveBatch(int socket, CDatagramBatch& batch) const {
    batch.Prepare();
    if (socket == -1) {
        Report::Failed();
        return 1;
    }
    const int received =
        recvmmsg(socket, batch.m_messages.data(), CDatagramBatch::kSlots, MSG_WAITFORONE, nullptr);
    if (received == -1) {
        Report::SocketError(socket, errno);
        return 1;
    }
    batch.Took(static_cast<unsigned int>(received));
    return 0;
}

} // namespace System
