// Commands that mend a fault until the next start of the machine, and how to make them last.
#ifndef VELMAR_DOCTOR_REMEDIES_H
#define VELMAR_DOCTOR_REMEDIES_H

#include <string>

// One setting or several: "net.core.rmem_max=524288 net.ipv4.x=1".
std::string LastingSettings(const std::string& settings);
std::string LastingSetting(const std::string& name, long long value);

// Makes clients join the stream on the interface.
std::string JoiningOn(const std::string& interface);

// Lets the interface carry multicast.
std::string LastingMulticast(const std::string& interface);

// Lets the interface carry packets of this size.
std::string LastingMtu(const std::string& interface, long long bytes);

#endif
