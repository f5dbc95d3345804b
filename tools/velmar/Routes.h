// Through which interface this machine reaches an address.
#ifndef VELMAR_ROUTES_H
#define VELMAR_ROUTES_H

#include <netinet/in.h>

#include <string>

// "interface lo", or "no interface, for there is no route (...)" with the system's reason. Sends nothing.
std::string RouteTo(in_addr address);

#endif
