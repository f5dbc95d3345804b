#include "platform/SocketCalls.h"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>

#include "platform/Reports.h"
#include "platform/SocketFacade.h"

namespace System::Calls {

sockaddr_in MakeAddress(unsigned int address, unsigned int port) {
    sockaddr_in record{};
    record.sin_family = AF_INET;
    record.sin_port = htons(static_cast<std::uint16_t>(port));
    record.sin_addr.s_addr = htonl(address);
    return record;
}

sockaddr_in MakeLocalAddress(const char* address, unsigned int port) {
    sockaddr_in record = MakeAddress(INADDR_ANY, port);
    if (address != nullptr) record.sin_addr.s_addr = inet_addr(address);
    return record;
}

int OpenSocket(unsigned int protocol, int line) {
    const bool stream = protocol == kProtocolTcp;
    const int handle =
        socket(AF_INET, (stream ? SOCK_STREAM : SOCK_DGRAM) | SOCK_CLOEXEC, stream ? IPPROTO_TCP : IPPROTO_UDP);
    if (handle > 0) return handle;
    Report::SystemError(errno, line);
    if (handle == 0) close(handle);
    return -1;
}

int Bind(int socket, const sockaddr_in& address) {
    return bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

int AwaitEvents(int socket, short events, unsigned int timeoutMs) {
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    pollfd wanted{socket, events, 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
        const int waitMs = static_cast<int>(std::clamp<long long>(left, 0, INT_MAX));
        const int ready = poll(&wanted, 1, waitMs);
        if (ready > 0 && (wanted.revents & POLLNVAL) != 0) {
            errno = EBADF;
            return -1;
        }
        if (ready > 0) return 1;
        if (ready < 0 && errno != EINTR) return -1;
        if (Clock::now() >= deadline) return 0;
    }
}

} // namespace System::Calls
