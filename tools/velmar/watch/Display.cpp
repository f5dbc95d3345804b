#include "watch/Display.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "Wording.h"

namespace {

double Rate(long long frames, double seconds) { return seconds > 0 ? static_cast<double>(frames) / seconds : 0; }

std::string Root(const StreamState& s) {
    if (!s.root) return "no skeleton";
    return fmt::format("root {:+.3f} {:+.3f} {:+.3f} m", (*s.root)[0], (*s.root)[1], (*s.root)[2]);
}

std::string Plate(const sForcePlateSample& p, int number) {
    return fmt::format("plate {}: {:+7.1f} {:+7.1f} {:+7.1f} N at {:+.3f} {:+.3f} m, free moment {:+.2f} Nm",
                       number, p.force[0], p.force[1], p.force[2], p.centerOfPressure[0], p.centerOfPressure[1],
                       p.freeMoment);
}

std::string Plates(const StreamState& s, const char* separator) {
    std::string text;
    for (int i = 0; s.plates && i < s.plates->plateCount; ++i)
        text += separator + Plate(s.plates->plates[i], i + 1);
    return text;
}

std::string Counts(const StreamState& s) {
    const auto& c = s.counts;
    return fmt::format("{} ({}), {} ({}), {}, {}, {}, {}", Counted(c.markerSets, "marker set"),
                       Counted(c.setMarkers, "marker"), Counted(c.skeletons, "skeleton"), Counted(c.bones, "bone"),
                       Counted(c.rigidBodies, "rigid body"), Counted(c.labeledMarkers, "labelled marker"),
                       Counted(c.otherMarkers, "other marker"), Counted(c.analog, "analog channel"));
}

} // namespace

Display::Display(std::string server) : m_server(std::move(server)), m_terminal(isatty(STDOUT_FILENO) != 0) {}

void Display::Show(const StreamState& s) {
    const double rate = Rate(s.frames - m_framesShown, s.secondsOfStream - m_secondsShown);
    m_framesShown = s.frames;
    m_secondsShown = s.secondsOfStream;
    const std::string silence = s.silence > 1 ? fmt::format("  nothing for {:.0f} s", s.silence) : "";
    if (!m_terminal) {
        if (!(m_countsShown == s.counts)) fmt::print("{}\n", Counts(s));
        m_countsShown = s.counts;
        fmt::print("{} frame {} received {} lost {} rate {:.1f} Hz  {}{}{}\n", s.timecode, s.frameNumber, s.frames,
                   s.lost, rate, Root(s), Plates(s, "  "), silence);
        std::fflush(stdout);
        return;
    }
    const std::string block = fmt::format(
        "{}: version accepted, streaming\n"
        "frame {}  timecode {}  rate {:.1f} Hz{}\n"
        "received {}, lost {}, numbers went back {}\n"
        "{}\n{}{}\n",
        m_server, s.frameNumber, s.timecode, rate, silence, Counted(s.frames, "frame"), s.lost,
        Counted(s.jumped, "time"), Counts(s), Root(s), Plates(s, "\n"));
    ClearBlock();
    fmt::print("{}", block);
    std::fflush(stdout);
    m_blockLines = static_cast<int>(std::count(block.begin(), block.end(), '\n'));
}

// Back to the block's first line, and everything below it gone.
void Display::ClearBlock() {
    if (m_blockLines > 0) fmt::print("\033[{}F\033[J", m_blockLines);
    m_blockLines = 0;
}

void Display::Print(const std::string& text) {
    ClearBlock();
    fmt::print("{}\n", text);
    std::fflush(stdout);
}

std::string Display::Summary(const StreamState& s) {
    std::string text = fmt::format(
        "{} received, {} lost, {:.2f} Hz over {:.2f} s; the first skeleton's root came {:.2f} m",
        Counted(s.frames, "frame"), s.lost, Rate(s.frames - 1, s.secondsOfStream), s.secondsOfStream, s.rootPath);
    for (int i = 0; s.plates && i < s.plates->plateCount; ++i)
        text += fmt::format("\nstrongest force on plate {}: {:.0f} N", i + 1,
                            s.peakForce[static_cast<std::size_t>(i)]);
    return text;
}
