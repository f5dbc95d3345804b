// The library's account of a stream for programs.
#ifndef VELMAR_STATISTICS_JSON_H
#define VELMAR_STATISTICS_JSON_H

#include <nlohmann/json.hpp>

#include "TarvoStream.h"

// Every value by its name, and the interface. Names stay: programs read them. The interface's name need not be
// UTF-8.
nlohmann::ordered_json AsJson(const sStreamStatistics& statistics);

#endif
