// The interfaces of this machine, and through which of them it reaches an address.
#ifndef VELMAR_ROUTES_H
#define VELMAR_ROUTES_H

#include <netinet/in.h>

#include <string>
#include <vector>

// "interface lo", or "no interface, for there is no route (...)" with the system's reason. Sends nothing.
std::string RouteTo(in_addr address);

// The number of that interface; 0 with the reason in errno when there is no route.
unsigned int InterfaceTo(in_addr address);

std::string InterfaceName(unsigned int index);

// The number of the interface with this name or address; 0 when there is none.
unsigned int InterfaceNamed(const std::string& nameOrAddress);

bool IsLoopback(unsigned int index);

// The name of the interface that has this address of its own; the address when none has.
std::string InterfaceWith(in_addr address);

struct Interface {
    unsigned int index;
    std::string name;
    int mtu;
};
// Those that are up and carry multicast, and the loopback interface.
std::vector<Interface> MulticastInterfaces();

#endif
