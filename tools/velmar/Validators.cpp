// The option values that the subcommands accept.
#include <fmt/format.h>

#include <charconv>
#include <string>

#include "Commands.h"

namespace {

// The whole text as a number; nothing else may stand in it.
template <typename T>
bool Parse(const std::string& text, T& value) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc{} && stop == end;
}

template <typename T>
CLI::Validator InRange(T lowest, T highest, const char* kind) {
    return CLI::Validator(
        [=](const std::string& text) {
            T value{};
            if (Parse(text, value) && value >= lowest && value <= highest) return std::string();
            return fmt::format("takes a {} from {} to {}, not '{}'", kind, lowest, highest, text);
        },
        fmt::format("{}..{}", lowest, highest));
}

} // namespace

CLI::Validator Number(double lowest, double highest) { return InRange(lowest, highest, "number"); }

CLI::Validator WholeNumber(long long lowest, long long highest) {
    return InRange(lowest, highest, "whole number");
}
