// Where an endpoint joins its group, and leaves it.
#include <algorithm>

#include "platform/GroupMembership.h"
#include "platform/Reports.h"
#include "transport/CommandServer.h"

namespace GroupMembership = System::GroupMembership;
namespace HostInterfaces = System::HostInterfaces;
using System::CPlainGuard;

int CCommandServer::OpenGroupSocket(int& handle, bool loopback) {
    const HostInterfaces::Interface& wanted = m_choice.interface;
    m_joinedChoice = wanted.index != 0;
    if (!m_joinedChoice) return OpenOnDefault(handle, loopback);
    const char* const group = m_address.c_str();
    if (Facade().Multicast(handle, &wanted.address, 1, group, m_port, loopback) != 0) return 1;
    const bool isMember = GroupMembership::Join(handle, group, wanted.address);
    const bool needsDefault = !isMember && !m_choice.insisted;
    const bool hasDefault = (needsDefault || m_choice.withDefault) &&
                            GroupMembership::Join(handle, group, GroupMembership::kDefaultInterface);
    if (!isMember && !hasDefault) {
        if (m_choice.insisted) Report::NoInterface(wanted.name.data());
        Facade().Close(handle);
        return 1;
    }
    TellJoined(isMember ? wanted : DefaultInterface());
    return 0;
}

HostInterfaces::Interface CCommandServer::DefaultInterface() const {
    HostInterfaces::Interface facing;
    unsigned int group = 0;
    if (HostInterfaces::Resolve(m_address.c_str(), group)) HostInterfaces::FindFacing(group, m_port, facing);
    return facing;
}

// On the interfaces that the host tells of, or that of the system's routes.
int CCommandServer::OpenOnDefault(int& handle, bool loopback) {
    std::array<unsigned int, kMaxLocalAddresses> interfaces{};
    unsigned int count = 0;
    Facade().GetLocalAddress(interfaces.data(), count);
    const int result = Facade().Multicast(handle, interfaces.data(), count, m_address.c_str(), m_port, loopback);
    if (result == 0) TellJoined(DefaultInterface());
    return result;
}

void CCommandServer::TellJoined(const HostInterfaces::Interface& interface) {
    const CPlainGuard guard(m_joinedLock);
    m_joined = interface;
}

// An interface that has gone has taken its membership along, so what the system says to the leaving does not
// matter. The address of a group does not change while the endpoint runs.
void CCommandServer::ShutDownGroupSocket() {
    const char* const group = m_address.c_str();
    if (!m_joinedChoice) {
        m_socket.ShutDown(group);
        return;
    }
    GroupMembership::Leave(m_socket, group, m_choice.interface.address);
    if (m_choice.withDefault) GroupMembership::Leave(m_socket, group, GroupMembership::kDefaultInterface);
    m_socket.ShutDown();
}

void CCommandServer::ReportInterface(sStreamStatistics& statistics) const {
    HostInterfaces::Interface joined;
    {
        const CPlainGuard guard(m_joinedLock);
        joined = m_joined;
    }
    const bool isGone = joined.index != 0 && !HostInterfaces::IsUp(joined.index);
    statistics.interfaceState = !m_running ? StreamNotJoined : isGone ? StreamInterfaceGone : StreamJoined;
    if (m_running) std::copy(joined.name.begin(), joined.name.end(), statistics.interfaceName);
}
