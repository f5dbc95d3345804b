// velmar cut: a part of a recording as a recording of its own.
#include <fmt/format.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "Commands.h"
#include "OutputPath.h"
#include "StopSignal.h"
#include "TarvoWire.h"
#include "UsageError.h"
#include "Wording.h"
#include "capture/CaptureWriter.h"
#include "capture/RecordedFrames.h"
#include "take/Concerns.h"
#include "take/RangeOptions.h"

namespace {

struct Options {
    TakeOptions take;
    std::string output;
    bool replaces = false;
};

// What clients and the server say to each other beside the stream: it describes the stream.
bool IsCommand(const CapturedDatagram& datagram) {
    const in_port_t port = htons(kDefaultCommandPort);
    return datagram.from.sin_port == port || datagram.to.sin_port == port;
}

// Of the stream goes what belongs to a frame of the range, and what lies between two of them without belonging to
// a frame at all: the parts of frames that were lost.
class Cutter {
public:
    Cutter(const Take& take, CaptureWriter& writer)
        : m_take(take), m_writer(writer), m_frames(take.options.file, take.descriptions.list.get()) {
        m_frames.Watch([this](const CapturedDatagram& datagram) { See(datagram); });
    }

    // Frames that were written.
    long long Run() {
        long long frames = 0;
        for (std::size_t i = 0; i < m_take.timeline.Added() && m_frames.Next() != nullptr; ++i) {
            const FrameTimeline::Place place = m_take.timeline.At(i);
            m_isInside = place.isIn || place.isRepeated;
            Settle();
            frames += m_isInside ? 1 : 0;
        }
        if (StopSignal::Arrived()) throw std::runtime_error("stopped before the end of " + m_take.options.file);
        m_isInside = m_isInside && !m_take.options.range.to;
        Settle();
        return frames;
    }

private:
    static constexpr std::size_t kMostPending = 4096; // datagrams: more than any frame has

    void See(const CapturedDatagram& datagram) {
        if (!IsStream(datagram)) {
            if (IsCommand(datagram)) m_writer.Write(datagram);
            return;
        }
        if (m_pending.size() == kMostPending) Settle();
        m_pending.push_back(datagram);
    }

    void Settle() {
        for (const CapturedDatagram& datagram : m_pending)
            if (m_isInside) m_writer.Write(datagram);
        m_pending.clear();
    }

    const Take& m_take;
    CaptureWriter& m_writer;
    RecordedFrames m_frames;
    std::vector<CapturedDatagram> m_pending; // since the latest frame
    bool m_isInside = false;                 // the latest frame was of the range
};

int Run(const Options& options) {
    if (options.take.range.IsWhole()) throw UsageError("takes --from, --to or both");
    const Take take(options.take);
    for (const std::string& concern : ConcernsOf(take)) fmt::print(stderr, "{}\n", concern);
    OutputPath output(options.output, options.take.file, options.replaces);
    {
        CaptureWriter writer(output.Part());
        const long long frames = Cutter(take, writer).Run();
        fmt::print("{}: {} {}, {:.1f} MB\n", output.Final(), Counted(frames, "frame"), options.take.range.Text(),
                   static_cast<double>(writer.Size()) / 1e6);
    }
    output.TakePlace();
    return take.recording.damage.empty() ? kSuccess : kTruncated;
}

} // namespace

void AddCut(CLI::App& app, int& exitCode) {
    CLI::App* const command = app.add_subcommand("cut", "Make a recording of a part of another one");
    const auto options = std::make_shared<Options>();
    command->add_option("FILE", options->take.file, "A capture file, of velmar record or of a network analyser")
        ->required();
    command->add_option("-o,--output", options->output, "The capture file (pcap) for the part")
        ->type_name("FILE")
        ->required();
    AddRange(*command, options->take.range);
    command->add_flag("--force", options->replaces, "Replace the file if it exists");
    command->footer(
        "Examples:\n  $ velmar cut walk.pcap -o step.pcap --from 2.5s --to 4s\n\n"
        "Both ends are in it. The server's answers, which say what is streamed, are kept; what force plates read\n"
        "unloaded is told by the first frame of the part then, or by velmar export --unloaded. The exit code is 3 "
        "for "
        "a\ndamaged recording.");
    command->callback([options, &exitCode] { exitCode = Run(*options); });
}
