// velmar export: a recording in the formats of other programs.
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <type_traits>

#include "Commands.h"
#include "UsageError.h"
#include "Wording.h"
#include "export/BvhFiles.h"
#include "export/C3dFile.h"
#include "export/CsvTables.h"
#include "export/CsvWide.h"
#include "export/FrameObjects.h"
#include "export/MotFile.h"
#include "export/TakeJson.h"
#include "export/TrcFile.h"
#include "take/Concerns.h"
#include "take/RangeOptions.h"

namespace {

struct Options {
    TakeOptions take;
    std::string format = "csv";
    std::string directory;
    bool wide = false;
    bool replaces = false;
};

using Sinks = std::vector<std::unique_ptr<FrameSink>>;

Sinks SinksOf(const Options& options, Take& take, OutputFolder& folder) {
    Sinks sinks;
    const auto add = [&]<typename Sink>(std::type_identity<Sink>) {
        sinks.push_back(std::make_unique<Sink>(take, folder));
    };
    if (options.format == "csv")
        options.wide ? add(std::type_identity<CsvWide>()) : add(std::type_identity<CsvTables>());
    if (options.format == "c3d") add(std::type_identity<C3dFile>());
    if (options.format == "json") add(std::type_identity<FrameObjects>());
    if (options.format == "bvh") add(std::type_identity<BvhFiles>());
    if (options.format == "opensim" && take.markers.Count() > 0) add(std::type_identity<TrcFile>());
    if (options.format == "opensim" && !take.plates.empty() && take.plateFrames > 0)
        add(std::type_identity<MotFile>());
    if (sinks.empty())
        throw std::runtime_error(options.take.file + " has neither markers nor computed force plates");
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

int Run(const Options& options) {
    if (options.wide && options.format != "csv") throw UsageError("--wide: is for --format csv");
    Take take(options.take);
    for (const std::string& concern : ConcernsOf(take)) fmt::print(stderr, "{}\n", concern);
    OutputFolder folder(options.directory.empty() ? take.Name() : options.directory, options.take.file,
                        options.replaces);
    const Sinks sinks = SinksOf(options, take, folder);
    if (options.format == "csv" || options.format == "json") WriteTakeJson(take, folder);
    WriteFrames(take, sinks, TakeFrames::Order::kArrival);
    WriteFrames(take, sinks, TakeFrames::Order::kSlots);
    std::vector<std::string> notes;
    for (const auto& sink : sinks)
        for (std::string& note : sink->Finish()) // what two files of a format leave out is said once
            if (std::find(notes.begin(), notes.end(), note) == notes.end()) notes.push_back(std::move(note));
    folder.Finish();
    const long long frames = take.timeline.Frames() + take.timeline.Repeated();
    fmt::print("{} exported into {}{}\n", Counted(frames, "frame"), folder.Directory(),
               take.undecodable == 0 ? "" : fmt::format(", {} could not be decoded", take.undecodable));
    for (const std::string& note : notes) fmt::print("  {}\n", note);
    return take.recording.damage.empty() ? kSuccess : kTruncated;
}

} // namespace

void AddExport(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("export", "Write a recording in the formats of other programs");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->take.file, "A capture file, of velmar record or of a network analyser")
        ->required();
    command
        ->add_option(
            "--format", options->format,
            "csv: a table for each kind of item; json: a line for each frame; c3d: points, analog channels "
            "and force plates; opensim: markers (.trc) and ground reaction forces (.mot); bvh: a file for each "
            "skeleton")
        ->check(CLI::IsMember({"csv", "json", "c3d", "opensim", "bvh"}));
    command->add_option("-o,--output", options->directory, "The directory for the files, made if need be")
        ->type_name("DIRECTORY")
        ->default_str("the recording's name");
    command->add_flag("--wide", options->wide, "csv: one table with a row for each frame");
    AddRange(*command, options->take.range);
    AddUnloaded(*command, options->take.unloaded);
    command->add_option("--rate", options->take.rate, "Frames a second")
        ->check(Number(0.01, 100'000))
        ->default_str("what the server states, or the arrivals tell");
    command->add_flag("--force", options->replaces, "Replace files that exist");
    command->footer(
        "Examples:\n"
        "  $ velmar export walk.pcap\n"
        "  $ velmar export walk.pcap --format c3d --from 2s --to 10s\n\n"
        "Units stand in the names of columns and members; the server's length unit counts as a metre. What is no\n"
        "number is an empty field, or null. What the first force plate of the first frame reads is taken as the\n"
        "unloaded reading of every plate; analog channels are those behind the channels of the plates. A timecode "
        "is\n"
        "hours:minutes:seconds:frames.subframe; what a subframe is, the server decides (velmar simulate: "
        "hundredths\n"
        "of a frame, 30 frames a second). The exit code is 3 for a recording that is damaged: what can be read "
        "is\n"
        "exported.");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
