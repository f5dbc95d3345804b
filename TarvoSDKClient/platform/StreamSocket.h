// What an endpoint's socket is asked for beyond its opening: room, stamps, and how full it is.
#ifndef TARVO_PLATFORM_STREAM_SOCKET_H
#define TARVO_PLATFORM_STREAM_SOCKET_H

#include <cstdint>

namespace System::StreamSocket {

// Asks for so many bytes of receive buffer, and for each datagram's arrival and the number of dropped ones beside
// it. What the system refuses is done without.
void Prepare(int socket, int receiveBuffer);

// Bytes of receive buffer, as the system counts them; 0 when it does not tell.
std::uint64_t GrantedBuffer(int socket);

// Of these, taken by datagrams that wait.
std::uint64_t Waiting(int socket);

} // namespace System::StreamSocket

#endif
