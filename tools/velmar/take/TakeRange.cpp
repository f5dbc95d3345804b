#include "take/TakeRange.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <string_view>

namespace {

constexpr long long kLargestNumber = 2'147'483'647;

template <typename T>
std::optional<T> Whole(std::string_view text) {
    T value{};
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || stop != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string Text(const TakePoint& point) {
    return point.isNumber ? fmt::format("frame {}", point.number) : fmt::format("{} s", point.seconds);
}

} // namespace

bool TakeRange::Holds(long long number, double seconds) const {
    constexpr double kRounding = 1e-9; // a time in decimals may lie just beside the frame that it means
    if (from && (from->isNumber ? number < from->number : seconds < from->seconds - kRounding)) return false;
    return !to || (to->isNumber ? number <= to->number : seconds <= to->seconds + kRounding);
}

std::string TakeRange::Text() const {
    std::string text;
    if (from) text += "from " + ::Text(*from);
    if (to) text += (text.empty() ? "to " : " to ") + ::Text(*to);
    return text;
}

std::optional<TakePoint> ParseTakePoint(const std::string& text) {
    if (text.ends_with('s')) {
        const auto seconds = Whole<double>(std::string_view(text).substr(0, text.size() - 1));
        if (!seconds || !std::isfinite(*seconds) || *seconds < 0) return std::nullopt;
        return TakePoint{false, 0, *seconds};
    }
    const auto number = Whole<long long>(text);
    if (!number || *number < -kLargestNumber || *number > kLargestNumber) return std::nullopt;
    return TakePoint{true, *number, 0};
}

std::optional<FrameSpan> ParseFrameSpan(const std::string& text) {
    const std::size_t dash = text.find('-', 1);
    if (dash == std::string::npos) return std::nullopt;
    const auto first = Whole<long long>(std::string_view(text).substr(0, dash));
    const auto last = Whole<long long>(std::string_view(text).substr(dash + 1));
    if (!first || !last || *last < *first) return std::nullopt;
    return FrameSpan{*first, *last};
}
