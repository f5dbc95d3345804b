// velmar watch: connects as an application does and shows what arrives.
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <utility>

#include "Client.h"
#include "Commands.h"
#include "OwnedDescriptions.h"
#include "StopSignal.h"
#include "StreamWords.h"
#include "watch/Display.h"
#include "watch/JsonLines.h"
#include "wire/Addresses.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr Seconds kPatience(5); // for a first frame

constexpr const char* kFooter =
    "Examples:\n  $ velmar watch 127.0.0.1 --seconds 10\n\n"
    "The exit code is 0 only when frames came. A timecode is hours:minutes:seconds:frames.subframe;\n"
    "what a subframe is, the server decides (velmar simulate: hundredths of a frame, 30 frames a second).\n\n"
    "Lost are frame numbers that did not come, by cause: this machine too slow (its system had no room for\n"
    "datagrams), incomplete (only part of the frame came), not decodable, never seen (nothing came of them).\n"
    "Jitter is by how much the 99th percentile of the time between two frames exceeds its median; delay is from\n"
    "a frame's arrival in the system to its delivery.\n\n"
    "With --json each line has rate_hz, frame_number and timecode (null before the first frame), everything that\n"
    "TarvoStream.h counts, as frames_delivered, missing_never_seen, interval_p99_ns or "
    "receive_buffer_asked_bytes,\n"
    "interface_state (joined, gone or not_joined), interface_name, and force_plate_doubt (null, or why somebody\n"
    "seems to have stood on a plate when it was taken for unloaded). The last line has final: true, and the "
    "rate\n"
    "of the whole time.";

struct Options {
    std::string server;
    std::optional<long long> frames;
    std::optional<double> seconds;
    std::optional<std::string> interface;
    bool json = false;
    bool verbose = false;
};

std::string WhyNothing(const std::string& server, const sStreamStatistics& statistics, Seconds waited) {
    return fmt::format(
        "No frame arrived within {:.2g} s.\n"
        "Tried: {} answered on port {}; joined the group {}, on {}{}.\n"
        "Check: velmar doctor {}",
        waited.count(), server, kDefaultCommandPort, ToText(GroupAddress()), JoinedInterface(statistics),
        statistics.interfaceState == StreamInterfaceGone ? ", which is gone or down" : "", server);
}

std::unique_ptr<View> MakeView(const Options& options) {
    if (options.json) return std::make_unique<JsonLines>();
    return std::make_unique<Display>(options.server);
}

class Watch {
public:
    explicit Watch(const Options& options)
        : m_options(options),
          m_view(MakeView(options)),
          m_client(options.server, options.verbose, [this](int, const char* line) { m_view->Log(line); }) {
        m_client->SetDataCallback(&StreamStatistics::OnFrame, &m_statistics);
        m_client->SetForcePlateCallback(&StreamStatistics::OnForcePlates, &m_statistics);
        if (options.interface) m_client.JoinOn(*options.interface);
    }

    int Run() {
        m_client.Connect();
        m_view->Print(fmt::format("{}: version accepted", m_options.server));
        // A server without force plates, or one that does not describe itself, streams all the same.
        std::thread plates([this] { StartPlates(); });
        const auto start = Clock::now();
        Follow();
        const Seconds waited = Clock::now() - start;
        const StreamState state = State(); // with the interface, which a client that has ended has no more
        m_client.Disconnect();
        plates.join();
        m_view->Finish(state);
        if (state.frames > 0) return kSuccess;
        fmt::print(stderr, "{}\n",
                   StopSignal::Arrived() ? "Stopped before a frame arrived."
                                         : WhyNothing(m_options.server, state.library, waited));
        return kFailure;
    }

private:
    void StartPlates() {
        if (m_client->WaitForForcePlateInit(1) != 0) return;
        sDataDescriptions* list = nullptr;
        if (m_client->GetDataDescriptions(&list) != 0) return;
        const OwnedDescriptions owner(list);
        if (list != nullptr) m_statistics.Know(*list);
    }

    StreamState State() {
        StreamState state = m_statistics.State();
        state.library = m_client.Statistics();
        return state;
    }

    void Follow() {
        const auto start = Clock::now();
        const Seconds refresh = m_view->Refresh();
        for (;;) {
            const Seconds elapsed = Clock::now() - start;
            const StreamState state = State();
            if (const auto notice = m_interface.Follow(state.library)) m_view->Print(*notice);
            if (!state.plateDoubt.empty() && !std::exchange(m_doubted, true))
                m_view->Print(state.plateDoubt + "; start anew with nothing on the plates");
            m_view->Show(state);
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
    InterfaceNotice m_interface;
    bool m_doubted = false;
    std::unique_ptr<View> m_view;
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
    command->add_option("--interface", options->interface, "Join the stream on this interface, by name or address")
        ->type_name("NAME|ADDRESS")
        ->default_str("the one that faces the server");
    command->add_flag("--json", options->json, "For programs: an object a line, twice a second");
    command->add_flag("--verbose", options->verbose, "Show the library's log lines");
    command->footer(kFooter);
    command->callback([options, &exitCode] { exitCode = Watch(*options).Run(); });
}
