#include "wire/Reply.h"

#include <fmt/format.h>

#include "StopSignal.h"
#include "wire/Addresses.h"

std::optional<Message> AwaitReply(UdpSocket& socket, std::uint32_t sequence, std::chrono::nanoseconds patience,
                                  std::string& other) {
    using Clock = std::chrono::steady_clock;
    MessageJoiner joiner;
    const auto deadline = Clock::now() + patience;
    unsigned char datagram[65536];
    while (!StopSignal::Arrived() && Clock::now() < deadline) {
        pollfd waiting{socket.Handle(), POLLIN, 0};
        StopSignal::Poll(waiting, deadline - Clock::now());
        sockaddr_in from{};
        while (Clock::now() < deadline) {
            const auto size = socket.Receive(datagram, from);
            if (!size) break;
            std::string problem;
            auto message = joiner.Take(from, {datagram, *size}, problem);
            if (message && message->sequence == sequence) return message;
            if (message) problem = fmt::format("a message of type {} to another request", message->type);
            if (!problem.empty()) other = fmt::format("{} from {}", problem, ToText(from));
        }
    }
    return std::nullopt;
}
