// velmar export: the frames of a recording as tables or objects.
#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

#include "Commands.h"
#include "StopSignal.h"
#include "Wording.h"
#include "capture/RecordedDescriptions.h"
#include "capture/RecordedFrames.h"
#include "export/FrameFiles.h"

namespace {

struct Options {
    std::string file;
    std::string format;
    std::string directory = ".";
};

std::string Seconds(std::chrono::nanoseconds time) {
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time);
    return fmt::format("{}.{:09}", whole.count(), (time - whole).count());
}

class Export {
public:
    Export(const Options& options, const Recording& recording)
        : m_options(options),
          m_descriptions(recording),
          m_names(m_descriptions),
          m_tables(m_names),
          m_files(options.file, options.directory,
                  options.format == "csv" ? FrameFiles::Format::kCsv : FrameFiles::Format::kJson,
                  m_tables.Tables()) {}

    // The summary.
    std::string Run() {
        RecordedFrames frames(m_options.file, m_descriptions.list.get());
        long long exported = 0;
        for (; const RecordedFrame* const item = frames.Next(); ++exported) Add(*item);
        if (StopSignal::Arrived()) throw std::runtime_error("stopped before the end of " + m_options.file);
        m_files.Close();
        const long long lost = frames.Undecodable();
        std::string summary = fmt::format("{} exported into {}{}", Counted(exported, "frame"), m_options.directory,
                                          lost == 0 ? "" : fmt::format(", {} could not be decoded", lost));
        if (exported == 0) throw std::runtime_error(summary);
        return summary;
    }

private:
    void Add(const RecordedFrame& item) {
        const sFrameOfMocapData& frame = *item.frame;
        m_tables.Fill(frame, item.plates);
        m_files.Add({frame.frameNumber, Seconds(item.time), TimecodeText(frame.timecode, frame.timecodeSubframe)},
                    m_tables.Tables());
    }

    Options m_options;
    RecordedDescriptions m_descriptions;
    DescribedNames m_names;
    FrameTables m_tables;
    FrameFiles m_files;
};

int Run(const Options& options) {
    const Recording recording = Survey(options.file);
    if (!recording.damage.empty()) fmt::print(stderr, "{}\n", recording.damage);
    fmt::print("{}\n", Export(options, recording).Run());
    return kSuccess;
}

} // namespace

void AddExport(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("export", "Write a recording's frames as tables or objects");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->file, "A capture file, of velmar record or of a network analyser")
        ->required();
    command
        ->add_option("--format", options->format,
                     "csv: a table for each kind of item; json: a line for each frame")
        ->check(CLI::IsMember({"csv", "json"}))
        ->required();
    command->add_option("-o,--output", options->directory, "The directory for the files, made if need be")
        ->type_name("DIRECTORY");
    command->footer(
        "Examples:\n  $ velmar export walk.pcap --format csv -o walk\n\n"
        "Units stand in the names of columns and members; the server's length unit counts as a metre. What is no\n"
        "number is an empty field, or null. What the first force plate of the first frame reads is taken as the\n"
        "unloaded reading of every plate; analog channels are those behind the channels of the plates. A timecode "
        "is\n"
        "hours:minutes:seconds:frames.subframe; what a subframe is, the server decides (velmar simulate: "
        "hundredths\n"
        "of a frame, 30 frames a second).");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
