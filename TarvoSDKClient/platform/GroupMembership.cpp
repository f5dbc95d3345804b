#include "platform/GroupMembership.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cerrno>

#include "platform/SocketCalls.h"

namespace System::GroupMembership {

namespace {

bool Change(int socket, int option, const char* group, unsigned int interface) {
    ip_mreq membership{};
    membership.imr_multiaddr.s_addr = inet_addr(group);
    membership.imr_interface.s_addr = interface;
    return Calls::SetOption(socket, IPPROTO_IP, option, membership) == 0;
}

} // namespace

bool Join(int socket, const char* group, unsigned int interface) {
    return Change(socket, IP_ADD_MEMBERSHIP, group, interface) || errno == EADDRINUSE;
}

void Leave(int socket, const char* group, unsigned int interface) {
    Change(socket, IP_DROP_MEMBERSHIP, group, interface);
}

} // namespace System::GroupMembership
