// velmar watch: connects as an application does and shows what arrives.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>

#include "Client.h"
#include "Commands.h"
#include "Routes.h"
#include "StopSignal.h"
#include "watch/Display.h"
#include "wire/Addresses.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kPatience(5); // for a first frame

struct Options {
    std::string server;
    std::optional<long long> frames;
    std::optional<double> seconds;
    bool verbose = false;
};

std::string WhyNothing(const std::string& server, Seconds waited) {
    const sockaddr_in group = GroupAddress();
    return fmt::format(
        "No frame arrived within {:.2g} s.\n"
        "Tried: {} answered on port {}; joined the group {}, over {}.\n"
        "Check: velmar doctor {}",
        waited.count(), server, kDefaultCommandPort, ToText(group), RouteTo(group.sin_addr), server);
}

class Watch {
public:
    explicit Watch(const Options& options)
        : m_options(options), m_display(options.server), m_client(options.server, options.verbose) {
        m_client->SetDataCallback(&StreamStatistics::OnFrame, &m_statistics);
        m_client->SetForcePlateCallback(&StreamStatistics::OnForcePlates, &m_statistics);
    }

    int Run() {
        m_client.Connect();
        m_display.Print(fmt::format("{}: version accepted", m_options.server));
        // A server without force plates, or one that does not describe itself, streams all the same.
        std::thread plates([this] { m_client->WaitForForcePlateInit(1); });
        const auto start = Clock::now();
        Follow();
        const Seconds waited = Clock::now() - start;
        m_client.Disconnect();
        plates.join();
        const StreamState state = m_statistics.State();
        if (state.frames == 0) {
            fmt::print(
                stderr, "{}\n",
                StopSignal::Arrived() ? "Stopped before a frame arrived." : WhyNothing(m_options.server, waited));
            return kFailure;
        }
        m_display.Print(Display::Summary(state));
        return kSuccess;
    }

private:
    void Follow() {
        const auto start = Clock::now();
        const Seconds refresh(m_display.IsTerminal() ? 0.1 : 0.5);
        for (;;) {
            const Seconds elapsed = Clock::now() - start;
            const StreamState state = m_statistics.State();
            if (state.frames > 0) m_display.Show(state);
            if (StopSignal::Arrived() || (m_options.seconds && elapsed.count() >= *m_options.seconds)) return;
            if (m_options.frames && state.frames >= *m_options.frames) return;
            if (state.frames == 0 && elapsed >= kPatience) return;
            const Seconds left = m_options.seconds ? Seconds(*m_options.seconds) - elapsed : refresh;
            Pause(std::min(refresh, left));
        }
    }

    // Until the next refresh, the last wanted frame or a signal.
    void Pause(Seconds duration) {
        if (m_options.frames) {
            m_statistics.AwaitFrames(*m_options.frames, duration);
            duration = Seconds(0); // a signal that has come meanwhile is still to be taken
        }
        StopSignal::Sleep(std::chrono::duration_cast<std::chrono::nanoseconds>(duration));
    }

    Options m_options;
    StreamStatistics m_statistics;
    Display m_display;
    Client m_client;
};

} // namespace

void AddWatch(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("watch", "Connect to a server and show its stream");
    const auto options = std::make_shared<Options>();
    command->add_option("SERVER", options->server, "Address or name of the server")->required();
    command->add_option("--frames", options->frames, "End after so many frames")
        ->check(WholeNumber(1, 1'000'000'000));
    command->add_option("--seconds", options->seconds, "End after so long")->check(Number(0.1, 1e6));
    command->add_flag("--verbose", options->verbose, "Show the library's log lines");
    command->footer(
        "Examples:\n  $ velmar watch 127.0.0.1 --seconds 10\n\nThe exit code is 0 only when frames came. A "
        "timecode is "
        "hours:minutes:seconds:frames.subframe;\nwhat a subframe is, the server decides (velmar simulate: "
        "hundredths of a frame, 30 frames a second).");
    command->callback([options, &exitCode] { exitCode = Watch(*options).Run(); });
}
