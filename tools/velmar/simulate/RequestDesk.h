// What the simulated server answers to the clients' messages.
#ifndef VELMAR_SIMULATE_REQUEST_DESK_H
#define VELMAR_SIMULATE_REQUEST_DESK_H

#include <array>
#include <map>
#include <optional>
#include <string>

#include "simulate/DescriptionBody.h"
#include "simulate/FramePacer.h"
#include "wire/Messages.h"

using Version = std::array<unsigned char, 4>;
std::string ToText(const Version& version); // "2.5.28.75"

// What it takes as text, for those who type it.
inline constexpr char kTextCommands[] = "help, rate HZ, pause, resume, status";

class RequestDesk {
public:
    struct Policy {
        Version version;      // that the server states
        bool refuses = false; // every client's version
    };

    // The pacer must outlive the desk: commands change it.
    RequestDesk(const Policy& policy, DescriptionBody descriptions, FramePacer& pacer);

    // The answer, or nothing for a message that wants none. `report` is one line for the user.
    std::optional<Message> Handle(const Message& message, std::string& report);

    void CountFrame() { ++m_frames; }
    long long Frames() const { return m_frames; }
    const DescriptionBody& Descriptions() const { return m_descriptions; }
    std::string Summary() const; // what was asked how often

private:
    Message AnswerVersion(const Message& request, std::string& report) const;
    Message AnswerText(const Message& request, std::string& report);
    Message DescribeServer() const;
    std::string Execute(const std::string& command);
    std::string SetRate(const std::string& argument);
    std::string Status() const;

    Policy m_policy;
    DescriptionBody m_descriptions;
    FramePacer& m_pacer;
    long long m_frames = 0;
    std::map<std::string, int> m_asked;
};

#endif
