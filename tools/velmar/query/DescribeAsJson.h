// Server and data descriptions as a JSON document, and that document as text.
#ifndef VELMAR_QUERY_DESCRIBE_AS_JSON_H
#define VELMAR_QUERY_DESCRIBE_AS_JSON_H

#include <nlohmann/json.hpp>
#include <string>

#include "TarvoSDKClient.h"

// {"server": ..., "descriptions": [...]}. What a server other than the simulated one puts into its records is
// not known: such records appear with the text at their beginning and their bytes or words.
nlohmann::json DescribeAsJson(const sServerDescription& server, const sDataDescriptions& list);

std::string DescribeAsText(const nlohmann::json& document);

#endif
