// velmar record: a running stream into a capture file, together with the server's answers about it.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>
#include <utility>

#include "Commands.h"
#include "Routes.h"
#include "StopSignal.h"
#include "TarvoSDKClient.h"
#include "Wording.h"
#include "capture/CaptureWriter.h"
#include "wire/Addresses.h"
#include "wire/Messages.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using namespace std::chrono_literals;

constexpr auto kPatience = 5s;             // for an answer, and for a first frame
constexpr int kAttempts = 3;               // at a request within the patience: datagrams get lost
constexpr int kAtATime = 256;              // datagrams, until the clock and the signals are looked at
constexpr std::size_t kMostAnswers = 4096; // datagrams; three answers of the largest size are 768

struct Options {
    std::string server;
    std::string file;
    std::optional<long long> frames;
    std::optional<double> seconds;
};

std::vector<unsigned char> VersionRequest() {
    std::vector<unsigned char> record(kVersionRecordSize);
    Quorin_GetVersion(record.data() + kVersionOffset);
    return record;
}

class Recorder {
public:
    explicit Recorder(const Options& options)
        : m_options(options),
          m_server(MakeAddress(Resolve(options.server), kDefaultCommandPort)),
          m_sequence(std::random_device{}() | 2U) {
        m_commands.Bind(0);
        m_commands.StampArrivals();
        m_local = m_commands.LocalAddress(m_server);
    }

    int Run() {
        AskForVersion();
        if (!StopSignal::Arrived()) {
            AskFor(PackageType_ServerDescription, "its description");
            AskFor(PackageType_DataDescriptions, "its data descriptions");
        }
        if (!StopSignal::Arrived()) Follow();
        if (m_frames == 0 && !StopSignal::Arrived())
            throw std::runtime_error(fmt::format("no frame arrived from {} within {:.1f} s: {} joined, over {}",
                                                 m_options.server, Elapsed().count(), ToText(GroupAddress()),
                                                 RouteTo(m_server.sin_addr)));
        if (m_frames == 0) throw std::runtime_error("stopped before a frame arrived");
        ClearProgress();
        fmt::print("{}: {}\n", m_options.file, State());
        return kSuccess;
    }

    ~Recorder() { ClearProgress(); } // before whatever is said about a failure
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

private:
    void ClearProgress() {
        if (std::exchange(m_shown, false)) fmt::print("\r\033[K");
        std::fflush(stdout);
    }

    void AskForVersion() {
        const auto reply = Ask(PackageType_VersionRequest, PackageType_VersionReply, VersionRequest());
        if (!reply && StopSignal::Arrived()) throw std::runtime_error("stopped before a frame arrived");
        if (!reply || reply->payload.size() < kVersionRecordSize)
            throw std::runtime_error(
                fmt::format("no connection to {}: no answer to a version request within {} s, "
                            "over {}",
                            ToText(m_server), kPatience.count(), RouteTo(m_server.sin_addr)));
        if (reply->payload[kVersionAcceptedOffset] == 0)
            throw std::runtime_error(fmt::format("{} refuses this client: its version is {}", m_options.server,
                                                 VersionText(reply->payload.data() + kVersionOffset)));
    }

    void AskFor(int type, const char* what) {
        if (!Ask(type, type, {}) && !StopSignal::Arrived())
            fmt::print(stderr, "{} does not answer the request for {}: the recording lacks it\n", m_options.server,
                       what);
    }

    std::optional<Message> Ask(int type, int answerType, Bytes payload) {
        ++m_sequence;
        for (int attempt = 0; attempt < kAttempts; ++attempt) {
            Send(type, m_sequence, payload);
            const auto deadline = Clock::now() + std::chrono::milliseconds(kPatience) / kAttempts;
            while (Clock::now() < deadline && !StopSignal::Arrived()) {
                pollfd waiting{m_commands.Handle(), POLLIN, 0};
                StopSignal::Poll(waiting, deadline - Clock::now());
                auto message = TakeAnswer();
                if (message && message->type == answerType && message->sequence == m_sequence) return message;
            }
        }
        return std::nullopt;
    }

    void Send(int type, std::uint32_t sequence, Bytes payload) {
        CutMessage(type, sequence, payload, [this](Bytes part) {
            const auto now = std::chrono::system_clock::now().time_since_epoch();
            m_answers.push_back({now, m_local, m_server, {part.begin(), part.end()}});
            return m_commands.SendTo(m_server, part);
        });
    }

    std::optional<Message> TakeAnswer() {
        for (int i = 0; i < kAtATime; ++i) {
            const auto arrival = m_commands.ReceiveStamped(m_datagram);
            if (!arrival) break;
            const Bytes bytes(m_datagram, arrival->size);
            std::string problem;
            auto message = m_joiner.Take(arrival->from, bytes, problem);
            if (problem.empty() && m_answers.size() < kMostAnswers)
                m_answers.push_back({arrival->time, arrival->from, m_local, {bytes.begin(), bytes.end()}});
            if (message) return message;
        }
        return std::nullopt;
    }

    void Follow() {
        m_stream.StampArrivals();
        m_stream.JoinGroup(GroupAddress(), m_server.sin_addr);
        Send(PackageType_Hello, 0, {reinterpret_cast<const unsigned char*>(kHelloText), sizeof kHelloText});
        m_start = Clock::now();
        Seconds shown(0);
        while (!StopSignal::Arrived() && !Finished()) {
            pollfd waiting{m_stream.Handle(), POLLIN, 0};
            const Seconds left = m_options.seconds ? Seconds(*m_options.seconds) - Elapsed() : Seconds(0.1);
            StopSignal::Poll(waiting,
                             std::chrono::duration_cast<std::chrono::nanoseconds>(std::min(left, Seconds(0.1))));
            TakeStream();
            if (!m_terminal || Elapsed() < shown + Seconds(1)) continue;
            shown = Elapsed();
            m_shown = true;
            fmt::print("\r\033[K{}: {}", m_options.file, State());
            std::fflush(stdout);
        }
    }

    bool Finished() const {
        if (m_options.frames && m_frames >= *m_options.frames) return true;
        if (m_options.seconds && Elapsed().count() >= *m_options.seconds) return true;
        return m_frames == 0 && Elapsed() >= kPatience;
    }

    // An earlier recording goes only when there is something to record.
    void Begin() {
        m_file.emplace(m_options.file);
        for (const CapturedDatagram& datagram : m_answers) m_file->Write(datagram);
    }

    // Some of what waits: the clock and the signals want to be looked at too.
    void TakeStream() {
        for (int i = 0; i < kAtATime && !(m_options.frames && m_frames >= *m_options.frames); ++i) {
            const auto arrival = m_stream.ReceiveStamped(m_datagram);
            if (!arrival) return;
            const Bytes bytes(m_datagram, arrival->size);
            if (!m_file) Begin();
            m_file->Write({arrival->time, arrival->from, GroupAddress(), {bytes.begin(), bytes.end()}});
            ++m_datagrams;
            m_lost = arrival->lost.value_or(m_lost);
            std::string problem;
            const auto message = m_joiner.Take(arrival->from, bytes, problem);
            if (message && message->type == PackageType_Frame) ++m_frames;
        }
    }

    Seconds Elapsed() const { return Clock::now() - m_start; }

    std::string State() const {
        return fmt::format(
            "{} in {:.2f} s, {}, {:.1f} MB{}", Counted(m_frames, "frame"), Elapsed().count(),
            Counted(m_datagrams, "datagram"), m_file ? static_cast<double>(m_file->Size()) / 1e6 : 0,
            m_lost > 0 ? fmt::format("; {} came too fast and got lost", Counted(m_lost, "datagram")) : "");
    }

    Options m_options;
    sockaddr_in m_server;
    sockaddr_in m_local{};
    std::uint32_t m_sequence;
    UdpSocket m_commands;
    UdpSocket m_stream;
    MessageJoiner m_joiner;
    std::vector<CapturedDatagram> m_answers; // with the requests
    std::optional<CaptureWriter> m_file;
    unsigned char m_datagram[65536];
    Clock::time_point m_start{};
    long long m_frames = 0;
    long long m_datagrams = 0;
    std::uint32_t m_lost = 0;
    bool m_shown = false; // a line of progress
    bool m_terminal = isatty(STDOUT_FILENO) != 0;
};

} // namespace

void AddRecord(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("record", "Record a server's stream into a capture file");
    const auto options = std::make_shared<Options>();
    command->add_option("SERVER", options->server, "Address or name of the server")->required();
    command->add_option("-o,--output", options->file, "The capture file (pcap); an existing one is replaced")
        ->type_name("FILE")
        ->required();
    command->add_option("--frames", options->frames, "End after so many frames")
        ->check(WholeNumber(1, 1'000'000'000));
    command->add_option("--seconds", options->seconds, "End after so long")->check(Number(0.1, 1e6));
    command->footer(
        "Examples:\n  $ velmar record 127.0.0.1 -o walk.pcap --seconds 10\n\n"
        "Ends with Ctrl-C too. The exit code is 0 only when frames came. See velmar replay and velmar "
        "export;\nany network analyser opens the file.");
    command->callback([options, &exitCode] { exitCode = std::make_unique<Recorder>(*options)->Run(); });
}
