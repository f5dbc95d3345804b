// velmar send: one text command and its answer.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <chrono>
#include <memory>
#include <random>
#include <stdexcept>

#include "Commands.h"
#include "Routes.h"
#include "simulate/RequestDesk.h"
#include "wire/Addresses.h"
#include "wire/Reply.h"

namespace {

struct Options {
    std::string server;
    std::vector<std::string> words;
};

constexpr std::chrono::seconds kPatience(5);

int Run(const Options& options) {
    UdpSocket socket;
    const sockaddr_in server = MakeAddress(Resolve(options.server), kDefaultCommandPort);
    const std::uint32_t sequence = std::random_device{}() | 2U;
    const std::string command = fmt::format("{}", fmt::join(options.words, " "));
    std::vector<unsigned char> payload(command.begin(), command.end());
    payload.push_back(0);
    if (payload.size() > kMaxMessageSize)
        throw std::runtime_error(
            fmt::format("TEXT: {} bytes are more than the {} of a message", payload.size(), kMaxMessageSize));
    CutMessage(PackageType_Command, sequence, payload, [&](Bytes part) { return socket.SendTo(server, part); });
    std::string other;
    const auto reply = AwaitReply(socket, sequence, kPatience, other);
    if (!reply)
        throw std::runtime_error(fmt::format("no reply from {} within {} s, over {}{}", ToText(server),
                                             kPatience.count(), RouteTo(server.sin_addr),
                                             other.empty() ? "" : ", but " + other));
    const auto* const text = reinterpret_cast<const char*>(reply->payload.data());
    fmt::print("{}\n", std::string_view(text, strnlen(text, reply->payload.size())));
    return kSuccess;
}

} // namespace

void AddSend(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("send", "Send a text command and print the reply");
    const auto options = std::make_shared<Options>();
    command->add_option("SERVER", options->server, "Address or name of the server")->required();
    command->add_option("TEXT", options->words, "The command; several words are one text with blanks between")
        ->required()
        ->default_str("");
    command->footer(
        fmt::format("Examples:\n  $ velmar send 127.0.0.1 status\n  $ velmar send 127.0.0.1 rate 60\n\n"
                    "A simulated server takes: {}.",
                    kTextCommands));
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
