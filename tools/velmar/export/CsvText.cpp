#include "export/CsvText.h"

#include <cmath>

std::string CsvText(std::string_view text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return std::string(text);
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
