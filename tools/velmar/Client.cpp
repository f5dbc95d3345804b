#include "Client.h"

#include <fmt/format.h>

#include <cstdio>
#include <mutex>
#include <stdexcept>

#include "Routes.h"
#include "UsageError.h"
#include "wire/Addresses.h"

namespace {

// Written on whatever thread reports.
struct Log {
    std::mutex mutex;
    bool verbose = false;
    Client::LogSink sink; // empty: standard error
    std::string lastError;
};

Log& TheLog() {
    static Log log;
    return log;
}

void OnMessage(int level, char* text) {
    constexpr int kError = 3;
    Log& log = TheLog();
    const std::lock_guard guard(log.mutex);
    if (level == kError) log.lastError = text;
    if (!log.verbose) return;
    if (log.sink)
        log.sink(level, text);
    else
        fmt::print(stderr, "{}", text);
}

std::string Trimmed(std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    return text;
}

} // namespace

Client::Client(std::string server, bool verbose, LogSink log) : m_server(std::move(server)) {
    TheLog().verbose = verbose;
    TheLog().sink = std::move(log);
    m_client.SetMessageCallback(&OnMessage);
}

Client::~Client() {
    m_client.Uninitialize();
    m_client.SetMessageCallback(nullptr);
    const std::lock_guard guard(TheLog().mutex); // a line may be on its way
    TheLog().sink = nullptr;
}

void Client::JoinOn(const std::string& interface) {
    if (interface.empty() || Quorin_SetStreamInterface(&m_client, interface.c_str()) != 0)
        throw UsageError(fmt::format(
            "--interface: takes the name or the IPv4 address of an interface of this machine, not '{}'",
            interface));
}

sStreamStatistics Client::Statistics() {
    sStreamStatistics statistics{};
    statistics.size = sizeof statistics;
    Quorin_GetStreamStatistics(&m_client, &statistics);
    return statistics;
}

int Client::Start(std::string& reason) {
    std::string dotted = ToText(Resolve(m_server)); // the name is not looked up again
    const int result = m_client.Initialize(dotted.data());
    const std::lock_guard guard(TheLog().mutex);
    reason = Trimmed(TheLog().lastError);
    return result;
}

void Client::Connect() {
    const in_addr address = Resolve(m_server);
    std::string reason;
    const int result = Start(reason);
    if (result == 0) return;
    if (result == 10) throw std::runtime_error(fmt::format("{} refuses this client: {}", m_server, reason));
    throw std::runtime_error(
        fmt::format("no connection to {}.\n"
                    "Tried: a version request to port {} of {}, over {}, with 5 s for the answer; and to have the "
                    "stream on port {}.\n{}"
                    "Check: velmar doctor {}",
                    m_server, kDefaultCommandPort, ToText(address), RouteTo(address), kDefaultDataPort,
                    reason.empty() ? "" : fmt::format("The library's last error: {}\n", reason), m_server));
}
