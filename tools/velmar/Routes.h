// The interfaces of this machine, and through which of them it reaches an address.
#ifndef VELMAR_ROUTES_H
#define VELMAR_ROUTES_H

#include <netinet/in.h>

#include <optional>
#include <string>
#include <vector>

// "interface lo", or "no interface, for there is no route (...)" with the system's reason. Sends nothing.
std::string RouteTo(in_addr address);

// The number of that interface; 0 with the reason in errno when there is no route.
unsigned int InterfaceTo(in_addr address);

std::string InterfaceName(unsigned int index);

// An interface of this machine that has an IPv4 address.
struct OwnInterface {
    unsigned int index;
    std::string name;
    in_addr address;
    bool isLoopback;
};
// By its name or by an IPv4 address of its own. Nothing when there is none; `problem` then says what was expected.
std::optional<OwnInterface> FindInterface(const std::string& nameOrAddress, std::string& problem);
// The number of that interface alone; 0 when there is none.
unsigned int InterfaceNamed(const std::string& nameOrAddress);

bool IsLoopback(unsigned int index);

struct Interface {
    unsigned int index;
    std::string name;
    int mtu;
};
// Those that are up and carry multicast, and the loopback interface.
std::vector<Interface> MulticastInterfaces();

#endif
