#include "StreamWords.h"

#include <fmt/format.h>

std::uint64_t Lost(const sStreamStatistics& statistics) {
    std::uint64_t lost = 0;
    for (const LossCause& cause : kLossCauses) lost += statistics.*cause.count;
    return lost;
}

std::string LossCauses(const sStreamStatistics& statistics) {
    std::string text;
    for (const LossCause& cause : kLossCauses)
        if (const std::uint64_t count = statistics.*cause.count; count > 0)
            text += fmt::format("{}{} {}", text.empty() ? " (" : ", ", count, cause.words);
    return text.empty() ? text : text + ")";
}

std::string JoinedInterface(const sStreamStatistics& statistics) {
    if (statistics.interfaceName[0] == '\0') return "no interface";
    return fmt::format("interface {}", statistics.interfaceName);
}

std::optional<std::string> InterfaceNotice::Follow(const sStreamStatistics& statistics) {
    if (statistics.interfaceState == StreamInterfaceGone) {
        m_framesThen = statistics.framesDelivered;
        if (m_gone) return std::nullopt;
        m_gone = true;
        return fmt::format(
            "{} of the stream is gone or down: no frame comes until it is up again, or, when it "
            "was taken away, until a new start",
            JoinedInterface(statistics));
    }
    if (!m_gone || statistics.framesDelivered == m_framesThen) return std::nullopt;
    m_gone = false;
    return fmt::format("frames come again over {}", JoinedInterface(statistics));
}
