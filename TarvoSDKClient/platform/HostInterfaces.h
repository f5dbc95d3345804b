// The network interfaces of this host, as far as a stream is concerned.
#ifndef TARVO_PLATFORM_HOST_INTERFACES_H
#define TARVO_PLATFORM_HOST_INTERFACES_H

#include <net/if.h>

#include <array>

// Nothing here writes to the log. Addresses are in network byte order.
namespace System::HostInterfaces {

struct Interface {
    unsigned int address = 0;
    unsigned int index = 0; // 0: none
    std::array<char, IFNAMSIZ> name{};
};

// The interface with this name or dotted address; of one with several addresses the first. False when there is
// none with an IPv4 address.
bool Find(const char* nameOrAddress, Interface& found);
// The first one that only this host reaches.
bool FindLoopback(Interface& found);

// The address of a host name or of a dotted text, for which nobody is asked.
bool Resolve(const char* text, unsigned int& address);

// The interface over which the system would send to this address and port.
bool FindFacing(unsigned int address, unsigned int port, Interface& found);

// Whether the address is one of this host's.
bool IsOwn(unsigned int address);

// Whether the interface is still there and can be used. True when the system does not tell.
bool IsUp(unsigned int index);

} // namespace System::HostInterfaces

#endif
