#include "view/PageLink.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace {

static_assert(std::endian::native == std::endian::little, "what pages read is written as it lies in memory");

// Of a recording that has become unreadable in a place, so many behind it are tried.
constexpr std::uint64_t kMostTries = 64;

std::optional<double> NumberOf(const nlohmann::json& message, const char* name) {
    const auto field = message.find(name);
    if (field == message.end() || !field->is_number()) return std::nullopt;
    return field->get<double>();
}

} // namespace

PageLink::PageLink(const StateBoard& board, const FrameHistory& history, bool follows)
    : m_board(board), m_history(history) {
    if (follows)
        Follow();
    else
        m_wanted = Wanted{false, 0};
}

bool PageLink::Take(std::string_view text) {
    if (text.size() > kMaxPageMessage) return false;
    const auto message = nlohmann::json::parse(text, nullptr, false);
    return message.is_object() && TakeRequest(message);
}

bool PageLink::TakeRequest(const nlohmann::json& message) {
    const auto field = message.find("type");
    if (field == message.end() || !field->is_string()) return false;
    const auto& type = field->get_ref<const std::string&>();
    if (type == "at") return message.size() == 2 && Hold(message);
    if (type == "ping") {
        m_ping = NumberOf(message, "id");
        return message.size() == 2 && m_ping;
    }
    if (message.size() != 1) return false;
    if (type == "taken")
        m_onItsWay = false;
    else if (type == "live" && !m_follows)
        Follow();
    return type == "taken" || type == "live";
}

bool PageLink::Hold(const nlohmann::json& message) {
    const auto index = NumberOf(message, "index");
    const auto time = NumberOf(message, "ms");
    if (!index && !time) return false;
    m_wanted = index ? Wanted{false, *index} : Wanted{true, *time};
    m_follows = false;
    return true;
}

// From the newest frame on, which the page may not have seen.
void PageLink::Follow() {
    m_follows = true;
    m_wanted.reset();
    m_next = std::max(m_history.Oldest(), m_history.End() - std::min<std::uint64_t>(m_history.End(), 1));
}

std::optional<PageLink::Outgoing> PageLink::Next(double nowMs) {
    Outgoing next;
    if (auto text = NextText(nowMs)) {
        next.text = std::move(*text);
        return next;
    }
    if (m_onItsWay) return std::nullopt;
    next.body = NextFrame();
    if (!next.body) return std::nullopt;
    m_onItsWay = true;
    next.prefix = Prefix(nowMs);
    return next;
}

std::optional<std::string> PageLink::NextText(double nowMs) {
    auto text = m_board.Next(m_known);
    if (text || !m_ping) return text;
    text = fmt::format(R"({{"type":"pong","id":{},"clock_ms":{}}})", *m_ping, nowMs);
    m_ping.reset();
    return text;
}

FrameBody PageLink::NextFrame() {
    if (m_history.Oldest() == m_history.End()) return nullptr;
    return m_follows ? Newest() : Held();
}

FrameBody PageLink::Newest() {
    const std::uint64_t newest = m_history.End() - 1;
    if (newest < m_next) return nullptr;
    m_skipped += newest - m_next;
    m_next = newest + 1;
    return m_history.At(newest);
}

FrameBody PageLink::Held() {
    if (!m_wanted) return nullptr;
    const std::uint64_t first = PlaceOf(*m_wanted);
    m_wanted.reset();
    const std::uint64_t end = first + std::min(m_history.End() - first, kMostTries);
    for (std::uint64_t place = first; place < end; ++place)
        if (FrameBody body = m_history.At(place)) return body;
    return nullptr;
}

// The nearest one that is kept: a page may name any number.
std::uint64_t PageLink::PlaceOf(const Wanted& wanted) const {
    if (wanted.isTime) return m_history.PlaceAt(wanted.value);
    const std::uint64_t newest = m_history.End() - 1;
    if (!(wanted.value > static_cast<double>(m_history.Oldest()))) return m_history.Oldest();
    return wanted.value < static_cast<double>(newest) ? static_cast<std::uint64_t>(wanted.value) : newest;
}

std::array<unsigned char, kFramePrefixSize> PageLink::Prefix(double nowMs) const {
    struct {
        std::uint32_t magic, skipped;
        double sentMs, oldest, newest;
    } const fields{
        kFrameMagic,
        static_cast<std::uint32_t>(std::min<std::uint64_t>(m_skipped, std::numeric_limits<std::uint32_t>::max())),
        nowMs, static_cast<double>(m_history.Oldest()), static_cast<double>(m_history.End() - 1)};
    static_assert(sizeof fields == kFramePrefixSize);
    return std::bit_cast<std::array<unsigned char, kFramePrefixSize>>(fields);
}
