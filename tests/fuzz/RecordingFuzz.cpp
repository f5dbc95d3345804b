// Recordings of whatever a server may have sent, looked through, told of, and exported in every format.
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "export/Sinks.h"
#include "fuzz/ExportedFiles.h"
#include "fuzz/RecordingStory.h"
#include "query/DescribeAsJson.h"
#include "take/TakeAsJson.h"

namespace {

namespace fs = std::filesystem;

// Removed with the program.
const fs::path& Scratch() {
    static const struct Folder {
        const fs::path path = fs::temp_directory_path() / ("recording_fuzz." + std::to_string(getpid()));
        Folder() { fs::create_directories(path); }
        ~Folder() { fs::remove_all(path); }
    } folder;
    return folder.path;
}

TakeOptions Options(Input& input) {
    TakeOptions options;
    options.file = Scratch() / "take.pcap";
    const unsigned int which = input.Byte();
    if ((which & 1U) != 0) options.range.from = ParseTakePoint(input.Take(input.Byte() % 16U));
    if ((which & 2U) != 0) options.range.to = ParseTakePoint(input.Take(input.Byte() % 16U));
    if ((which & 4U) != 0) options.unloaded = ParseFrameSpan(input.Take(input.Byte() % 24U));
    const double rate = input.Value<double>();
    if ((which & 8U) != 0 && rate >= 0.01 && rate <= 100'000) options.rate = rate;
    return options;
}

// What may take seconds by right, and runs are to be short: from where a table is long to where it is refused.
bool IsLong(const Take& take) {
    const long long slots = take.timeline.Slots();
    return slots < 8'000'000 && slots * static_cast<long long>(1 + take.markers.Count()) > 100'000;
}

void Export(Take& take, const ExportFormat& format) {
    const fs::path directory = Scratch() / "out";
    bool isWritten = false;
    try {
        OutputFolder folder(directory, take.options.file, false);
        WriteTake(take, format, folder);
        folder.Finish();
        isWritten = true;
    } catch (const std::runtime_error&) {
    }
    Require(isWritten == fs::exists(directory), "an export leaves all its files or none");
    if (!isWritten) return;
    for (const fs::directory_entry& file : fs::directory_iterator(directory)) {
        Require(file.path().extension() != ".part", "nothing is left half written");
        ExportedFiles(take).Check(file);
    }
    fs::remove_all(directory);
}

void Use(const TakeOptions& options, unsigned int formats) {
    constexpr const char* kNames[] = {"csv", "csv", "json", "c3d", "opensim", "bvh"};
    std::optional<Take> take;
    try {
        take.emplace(options);
    } catch (const std::runtime_error&) {
        return;
    }
    TakeAsText(*take);
    TakeAsJson(*take).dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    if (take->descriptions.list)
        DescribeAsText(DescribeAsJson(take->descriptions.server, *take->descriptions.list));
    if (IsLong(*take)) return;
    for (unsigned int i = 0; i < std::size(kNames); ++i)
        if ((formats >> i & 1U) != 0) Export(*take, {kNames[i], i == 0});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const unsigned int formats = input.Byte();
    const TakeOptions options = Options(input);
    RecordingStory(options.file).Tell(input);
    Use(options, formats);
    return 0;
}
