// From a take to the files of a format.
#ifndef VELMAR_EXPORT_SINKS_H
#define VELMAR_EXPORT_SINKS_H

#include <string>
#include <vector>

#include "export/OutputFolder.h"
#include "take/Take.h"

struct ExportFormat {
    std::string name = "csv"; // or json, c3d, opensim, bvh
    bool wide = false;        // csv: a row for each frame
};

// Writes the files of the format into the folder, which is left to be finished. Returns what of the recording they
// do not have, each in a few words. Throws std::runtime_error: what the files throw, and where the format cannot
// hold what is recorded.
std::vector<std::string> WriteTake(Take& take, const ExportFormat& format, OutputFolder& folder);

#endif
