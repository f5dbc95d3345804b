// The system's socket calls in the shape in which the facade's source files use them.
#ifndef TARVO_PLATFORM_SOCKET_CALLS_H
#define TARVO_PLATFORM_SOCKET_CALLS_H

#include <netinet/in.h>
#include <sys/socket.h>

namespace System::Calls {

// An address record in network byte order from an address and a port in host byte order.
sockaddr_in MakeAddress(unsigned int address, unsigned int port);

// The same from a dotted text; any address when it is null.
sockaddr_in MakeLocalAddress(const char* address, unsigned int port);

// A socket that does not outlive an exec; -1 and a report with the caller's line when the system gives none (0
// counts as none).
int OpenSocket(unsigned int protocol, int line = __builtin_LINE());

// 0, or -1 with the error number set.
int Bind(int socket, const sockaddr_in& address);
template <typename T>
int SetOption(int socket, int level, int name, const T& value) {
    return setsockopt(socket, level, name, &value, sizeof value);
}

// The first IPv4 address of a host name or dotted text in host byte order. False when there is none.
bool LookUpHost(const char* name, unsigned int& address);

// Waits for one of the poll events, at most so long, also across interruptions. 1 ready, 0 timed out, -1
// failed with the error number set.
int AwaitEvents(int socket, short events, unsigned int timeoutMs);

} // namespace System::Calls

#endif
