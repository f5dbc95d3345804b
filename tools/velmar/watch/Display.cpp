#include "watch/Display.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

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

// Of one that does not tell its size, as large as can be.
winsize TerminalSize() {
    winsize size{};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &size);
    constexpr unsigned short kUnlimited = 0xFFFF;
    if (size.ws_col == 0) size.ws_col = kUnlimited;
    if (size.ws_row == 0) size.ws_row = kUnlimited;
    return size;
}

// Of UTF-8: bytes that continue a character count nothing.
bool BeginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80; }

std::size_t Characters(const std::string& line) {
    return static_cast<std::size_t>(std::count_if(line.begin(), line.end(), BeginsCharacter));
}

void CutTo(std::size_t columns, std::string& line) {
    std::size_t characters = 0;
    const auto end = std::find_if(line.begin(), line.end(), [&](char byte) {
        characters += BeginsCharacter(byte) ? 1 : 0;
        return characters > columns;
    });
    line.erase(end, line.end());
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
    ShowBlock(
        fmt::format("{}: version accepted, streaming\n"
                    "frame {}  timecode {}  rate {:.1f} Hz{}\n"
                    "received {}, lost {}, numbers went back {}\n"
                    "{}\n{}{}\n",
                    m_server, s.frameNumber, s.timecode, rate, silence, Counted(s.frames, "frame"), s.lost,
                    Counted(s.jumped, "time"), Counts(s), Root(s), Plates(s, "\n")));
}

// Only as much as the terminal holds: what wraps or scrolls cannot be replaced.
void Display::ShowBlock(const std::string& block) {
    ClearBlock();
    const winsize size = TerminalSize();
    std::istringstream lines(block);
    for (std::string line; m_block.size() + 1 < size.ws_row && std::getline(lines, line);) {
        CutTo(size.ws_col, line);
        fmt::print("{}\n", line);
        m_block.push_back(Characters(line));
    }
    std::fflush(stdout);
}

// Back to the block's first line, and everything below it gone. A terminal that has become narrower meanwhile
// has wrapped the lines that it held.
void Display::ClearBlock() {
    const std::size_t columns = TerminalSize().ws_col;
    std::size_t rows = 0;
    for (const std::size_t characters : m_block)
        rows += std::max<std::size_t>((characters + columns - 1) / columns, 1);
    if (rows > 0) fmt::print("\033[{}F\033[J", rows);
    m_block.clear();
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
