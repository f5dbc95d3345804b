#include "take/RangeOptions.h"

#include <fmt/format.h>

#include <string>

namespace {

template <typename T>
CLI::Option* AddParsed(CLI::App& command, const char* name, std::optional<T>& value, const char* what,
                       std::optional<T> (*parse)(const std::string&), const char* takes) {
    const CLI::Validator check(
        [parse, takes](const std::string& text) {
            return parse(text) ? std::string() : fmt::format("takes {}, not '{}'", takes, text);
        },
        "");
    return command
        .add_option_function<std::string>(
            name, [&value, parse](const std::string& text) { value = parse(text); }, what)
        ->check(check);
}

} // namespace

void AddRange(CLI::App& command, TakeRange& range) {
    constexpr const char* kTakes = "a frame number such as 120, or seconds since the first frame such as 2.5s";
    AddParsed(command, "--from", range.from, "The first frame: its number, or seconds (2.5s)", &ParseTakePoint,
              kTakes)
        ->type_name("T");
    AddParsed(command, "--to", range.to, "The last frame, in the same way", &ParseTakePoint, kTakes)
        ->type_name("T");
}

void AddUnloaded(CLI::App& command, std::optional<FrameSpan>& span) {
    AddParsed(command, "--unloaded", span,
              "Frames in which nothing stands on a force plate: their mean is what each plate reads unloaded",
              &ParseFrameSpan, "the numbers of two frames such as 100-200")
        ->type_name("FIRST-LAST")
        ->default_str("the first frame, its first plate for every one");
}
