// JSON whose numbers are as short as single precision allows: 0.3, not 0.30000001192092896.
#ifndef VELMAR_FLOAT_JSON_H
#define VELMAR_FLOAT_JSON_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using FloatJson =
    nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t, std::uint64_t, float>;

#endif
