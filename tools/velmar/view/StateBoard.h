// What every page has to know, and how far each page knows it.
#ifndef VELMAR_VIEW_STATE_BOARD_H
#define VELMAR_VIEW_STATE_BOARD_H

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

// From any thread. A page that is slow costs nothing here: of each topic it gets the newest message when it takes
// one.
class StateBoard {
public:
    enum class Topic { kHello, kDescriptions, kSets, kStatus, kStatistics };
    static constexpr std::size_t kTopics = 5;
    enum class List { kLosses, kLog };
    static constexpr std::size_t kLists = 2;
    static constexpr std::size_t kMostEntries = 600; // of a list; the oldest ones go

    // Replaces the message of a topic: an object (see PageProtocol.h), to which its "type" is added here. The same
    // one again is no news.
    void Publish(Topic topic, nlohmann::json message);

    void Append(List list, const nlohmann::json& entry);

    // How far one page is: of each topic, and of each list, the number of the latest change that it knows. A page
    // that has just come knows nothing.
    struct Progress {
        std::array<std::uint64_t, kTopics> topics{};
        std::array<std::uint64_t, kLists> lists{};
    };

    // The next message that this page does not know, which counts as known to it then; nothing when it knows all.
    std::optional<std::string> Next(Progress& page) const;

    // Called behind each change, on the thread that made it; changes nothing itself. When this returns, the former
    // one is not called any more.
    void OnChange(std::function<void()> tell);

private:
    struct Message {
        std::string text;
        std::uint64_t change = 0; // 0: there is none yet
    };
    struct Entries {
        std::deque<std::string> kept;
        std::uint64_t appended = 0; // the newest one's number
    };

    void Tell();

    std::mutex m_telling;         // never with m_mutex
    std::function<void()> m_tell; // guarded by m_telling
    mutable std::mutex m_mutex;
    std::array<Message, kTopics> m_messages; // guarded by m_mutex, as all below
    std::array<Entries, kLists> m_lists;
};

#endif
