#include "view/StateMessages.h"

#include <cstring>

#include "query/DescribeAsJson.h"
#include "simulate/ServerRecords.h"
#include "wire/Messages.h"

using nlohmann::json;

namespace {

// Numbers keep their shortness: 0.3 as it was told, not the double next to it.
json Plain(const FloatJson& document) {
    return json::parse(document.dump(-1, ' ', false, FloatJson::error_handler_t::replace));
}

} // namespace

json HelloMessage(const HelloFacts& facts) {
    unsigned char version[4];
    Quorin_GetVersion(version);
    return {{"version", VersionText(version)},
            {"source", {{"kind", facts.isRecording ? "recording" : "server"}, {"name", facts.name}}},
            {"unit", facts.unit},
            {"historySeconds", facts.historySeconds}};
}

json DescriptionsMessage(const sServerDescription& server, const sDataDescriptions* list,
                         const std::string& reason) {
    json message{
        {"known", list != nullptr}, {"server", nullptr}, {"list", json::array()}, {"labels", IsSimulated(server)}};
    if (list == nullptr) {
        message["reason"] = reason;
        return message;
    }
    const json document = Plain(DescribeAsJson(server, *list));
    message["server"] = document["server"];
    message["list"] = document["descriptions"];
    return message;
}

json StatusMessage(const std::string& state, const std::string& text, const std::vector<std::string>& notices) {
    return {{"state", state}, {"text", text}, {"notices", notices}};
}

json HistoryObject(const FrameHistory& history) {
    if (history.Oldest() == history.End()) return nullptr;
    const std::uint64_t newest = history.End() - 1;
    return {{"oldest", history.Oldest()},
            {"newest", newest},
            {"oldest_ms", history.ArrivalMs(history.Oldest())},
            {"newest_ms", history.ArrivalMs(newest)},
            {"frames", history.End() - history.Oldest()},
            {"bytes", history.Bytes()}};
}

void SetNames::Follow(const sFrameOfMocapData& frame) {
    const auto count = static_cast<std::size_t>(frame.markerSetCount);
    bool same = m_told && m_names.size() == count * TARVO_NAME_SIZE;
    for (std::size_t i = 0; same && i < count; ++i)
        same = std::memcmp(m_names.data() + i * TARVO_NAME_SIZE, frame.markerSets[i].name, TARVO_NAME_SIZE) == 0;
    if (same) return;
    m_told = true;
    m_names.clear();
    json names = json::array();
    for (std::size_t i = 0; i < count; ++i) {
        const char(&name)[TARVO_NAME_SIZE] = frame.markerSets[i].name;
        m_names.append(name, sizeof name);
        names.push_back(std::string(name, strnlen(name, sizeof name)));
    }
    m_board.Publish(StateBoard::Topic::kSets, {{"names", std::move(names)}});
}
