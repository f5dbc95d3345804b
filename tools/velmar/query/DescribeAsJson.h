// Server and data descriptions as a JSON document, and that document as text.
#ifndef VELMAR_QUERY_DESCRIBE_AS_JSON_H
#define VELMAR_QUERY_DESCRIBE_AS_JSON_H

#include <string>

#include "FloatJson.h"
#include "TarvoSDKClient.h"

// {"server": ..., "descriptions": [...]}. What a server other than the simulated one puts into its records is
// not known: such records appear with the text at their beginning and their bytes or words.
FloatJson DescribeAsJson(const sServerDescription& server, const sDataDescriptions& list);

std::string DescribeAsText(const FloatJson& document);

#endif
