// velmar replay: a recording served as the server would.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

#include "Commands.h"
#include "StopSignal.h"
#include "TarvoSDKClient.h"
#include "Wording.h"
#include "replay/Player.h"
#include "wire/Addresses.h"

namespace {

using Clock = Player::Clock;

constexpr int kRequestsAtATime = 64; // then the stream and the signals are looked at

struct Options {
    std::string file;
    Player::Options player;
    bool step = false;
};

void Say(const std::string& line) {
    fmt::print("{}\n", line);
    std::fflush(stdout);
}

// What a server of this library's version that accepts every client says.
std::vector<unsigned char> AcceptingVersion() {
    std::vector<unsigned char> record(kVersionRecordSize);
    Quorin_GetVersion(record.data() + kVersionOffset);
    record[kVersionAcceptedOffset] = 1;
    return record;
}

class Replay {
public:
    explicit Replay(const Options& options)
        : m_options(options),
          m_recording(Survey(options.file)),
          m_player(options.file, m_recording, options.player) {
        m_commands.Bind(kDefaultCommandPort);
        if (!m_recording.damage.empty()) fmt::print(stderr, "{}\n", m_recording.damage);
        Say(fmt::format("{}: {} in {}, {:.2f} s", options.file, Counted(m_recording.frames, "frame"),
                        Counted(m_recording.datagrams, "datagram"),
                        std::chrono::duration<double>(m_recording.duration).count()));
        if (!m_recording.descriptions) Say(options.file + " has no descriptions: whoever asks gets no answer");
        Say(fmt::format("serving port {}, streaming to {} {}, {}", kDefaultCommandPort, ToText(GroupAddress()),
                        Begin(), m_player.Way()));
    }

    int Run() {
        while (!StopSignal::Arrived() && !m_player.AtEnd() && !m_inputEnded) {
            Await();
            AnswerAll();
            PlayDue();
        }
        Say(fmt::format("{} played{}", Counted(m_player.Frames(), "frame"),
                        m_player.NotTaken() == 0
                            ? ""
                            : fmt::format(", {} did not leave", Counted(m_player.NotTaken(), "datagram"))));
        return kSuccess;
    }

private:
    const char* Begin() {
        if (m_options.step) return "a frame for each Enter";
        if (!m_options.player.loop) return "from the first client's greeting on";
        m_player.Start(Clock::now());
        m_playing = true;
        return "again and again";
    }

    void Await() {
        pollfd waiting[] = {{m_commands.Handle(), POLLIN, 0}, {m_options.step ? STDIN_FILENO : -1, POLLIN, 0}};
        std::optional<std::chrono::nanoseconds> left;
        if (m_playing) left = m_player.Deadline() - Clock::now();
        StopSignal::Poll(waiting, left);
        if (waiting[1].revents != 0) TakeSteps();
    }

    void TakeSteps() {
        char input[4096];
        const ssize_t size = read(STDIN_FILENO, input, sizeof input);
        m_inputEnded = size <= 0;
        for (auto steps = std::count(input, input + std::max<ssize_t>(size, 0), '\n'); steps > 0; --steps) {
            if (m_player.AtEnd()) return;
            m_player.SendMessage();
        }
    }

    void PlayDue() {
        // A late player catches up, but looks at its requests in between.
        constexpr int kAtATime = 64;
        for (int i = 0; m_playing && i < kAtATime && !m_player.AtEnd(); ++i) {
            if (m_player.Deadline() > Clock::now()) return;
            m_player.Send();
        }
    }

    void AnswerAll() {
        unsigned char datagram[65536];
        sockaddr_in from{};
        for (int i = 0; i < kRequestsAtATime; ++i) {
            const auto size = m_commands.Receive(datagram, from);
            if (!size) return;
            std::string problem;
            const auto message = m_joiner.Take(from, {datagram, *size}, problem);
            const auto answer = message ? Answer(*message) : std::nullopt;
            if (!answer) continue;
            const auto send = [&](Bytes part) { return m_commands.SendTo(from, part); };
            if (!CutMessage(answer->type, message->sequence, answer->payload, send))
                Say(fmt::format("{}: the answer did not leave: {}", ToText(from),
                                std::generic_category().message(errno)));
        }
    }

    std::optional<Message> Answer(const Message& message) {
        static constexpr char kNoCommands[] = "a recording is played: commands change nothing";
        const auto body = [&](int type, const Recording::Body& recorded) -> std::optional<Message> {
            if (!recorded) return std::nullopt;
            return Message{type, 0, *recorded};
        };
        switch (message.type) {
            case PackageType_VersionRequest:
                return Message{PackageType_VersionReply, 0, m_recording.version.value_or(AcceptingVersion())};
            case PackageType_ServerDescription: return body(PackageType_ServerDescription, m_recording.server);
            case PackageType_DataDescriptions:
            case PackageType_DataDescriptionsEx:
                return body(PackageType_DataDescriptions, m_recording.descriptions);
            case PackageType_Request: // the bare text
                return Message{PackageType_RawReply, 0, {std::begin(kNoCommands), std::end(kNoCommands) - 1}};
            case PackageType_Command:
                return Message{PackageType_Command, 0, {std::begin(kNoCommands), std::end(kNoCommands)}};
            case PackageType_Hello: Greeted(); return std::nullopt;
            default: return std::nullopt;
        }
    }

    // A client greets when it has joined the group, so it misses nothing.
    void Greeted() {
        if (m_playing || m_options.step) return;
        m_playing = true;
        m_player.Start(Clock::now());
    }

    Options m_options;
    Recording m_recording;
    Player m_player;
    UdpSocket m_commands;
    MessageJoiner m_joiner;
    bool m_playing = false; // by the clock
    bool m_inputEnded = false;
};

} // namespace

void AddReplay(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("replay", "Serve a recording as the server would");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->file, "A capture file, of velmar record or of a network analyser")
        ->required();
    CLI::Option* const speed = command->add_option("--speed", options->player.speed, "Times as fast as recorded")
                                   ->check(Number(0.01, 100));
    command->add_flag("--step", options->step, "Send one frame for each Enter")->excludes(speed);
    command->add_flag("--loop", options->player.loop, "Begin anew at the end, and at once at the start");
    command
        ->add_option("--interface", options->player.interface,
                     "Stream through the interface of this name or address, to its network; without it, on this "
                     "machine only")
        ->type_name("INTERFACE");
    command->footer(
        "Examples:\n  $ velmar replay walk.pcap\n  $ velmar replay walk.pcap --loop --speed 0.5\n\n"
        "The stream begins when the first client has connected, and the program ends with it.");
    command->callback([options, &exitCode] { exitCode = std::make_unique<Replay>(*options)->Run(); });
}
