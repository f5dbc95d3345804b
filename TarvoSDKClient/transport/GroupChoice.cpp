#include "transport/GroupChoice.h"

namespace HostInterfaces = System::HostInterfaces;

GroupChoice GroupChoice::Facing(const char* server, unsigned int port) {
    GroupChoice choice;
    if (HostInterfaces::IsOwn(server))
        choice.withDefault = HostInterfaces::FindLoopback(choice.interface);
    else
        HostInterfaces::FindFacing(server, port, choice.interface);
    return choice;
}

bool GroupChoice::Named(const std::string& nameOrAddress, GroupChoice& choice) {
    choice = {};
    choice.insisted = HostInterfaces::Find(nameOrAddress.c_str(), choice.interface);
    return choice.insisted;
}
