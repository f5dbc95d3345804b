#include "platform/SocketCalls.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <memory>
#include <new>

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

bool LookUpHost(const char* name, unsigned int& address) {
    constexpr std::size_t kLargestBuffer = 1 << 20;
    for (std::size_t size = 1024; size <= kLargestBuffer; size *= 4) {
        const std::unique_ptr<char[]> buffer(new (std::nothrow) char[size]);
        if (buffer == nullptr) return false;
        hostent record{};
        hostent* found = nullptr;
        int lookUpError = 0;
        const int error = gethostbyname2_r(name, AF_INET, &record, buffer.get(), size, &found, &lookUpError);
        if (error == ERANGE) continue;
        if (error != 0 || found == nullptr || found->h_length < 4 || found->h_addr_list[0] == nullptr)
            return false;
        in_addr first{};
        std::memcpy(&first, found->h_addr_list[0], sizeof first);
        address = ntohl(first.s_addr);
        return true;
    }
    return false;
}

} // namespace System::Calls
