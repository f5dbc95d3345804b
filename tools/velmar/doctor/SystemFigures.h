// What the system tells about its network, in the caller's network namespace.
#ifndef VELMAR_DOCTOR_SYSTEM_FIGURES_H
#define VELMAR_DOCTOR_SYSTEM_FIGURES_H

#include <netinet/in.h>

#include <map>
#include <optional>
#include <string>

// By group and name: "Ip.ReasmFails". Empty where the system does not tell.
using Counters = std::map<std::string, long long>;
Counters ReadCounters();

// Whether this host is a member of the group on this interface; nothing when the system does not tell.
std::optional<bool> IsMember(const std::string& interface, in_addr group);

// Datagrams that the sockets on this port had no room for.
long long DropsOnPort(int port);

// A number below /proc/sys, or 0 when it cannot be read.
long long Setting(const std::string& path);

#endif
