// What of a take a format with a fixed set of columns has no place for.
#ifndef VELMAR_EXPORT_LEFT_OUT_H
#define VELMAR_EXPORT_LEFT_OUT_H

#include <string>
#include <vector>

#include "take/Take.h"

// In a few words each; nothing that the recording does not have.
std::vector<std::string> LeftOutOf(const Take& take);

// The same for a format that has a frame for each slot.
std::vector<std::string> LeftOutOfSlots(const Take& take);

// The same for OpenSim's files: markers and force plates.
std::vector<std::string> LeftOutOfOpenSim(const Take& take);

#endif
