#include "platform/StreamSocket.h"

#include <linux/sock_diag.h>

#include <array>

#include "platform/SocketCalls.h"

namespace System::StreamSocket {

void Prepare(int socket, int receiveBuffer) {
    Calls::SetOption(socket, SOL_SOCKET, SO_RCVBUF, receiveBuffer);
    Calls::SetOption(socket, SOL_SOCKET, SO_TIMESTAMPNS, 1);
    Calls::SetOption(socket, SOL_SOCKET, SO_RXQ_OVFL, 1);
}

std::uint64_t GrantedBuffer(int socket) {
    int bytes = 0;
    socklen_t size = sizeof bytes;
    if (getsockopt(socket, SOL_SOCKET, SO_RCVBUF, &bytes, &size) != 0) return 0;
    return static_cast<std::uint64_t>(bytes);
}

std::uint64_t Waiting(int socket) {
    std::array<std::uint32_t, SK_MEMINFO_VARS> memory{};
    socklen_t size = sizeof memory;
    if (getsockopt(socket, SOL_SOCKET, SO_MEMINFO, memory.data(), &size) != 0) return 0;
    return memory[SK_MEMINFO_RMEM_ALLOC];
}

} // namespace System::StreamSocket
