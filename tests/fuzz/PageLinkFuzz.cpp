// One page's conversation: whatever it says, frames that come and go, and state that changes, in any order. And
// who may come, of arbitrary requests.
#include <cstring>
#include <string>

#include "fuzz/Input.h"
#include "view/Access.h"
#include "view/CountedFrames.h"
#include "view/PageLink.h"

namespace {

class Conversation {
public:
    explicit Conversation(bool follows) : m_link(m_board, m_history, follows) {}

    void Happen(Input& input) {
        using Topic = StateBoard::Topic;
        const unsigned int what = input.Byte();
        const unsigned int argument = what / 10;
        switch (what % 10) {
            case 0: m_history.Add(argument); break;
            case 1: m_history.Keep(argument); break;
            case 2: m_history.unreadable = {m_history.End() + argument}; break;
            case 3:
                m_board.Publish(static_cast<Topic>(argument % StateBoard::kTopics), {{"text", input.Text()}});
                break;
            case 4:
                for (unsigned int i = 0; i < 40 * argument; ++i)
                    m_board.Append(static_cast<StateBoard::List>(argument % StateBoard::kLists), input.Byte());
                break;
            case 5: Say(input.Text()); break;
            case 6: Say(argument % 2 == 0 ? R"({"type":"taken"})" : R"({"type":"live"})"); break;
            case 7:
                Say(nlohmann::json{{"type", "at"}, {argument % 2 == 0 ? "index" : "ms", input.Value<double>()}}
                        .dump());
                break;
            case 8: Say(nlohmann::json{{"type", "ping"}, {"id", input.Value<double>()}}.dump()); break;
            default: Hear();
        }
    }

    // As much as there is at once: state ends, since nothing changes meanwhile.
    void Finish() {
        constexpr std::size_t kMost = StateBoard::kTopics + StateBoard::kLists + 2; // a pong, and a frame
        for (std::size_t i = 0; Hear(); ++i) Require(i < kMost, "state ends");
    }

private:
    void Say(const std::string& text) {
        if (!m_link.Take(text)) return;
        Require(text.size() <= kMaxPageMessage, "long messages are refused");
        if (nlohmann::json::parse(text).at("type") == "taken") m_onItsWay = false;
    }

    bool Hear() {
        const auto next = m_link.Next(1.5);
        if (next && next->body)
            CheckFrame(*next);
        else if (next)
            Require(nlohmann::json::parse(next->text).at("type").is_string(), "state has a type");
        return next.has_value();
    }

    void CheckFrame(const PageLink::Outgoing& next) {
        Require(!m_onItsWay, "one frame is on its way");
        m_onItsWay = true;
        double places[2];
        std::uint32_t skipped = 0;
        std::memcpy(&skipped, &next.prefix[4], sizeof skipped);
        std::memcpy(places, &next.prefix[16], sizeof places);
        Require(next.text.empty(), "a frame is no text");
        Require(static_cast<double>(m_history.Oldest()) == places[0], "the oldest place is told");
        Require(static_cast<double>(m_history.End() - 1) == places[1], "the newest place is told");
        Require(skipped >= m_skipped && skipped <= m_history.End(), "what was skipped has been there");
        m_skipped = skipped;
        bool isKept = false;
        for (std::uint64_t place = m_history.Oldest(); place < m_history.End(); ++place)
            isKept = isKept || m_history.At(place) == next.body;
        Require(isKept, "a frame is of the history");
    }

    StateBoard m_board;
    CountedFrames m_history;
    PageLink m_link;
    bool m_onItsWay = false;
    std::uint32_t m_skipped = 0;
};

void Visit(Input& input) {
    const Access access{input.Byte() % 2 == 0 ? "127.0.0.1" : "::1", 80, input.Byte() % 2 == 0 ? "" : "key"};
    const std::string target = input.Text(), host = input.Text(), origin = input.Text();
    const Caller caller{target, host, origin};
    if (WhyNoPage(access, caller) != nullptr)
        return Require(WhyNoStream(access, caller) != nullptr, "no page, no stream");
    if (access.token.empty())
        Require(host.size() <= sizeof "127.0.0.1:80", "whoever comes knows this host");
    else
        Require(target.find("token=key") != target.npos, "whoever comes knows the token");
    if (WhyNoStream(access, caller) == nullptr)
        Require(origin == "http://" + host, "the stream is for the own page");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const std::uint8_t how = input.Byte();
    if (how % 4 == 3) {
        Visit(input);
        return 0;
    }
    Conversation conversation(how % 2 == 0);
    while (!input.IsEmpty()) conversation.Happen(input);
    conversation.Finish();
    return 0;
}
