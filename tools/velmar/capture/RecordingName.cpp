#include "capture/RecordingName.h"

#include <filesystem>
#include <system_error>

bool NamesRecording(const std::string& source) {
    std::error_code ignored;
    const std::filesystem::path path(source);
    return std::filesystem::exists(path, ignored) || source.find('/') != std::string::npos ||
           path.extension() == ".pcap" || path.extension() == ".pcapng";
}
