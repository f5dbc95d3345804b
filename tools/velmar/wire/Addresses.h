// Addresses: of the stream, from what users type, and as text.
#ifndef VELMAR_WIRE_ADDRESSES_H
#define VELMAR_WIRE_ADDRESSES_H

#include <netinet/in.h>

#include <string>

// Where the stream goes.
sockaddr_in GroupAddress();

sockaddr_in MakeAddress(in_addr address, int port);

// Throws std::runtime_error naming the text that is neither a dotted address nor a known host.
in_addr Resolve(const std::string& host);

std::string ToText(in_addr address);
std::string ToText(const sockaddr_in& address); // with the port

#endif
