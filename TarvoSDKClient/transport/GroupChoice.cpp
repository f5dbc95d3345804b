#include "transport/GroupChoice.h"

namespace HostInterfaces = System::HostInterfaces;

GroupChoice GroupChoice::Facing(const char* server, unsigned int port) {
    GroupChoice choice;
    unsigned int address = 0;
    if (!HostInterfaces::Resolve(server, address)) return choice;
    if (HostInterfaces::IsOwn(address))
        choice.withDefault = HostInterfaces::FindLoopback(choice.interface);
    else
        HostInterfaces::FindFacing(address, port, choice.interface);
    return choice;
}

bool GroupChoice::Named(const std::string& nameOrAddress, GroupChoice& choice) {
    choice = {};
    choice.insisted = HostInterfaces::Find(nameOrAddress.c_str(), choice.interface);
    return choice.insisted;
}
