// velmar export: a recording in the formats of other programs.
#include <fmt/format.h>

#include <cstdio>
#include <memory>

#include "Commands.h"
#include "UsageError.h"
#include "Wording.h"
#include "export/Sinks.h"
#include "take/Concerns.h"
#include "take/RangeOptions.h"

namespace {

struct Options {
    TakeOptions take;
    ExportFormat format;
    std::string directory;
    bool replaces = false;
};

int Run(const Options& options) {
    if (options.format.wide && options.format.name != "csv") throw UsageError("--wide: is for --format csv");
    Take take(options.take);
    for (const std::string& concern : ConcernsOf(take)) fmt::print(stderr, "{}\n", concern);
    OutputFolder folder(options.directory.empty() ? take.Name() : options.directory, options.take.file,
                        options.replaces);
    const std::vector<std::string> notes = WriteTake(take, options.format, folder);
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
            "--format", options->format.name,
            "csv: a table for each kind of item; json: a line for each frame; c3d: points, analog channels "
            "and force plates; opensim: markers (.trc) and ground reaction forces (.mot); bvh: a file for each "
            "skeleton")
        ->check(CLI::IsMember({"csv", "json", "c3d", "opensim", "bvh"}));
    command->add_option("-o,--output", options->directory, "The directory for the files, made if need be")
        ->type_name("DIRECTORY")
        ->default_str("the recording's name");
    command->add_flag("--wide", options->format.wide, "csv: one table with a row for each frame");
    AddRange(*command, options->take.range);
    AddUnloaded(*command, options->take.unloaded);
    command->add_option("--rate", options->take.rate, "Frames a second")
        ->check(Number(FrameTimeline::kSlowest, FrameTimeline::kFastest))
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
