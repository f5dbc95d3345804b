#include "view/StateBoard.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::array<const char*, StateBoard::kTopics> kTopicTypes = {"hello", "descriptions", "sets", "status",
                                                                      "statistics"};

struct ListNames {
    const char* type;
    const char* entries;
};
constexpr std::array<ListNames, StateBoard::kLists> kListNames = {{{"losses", "marks"}, {"log", "lines"}}};

// Names come from the network and need not be UTF-8.
std::string Text(const nlohmann::json& message) {
    return message.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

// The newest entries, so many.
std::string ListText(const ListNames& names, bool anew, const std::deque<std::string>& kept, std::size_t count) {
    std::string text = std::string(R"({"type":")") + names.type + R"(","anew":)" + (anew ? "true" : "false") +
                       ",\"" + names.entries + "\":[";
    const char* separator = "";
    for (std::size_t i = kept.size() - count; i < kept.size(); ++i)
        text.append(std::exchange(separator, ",")).append(kept[i]);
    return text + "]}";
}

} // namespace

void StateBoard::Publish(Topic topic, nlohmann::json message) {
    const auto number = static_cast<std::size_t>(topic);
    message["type"] = kTopicTypes[number];
    std::string text = Text(message);
    {
        const std::lock_guard guard(m_mutex);
        Message& former = m_messages[number];
        if (former.text == text) return;
        former.text = std::move(text);
        ++former.change;
    }
    Tell();
}

void StateBoard::Append(List list, const nlohmann::json& entry) {
    {
        std::string text = Text(entry);
        const std::lock_guard guard(m_mutex);
        Entries& entries = m_lists[static_cast<std::size_t>(list)];
        if (entries.kept.size() == kMostEntries) entries.kept.pop_front();
        entries.kept.push_back(std::move(text));
        ++entries.appended;
    }
    Tell();
}

std::optional<std::string> StateBoard::Next(Progress& page) const {
    const std::lock_guard guard(m_mutex);
    for (std::size_t i = 0; i < kTopics; ++i) {
        if (page.topics[i] == m_messages[i].change) continue;
        page.topics[i] = m_messages[i].change;
        return m_messages[i].text;
    }
    for (std::size_t i = 0; i < kLists; ++i) {
        const Entries& entries = m_lists[i];
        const std::uint64_t unknown = entries.appended - page.lists[i];
        if (unknown == 0) continue;
        // What has gone meanwhile leaves no gap behind that nobody sees.
        const bool anew = page.lists[i] == 0 || unknown > entries.kept.size();
        const std::uint64_t count = std::min<std::uint64_t>(unknown, entries.kept.size());
        page.lists[i] = entries.appended;
        return ListText(kListNames[i], anew, entries.kept, count);
    }
    return std::nullopt;
}

void StateBoard::OnChange(std::function<void()> tell) {
    const std::lock_guard guard(m_telling);
    m_tell = std::move(tell);
}

void StateBoard::Tell() {
    const std::lock_guard guard(m_telling);
    if (m_tell) m_tell();
}
