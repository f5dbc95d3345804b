// Whether what a user names is a recording or a server.
#ifndef VELMAR_CAPTURE_RECORDING_NAME_H
#define VELMAR_CAPTURE_RECORDING_NAME_H

#include <string>

// A file is whatever exists, has a / in it, or ends as capture files do.
bool NamesRecording(const std::string& source);

#endif
