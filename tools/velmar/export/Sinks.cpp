#include "export/Sinks.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "export/BvhFiles.h"
#include "export/C3dFile.h"
#include "export/CsvTables.h"
#include "export/CsvWide.h"
#include "export/FrameObjects.h"
#include "export/MotFile.h"
#include "export/TakeJson.h"
#include "export/TrcFile.h"

namespace {

using Sinks = std::vector<std::unique_ptr<FrameSink>>;

Sinks SinksOf(const ExportFormat& format, Take& take, OutputFolder& folder) {
    Sinks sinks;
    const auto add = [&]<typename Sink>(std::type_identity<Sink>) {
        sinks.push_back(std::make_unique<Sink>(take, folder));
    };
    if (format.name == "csv")
        format.wide ? add(std::type_identity<CsvWide>()) : add(std::type_identity<CsvTables>());
    if (format.name == "c3d") add(std::type_identity<C3dFile>());
    if (format.name == "json") add(std::type_identity<FrameObjects>());
    if (format.name == "bvh") add(std::type_identity<BvhFiles>());
    if (format.name == "opensim" && take.markers.Count() > 0) add(std::type_identity<TrcFile>());
    if (format.name == "opensim" && !take.plates.empty() && take.plateFrames > 0)
        add(std::type_identity<MotFile>());
    if (sinks.empty())
        throw std::runtime_error(take.options.file + " has neither markers nor computed force plates");
    return sinks;
}

void WriteFrames(const Take& take, const Sinks& sinks, TakeFrames::Order order) {
    std::vector<FrameSink*> wanted;
    for (const auto& sink : sinks)
        if (sink->Order() == order) wanted.push_back(sink.get());
    if (wanted.empty()) return;
    TakeFrames frames(take, order);
    while (const TakeFrame* const item = frames.Next())
        for (FrameSink* const sink : wanted) sink->Add(*item);
}

} // namespace

std::vector<std::string> WriteTake(Take& take, const ExportFormat& format, OutputFolder& folder) {
    const Sinks sinks = SinksOf(format, take, folder);
    if (format.name == "csv" || format.name == "json") WriteTakeJson(take, folder);
    WriteFrames(take, sinks, TakeFrames::Order::kArrival);
    WriteFrames(take, sinks, TakeFrames::Order::kSlots);
    std::vector<std::string> notes;
    for (const auto& sink : sinks)
        for (std::string& note : sink->Finish()) // what two files of a format leave out is said once
            if (std::find(notes.begin(), notes.end(), note) == notes.end()) notes.push_back(std::move(note));
    return notes;
}
