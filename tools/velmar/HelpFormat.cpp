#include "HelpFormat.h"

#include <fmt/format.h>

std::string HelpFormat::make_option_opts(const CLI::Option* option) const {
    // "INT:0..100": only the values tell something. A positional argument has told it by its name.
    const std::string type = option->get_type_name();
    const std::size_t colon = type.find(':');
    if (option->get_type_size() == 0 || option->get_positional()) return {};
    return " " + (colon == std::string::npos ? type : type.substr(colon + 1));
}

std::string HelpFormat::make_option_desc(const CLI::Option* option) const {
    const std::string holds = option->get_default_str();
    std::string text = option->get_description();
    if (option->get_required() && !option->get_positional()) text += " (required)";
    if (option->get_type_size() != 0 && !holds.empty()) text += fmt::format(" (default: {})", holds);
    for (const CLI::Option* other : option->get_excludes())
        text += fmt::format("; not with {}", other->get_name());
    for (const CLI::Option* other : option->get_needs()) text += fmt::format("; only with {}", other->get_name());
    return text;
}
