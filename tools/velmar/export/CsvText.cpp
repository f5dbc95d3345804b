#include "export/CsvText.h"

#include <algorithm>
#include <cmath>

namespace {

// Names are bytes of the server's, tables UTF-8: what is none is replaced.
std::string ValidText(std::string_view bytes) {
    const bool isPlain = std::all_of(bytes.begin(), bytes.end(), [](char byte) { return (byte & 0x80) == 0; });
    if (isPlain) return std::string(bytes);
    return FloatJson::parse(FloatJson(bytes).dump(-1, ' ', false, FloatJson::error_handler_t::replace));
}

} // namespace

std::string CsvText(std::string_view bytes) {
    const std::string text = ValidText(bytes);
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char character : text) quoted += character == '"' ? std::string("\"\"") : std::string(1, character);
    return quoted + '"';
}

std::string CsvField(const FloatJson& value) {
    if (value.is_number_float() && !std::isfinite(value.get<float>())) return {};
    if (value.is_null()) return {};
    if (!value.is_string()) return value.dump();
    return CsvText(value.get_ref<const std::string&>());
}
