// velmar view: a stream or a recording in the browser.
#include <arpa/inet.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/random.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "Commands.h"
#include "StopSignal.h"
#include "UsageError.h"
#include "capture/RecordingName.h"
#include "view/EmbeddedPage.h"
#include "view/ShownRecording.h"
#include "view/ShownStream.h"
#include "view/StateMessages.h"
#include "view/WebServer.h"
#include "wire/Addresses.h"

namespace {

struct Options {
    std::string source;
    int port = 5280;
    std::optional<std::string> listen;
    std::optional<std::string> interface;
    std::string unit = "m";
    double history = 60;
    bool opens = false;
};

bool IsLoopbackAddress(const in_addr& address) { return ntohl(address.s_addr) >> 24U == 127; }

// What nobody guesses.
std::string RandomToken() {
    unsigned char bytes[16];
    if (getrandom(bytes, sizeof bytes, 0) != sizeof bytes)
        throw std::runtime_error("the system gives no random bytes for the address of the page");
    std::string token;
    for (const unsigned char byte : bytes) token += fmt::format("{:02x}", byte);
    return token;
}

WebServer::Options ServerOptions(const Options& options, bool follows) {
    WebServer::Options server;
    server.page = EmbeddedPage();
    server.port = static_cast<std::uint16_t>(options.port);
    server.follows = follows;
    if (!options.listen) return server;
    in_addr address{};
    if (inet_pton(AF_INET, options.listen->c_str(), &address) != 1)
        throw UsageError(
            fmt::format("--listen: takes an IPv4 address of this machine, not '{}'", *options.listen));
    server.address = *options.listen;
    if (!IsLoopbackAddress(address)) server.token = RandomToken();
    return server;
}

std::string AddressOf(const WebServer::Options& options, std::uint16_t port) {
    const std::string query = options.token.empty() ? "" : "?token=" + options.token;
    const std::string host = options.address == "0.0.0.0" ? "localhost" : options.address;
    return fmt::format("http://{}:{}/{}", host, port, query);
}

void OpenBrowser(std::string address) {
    std::signal(SIGCHLD, SIG_IGN); // nobody waits for it
    char name[] = "xdg-open";
    char* const arguments[] = {name, address.data(), nullptr};
    pid_t process = 0;
    if (const int error = posix_spawnp(&process, name, nullptr, nullptr, arguments, environ); error != 0)
        fmt::print(stderr, "--open: {} cannot be started: {}\n", name, std::generic_category().message(error));
}

// Serves until a signal arrives.
void Serve(WebServer& server, const Options& options, const WebServer::Options& served) {
    const std::string address = AddressOf(served, server.Port());
    fmt::print("{} in the browser: {}\n", options.source, address);
    if (served.address == "0.0.0.0")
        fmt::print("from other machines: this one's name or address in place of localhost\n");
    std::fflush(stdout);
    if (options.opens) OpenBrowser(address);
    std::thread serving([&server] { server.Run(); });
    while (!StopSignal::Arrived()) StopSignal::Poll({}, std::nullopt);
    server.Stop();
    serving.join();
}

void ViewStream(const Options& options, StateBoard& board) {
    Resolve(options.source); // a name that leads nowhere is told at once
    ShownStream stream({options.source, options.interface, std::chrono::duration<double>(options.history)}, board);
    const WebServer::Options served = ServerOptions(options, true);
    WebServer server(served, board, stream.History());
    server.Watch(stream.Descriptor(), [&] {
        stream.TakeFrames();
        server.FramesCame();
    });
    server.Every(std::chrono::milliseconds(100), [&] { stream.Tick(server.Pages()); });
    stream.Start(); // behind all that may be refused: an attempt to connect takes its time
    Serve(server, options, served);
    if (!stream.EndsLate()) return;
    std::fflush(stdout);
    std::_Exit(kSuccess); // nothing is lost by not waiting
}

void ViewRecording(const Options& options, StateBoard& board) {
    if (options.interface) throw UsageError("--interface: only with a server");
    ShownRecording recording(options.source, board);
    fmt::print("{}: {}\n", options.source, recording.Summary());
    for (const std::string& notice : recording.Notices()) fmt::print(stderr, "{}\n", notice);
    const WebServer::Options served = ServerOptions(options, false);
    WebServer server(served, board, recording.History());
    server.Every(std::chrono::milliseconds(500), [&] { recording.PublishStatistics(server.Pages()); });
    Serve(server, options, served);
}

int Run(const Options& options) {
    const bool isRecording = NamesRecording(options.source);
    StateBoard board;
    const double history = isRecording ? 0 : options.history;
    board.Publish(StateBoard::Topic::kHello, HelloMessage({isRecording, options.source, options.unit, history}));
    (isRecording ? ViewRecording : ViewStream)(options, board);
    return kSuccess;
}

} // namespace

void AddView(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("view", "Show a stream or a recording in the browser");
    const auto options = std::make_shared<Options>();
    command->add_option("SERVER|FILE", options->source, "Address or name of the server, or a capture file")
        ->required();
    command->add_option("--port", options->port, "Port of the page; 0: any that is free")
        ->check(WholeNumber(0, 65535));
    command->add_option("--listen", options->listen, "Serve other machines too, at this address of this machine")
        ->type_name("ADDRESS")
        ->default_str("127.0.0.1, this machine only");
    command->add_option("--history", options->history, "Seconds of a stream to keep for looking back")
        ->check(Number(1, 3600));
    command->add_option("--interface", options->interface, "Join the stream on this interface, by name or address")
        ->type_name("NAME|ADDRESS")
        ->default_str("the one that faces the server");
    command->add_option("--unit", options->unit, "What to call the server's unit of length")->type_name("NAME");
    command->add_flag("--open", options->opens, "Open the page in the browser");
    command->footer(
        "Examples:\n  $ velmar view 127.0.0.1 --open\n  $ velmar view walk.pcap\n\n"
        "Prints the address of the page, and serves it until Ctrl-C. The page can be stopped and gone back in "
        "while\n"
        "the capture runs. With --listen elsewhere than on this machine, the address holds a random token, and\n"
        "nobody is served without it; what is sent is not encrypted. A file is whatever exists, or has a / or "
        "the\n"
        "ending .pcap or .pcapng in its name.");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
