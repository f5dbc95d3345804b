// velmar export: the frames of a recording as tables or objects.
#include <fmt/format.h>

#include <cstdio>
#include <memory>
#include <stdexcept>

#include "AppDataModel.h"
#include "Commands.h"
#include "StopSignal.h"
#include "Wording.h"
#include "capture/CaptureFile.h"
#include "client/ForcePlateMananger.h"
#include "export/FrameFiles.h"
#include "wire/Messages.h"

namespace {

struct Options {
    std::string file;
    std::string format;
    std::string directory = ".";
};

struct ReleaseFrame {
    void operator()(sFrameOfMocapData* frame) const { CAppDataModel().ReleaseMocap(frame); }
};

std::string Seconds(std::chrono::nanoseconds time) {
    const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time);
    return fmt::format("{}.{:09}", whole.count(), (time - whole).count());
}

class Export {
public:
    Export(const Options& options, const Recording& recording)
        : m_options(options),
          m_names(recording),
          m_tables(m_names),
          m_files(options.file, options.directory,
                  options.format == "csv" ? FrameFiles::Format::kCsv : FrameFiles::Format::kJson,
                  m_tables.Tables()) {
        m_plates.InitPlateManager(m_names.list.get());
    }

    // The summary.
    std::string Run() {
        CaptureFile file(m_options.file);
        MessageJoiner joiner;
        std::string problem;
        while (const auto datagram = file.Next()) {
            if (!IsStream(*datagram)) continue;
            const auto message = joiner.Take(datagram->from, datagram->payload, problem);
            if (message && message->type == PackageType_Frame) Add(message->payload, datagram->time);
        }
        if (StopSignal::Arrived()) throw std::runtime_error("stopped before the end of " + m_options.file);
        m_files.Close();
        std::string summary =
            fmt::format("{} exported into {}{}", Counted(m_exported, "frame"), m_options.directory,
                        m_undecodable == 0 ? "" : fmt::format(", {} could not be decoded", m_undecodable));
        if (m_exported == 0) throw std::runtime_error(summary);
        return summary;
    }

private:
    void Add(const std::vector<unsigned char>& body, std::chrono::nanoseconds time) {
        sFrameOfMocapData* decoded = nullptr;
        int length = 0;
        const int result =
            CAppDataModel().DecodeMocap(body.data(), static_cast<unsigned int>(body.size()), length, decoded);
        const std::unique_ptr<sFrameOfMocapData, ReleaseFrame> frame(decoded);
        if (result != 0) {
            ++m_undecodable;
            return;
        }
        sForcePlates plates{};
        m_plates.GetSForcePlates(decoded, &plates);
        m_tables.Fill(*decoded, plates);
        m_files.Add(
            {decoded->frameNumber, Seconds(time), TimecodeText(decoded->timecode, decoded->timecodeSubframe)},
            m_tables.Tables());
        ++m_exported;
    }

    Options m_options;
    DescribedNames m_names;
    FrameTables m_tables;
    FrameFiles m_files;
    ForcePlateMananger m_plates;
    long long m_exported = 0;
    long long m_undecodable = 0;
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
