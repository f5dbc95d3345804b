// Through which interface this machine reaches an address.
#ifndef VELMAR_ROUTES_H
#define VELMAR_ROUTES_H

#include <netinet/in.h>

#include <string>

// "interface lo", or "no interface, for there is no route (...)" with the system's reason. Sends nothing.
std::string RouteTo(in_addr address);

// The number of that interface; 0 with the reason in errno when there is no route.
unsigned int InterfaceTo(in_addr address);

std::string InterfaceName(unsigned int index);

#endif
