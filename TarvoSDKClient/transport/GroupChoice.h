// On which interfaces an endpoint joins its group.
#ifndef TARVO_TRANSPORT_GROUP_CHOICE_H
#define TARVO_TRANSPORT_GROUP_CHOICE_H

#include <string>

#include "platform/HostInterfaces.h"

struct GroupChoice {
    System::HostInterfaces::Interface interface; // index 0: the system's default
    bool withDefault = false;                    // there too, where it can be joined
    bool insisted = false;                       // there or not at all

    // The one that faces the server, which is asked at this port. A server on this host may stream over the
    // loopback interface, and over the default one.
    static GroupChoice Facing(const char* server, unsigned int port);

    // The one with this name or address. False when this host has none.
    static bool Named(const std::string& nameOrAddress, GroupChoice& choice);
};

#endif
