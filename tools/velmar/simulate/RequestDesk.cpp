#include "simulate/RequestDesk.h"

#include <fmt/format.h>
#include <unistd.h>

#include <charconv>
#include <cstring>

#include "Wording.h"
#include "simulate/ServerRecords.h"

namespace {

constexpr double kLowestRate = 0.1;
constexpr double kHighestRate = 10000;

// A text payload up to its zero or end.
std::string TextOf(const Message& message) {
    const auto* const text = reinterpret_cast<const char*>(message.payload.data());
    return {text, strnlen(text, message.payload.size())};
}

std::vector<unsigned char> BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

const char* NameOf(int type) {
    switch (type) {
        case PackageType_VersionRequest: return "version request";
        case PackageType_Request: return "raw request";
        case PackageType_Message: return "message";
        case PackageType_DataDescriptions: return "descriptions request";
        case PackageType_DataDescriptionsEx: return "second-form descriptions request";
        case PackageType_ServerDescription: return "server description request";
        case PackageType_Command: return "command";
        case PackageType_Hello: return "greeting";
        default: return "unknown message";
    }
}

} // namespace

std::string ToText(const Version& version) { return VersionText(version.data()); }

RequestDesk::RequestDesk(const Policy& policy, DescriptionBody descriptions, FramePacer& pacer)
    : m_policy(policy), m_descriptions(std::move(descriptions)), m_pacer(pacer) {}

std::optional<Message> RequestDesk::Handle(const Message& message, std::string& report) {
    ++m_asked[NameOf(message.type)];
    report = NameOf(message.type);
    switch (message.type) {
        case PackageType_VersionRequest: return AnswerVersion(message, report);
        case PackageType_Request:
        case PackageType_Command: return AnswerText(message, report);
        case PackageType_DataDescriptions:
        case PackageType_DataDescriptionsEx:
            report += fmt::format(": {}, {}", Counted(m_descriptions.entries, "entry"),
                                  Counted(m_descriptions.bytes.size(), "byte"));
            return Message{PackageType_DataDescriptions, message.sequence, m_descriptions.bytes};
        case PackageType_ServerDescription: {
            Message answer = DescribeServer();
            answer.sequence = message.sequence;
            return answer;
        }
        case PackageType_Message:
        case PackageType_Hello: report += fmt::format(" \"{}\"", TextOf(message)); return std::nullopt;
        default: report += fmt::format(" of type {}: ignored", message.type); return std::nullopt;
    }
}

Message RequestDesk::AnswerVersion(const Message& request, std::string& report) const {
    Version client{};
    if (request.payload.size() >= kVersionOffset + client.size())
        std::copy_n(request.payload.begin() + kVersionOffset, client.size(), client.begin());
    report += fmt::format(" of a client {}: {}", ToText(client), m_policy.refuses ? "refused" : "accepted");
    Message answer{PackageType_VersionReply, request.sequence, {}};
    answer.payload.resize(kVersionRecordSize);
    std::copy(m_policy.version.begin(), m_policy.version.end(), answer.payload.begin() + kVersionOffset);
    answer.payload[kVersionAcceptedOffset] = m_policy.refuses ? 0 : 1;
    return answer;
}

// A command is answered with a zero-terminated text, a raw request with the bare text.
Message RequestDesk::AnswerText(const Message& request, std::string& report) {
    const std::string command = TextOf(request);
    const std::string text = Execute(command);
    report += fmt::format(" \"{}\": {}", command, text.substr(0, text.find('\n')));
    Message answer{PackageType_RawReply, request.sequence, BytesOf(text)};
    if (request.type == PackageType_Command) {
        answer.type = PackageType_Command;
        answer.payload.push_back(0);
    }
    return answer;
}

Message RequestDesk::DescribeServer() const {
    ServerRecord record{};
    SetName(record.name, kServerName);
    std::copy(m_policy.version.begin(), m_policy.version.end(), record.version);
    gethostname(record.host, sizeof record.host - 1);
    record.frameRate = static_cast<float>(m_pacer.Rate());
    record.accepts = m_policy.refuses ? 0 : 1;
    Message answer{PackageType_ServerDescription, 0, {}};
    answer.payload.resize(TARVO_SERVER_DESCRIPTION_SIZE);
    std::memcpy(answer.payload.data(), &record, answer.payload.size());
    return answer;
}

std::string RequestDesk::Execute(const std::string& command) {
    if (command == "help")
        return "help: this text\nrate HZ: frames a second\npause: no frames until resume\nresume\nstatus: what is "
               "streamed";
    if (command == "status") return Status();
    if (command == "pause") {
        m_pacer.Pause();
        return "paused";
    }
    if (command == "resume") {
        m_pacer.Resume(FramePacer::Clock::now());
        return "resumed";
    }
    if (command.rfind("rate ", 0) == 0) return SetRate(command.substr(5));
    return fmt::format("unknown command \"{}\": help lists them", command);
}

std::string RequestDesk::SetRate(const std::string& argument) {
    double rate = 0;
    const auto [end, error] = std::from_chars(argument.data(), argument.data() + argument.size(), rate);
    const bool whole = error == std::errc{} && end == argument.data() + argument.size();
    if (!whole || !(rate >= kLowestRate && rate <= kHighestRate))
        return fmt::format("rate takes a number of Hz from {} to {}, not \"{}\"", kLowestRate, kHighestRate,
                           argument);
    m_pacer.SetRate(rate, FramePacer::Clock::now());
    return fmt::format("rate {:g} Hz", rate);
}

std::string RequestDesk::Status() const {
    return fmt::format("{} at {:g} Hz, {} sent, {}", m_pacer.Paused() ? "paused" : "streaming", m_pacer.Rate(),
                       Counted(m_frames, "frame"), Counted(m_descriptions.entries, "description"));
}

std::string RequestDesk::Summary() const {
    std::string text;
    for (const auto& [what, count] : m_asked)
        text += fmt::format("{}{}", text.empty() ? "" : ", ", Counted(count, what));
    return text.empty() ? "nothing was asked" : text;
}
