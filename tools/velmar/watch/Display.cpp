#include "watch/Display.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "StreamWords.h"
#include "Wording.h"

namespace {

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

// Jitter is by how much the time between two frames exceeds what it mostly is.
std::string Flow(double rate, const sStreamStatistics& l) {
    constexpr double kNsPerMs = 1e6;
    const std::uint64_t lost = Lost(l);
    const std::uint64_t jitterNs = std::max(l.intervalP99Ns, l.intervalMedianNs) - l.intervalMedianNs;
    return fmt::format("{:.1f} Hz · {} lost{} · jitter p99 {:.2f} ms · delay p99 {:.2f} ms", rate,
                       lost == 0 ? "none" : fmt::format("{}", lost), LossCauses(l),
                       static_cast<double>(jitterNs) / kNsPerMs, static_cast<double>(l.delayP99Ns) / kNsPerMs);
}

std::string Silence(const StreamState& s) {
    return s.silence > 1 ? fmt::format("  nothing for {:.0f} s", s.silence) : "";
}

std::string Block(const std::string& server, const StreamState& s, double rate) {
    return fmt::format(
        "{}: version accepted, streaming\n"
        "frame {}  timecode {}{}\n"
        "{}\n"
        "received {}, numbers went back {}\n"
        "{}\n{}{}\n",
        server, s.frameNumber, s.timecode, Silence(s), Flow(rate, s.library), Counted(s.frames, "frame"),
        Counted(s.library.numbersWentBack, "time"), Counts(s), Root(s), Plates(s, "\n"));
}

std::string Summary(const StreamState& s) {
    std::string text =
        fmt::format("{} received, {} lost{}, {:.2f} Hz over {:.2f} s; the first skeleton's root came {:.2f} m",
                    Counted(s.frames, "frame"), Lost(s.library), LossCauses(s.library), MeanRate(s),
                    s.secondsOfStream, s.rootPath);
    for (int i = 0; s.plates && i < s.plates->plateCount; ++i)
        text += fmt::format("\nstrongest force on plate {}: {:.0f} N", i + 1,
                            s.peakForce[static_cast<std::size_t>(i)]);
    if (!s.plateDoubt.empty()) text += '\n' + s.plateDoubt;
    return text;
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

std::chrono::duration<double> Display::Refresh() const {
    return std::chrono::milliseconds(m_terminal ? 100 : 500);
}

void Display::Show(const StreamState& state) {
    if (state.frames == 0) return;
    const double rate = m_rate.Next(state);
    if (!m_terminal) return ShowLine(state, rate);
    const std::lock_guard guard(m_mutex);
    ClearBlock();
    m_block = Block(m_server, state, rate);
    DrawBlock();
}

void Display::ShowLine(const StreamState& s, double rate) {
    if (!(m_countsShown == s.counts)) fmt::print("{}\n", Counts(s));
    m_countsShown = s.counts;
    fmt::print("{} frame {} received {}  {}  {}{}{}\n", s.timecode, s.frameNumber, s.frames, Flow(rate, s.library),
               Root(s), Plates(s, "  "), Silence(s));
    std::fflush(stdout);
}

// Only as much as the terminal holds: what wraps or scrolls cannot be replaced.
void Display::DrawBlock() {
    const winsize size = TerminalSize();
    std::istringstream lines(m_block);
    for (std::string line; m_rows.size() + 1 < size.ws_row && std::getline(lines, line);) {
        CutTo(size.ws_col, line);
        fmt::print("{}\n", line);
        m_rows.push_back(Characters(line));
    }
    std::fflush(stdout);
}

// Back to the block's first line, and everything below it gone. A terminal that has become narrower meanwhile
// has wrapped the lines that it held.
void Display::ClearBlock() {
    const std::size_t columns = TerminalSize().ws_col;
    std::size_t rows = 0;
    for (const std::size_t characters : m_rows)
        rows += std::max<std::size_t>((characters + columns - 1) / columns, 1);
    if (rows > 0) fmt::print("\033[{}F\033[J", rows);
    m_rows.clear();
}

void Display::Print(const std::string& text) {
    const std::lock_guard guard(m_mutex);
    ClearBlock();
    fmt::print("{}\n", text);
    DrawBlock();
}

// Both outputs may go to the same terminal, in whose block the line would stand.
void Display::Log(const char* line) {
    const std::lock_guard guard(m_mutex);
    ClearBlock();
    std::fflush(stdout);
    fmt::print(stderr, "{}", line);
    DrawBlock();
}

void Display::Finish(const StreamState& state) {
    {
        const std::lock_guard guard(m_mutex);
        ClearBlock();
        m_block.clear();
    }
    if (state.frames > 0) Print(Summary(state));
}
