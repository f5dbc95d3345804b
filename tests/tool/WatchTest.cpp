// What stands on a terminal while a stream is watched.
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ToolRun.h"
#include "support/Machine.h"

using namespace std::string_literals;

namespace {

// A terminal that understands what the tool sends. When its width changes, it wraps the lines that it holds anew.
class Terminal {
public:
    Terminal(unsigned short columns, const std::string& arguments) : m_columns(columns) {
        const winsize size{kRows, columns, 0, 0};
        m_process = forkpty(&m_handle, nullptr, nullptr, &size);
        if (m_process != 0) return;
        execl("/bin/sh", "sh", "-c", ("exec " VELMAR_BINARY " watch " + arguments).c_str(), nullptr);
        _exit(127);
    }
    ~Terminal() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
        close(m_handle);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    // The lines on it when the block has been replaced so many times more.
    std::vector<std::string> AfterBlocks(int count) {
        for (m_replaced = 0; m_replaced < count;)
            if (!Read(10000)) return {"nothing more comes"};
        return WithoutLog(m_complete);
    }

    bool Comes(const std::string& text) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (std::ranges::none_of(m_lines, [&](const std::string& line) { return line.starts_with(text); }))
            if (std::chrono::steady_clock::now() > deadline || !Read(10000)) return false;
        return true;
    }

    void Resize(unsigned short columns) {
        kill(m_process, SIGSTOP);
        waitpid(m_process, nullptr, WUNTRACED);
        while (Read(0)) continue;
        const winsize size{kRows, columns, 0, 0};
        ioctl(m_handle, TIOCSWINSZ, &size);
        m_columns = columns;
        kill(m_process, SIGCONT);
    }

    std::vector<std::string> AtTheEnd() {
        kill(m_process, SIGINT);
        while (Read(10000)) continue;
        return WithoutLog(m_lines);
    }

private:
    static constexpr unsigned short kRows = 40;

    static std::vector<std::string> WithoutLog(std::vector<std::string> lines) {
        std::erase_if(lines, [](const std::string& line) { return line.starts_with("[TarvoSDKClient]"); });
        return lines;
    }

    bool Read(int limitMs) {
        pollfd waiting{m_handle, POLLIN, 0};
        char bytes[4096];
        if (poll(&waiting, 1, limitMs) != 1) return false;
        const ssize_t size = read(m_handle, bytes, sizeof bytes);
        for (ssize_t i = 0; i < size; ++i) Take(bytes[i]);
        return size > 0;
    }

    void Take(char byte) {
        const bool ends = std::isalpha(static_cast<unsigned char>(byte)) != 0;
        if (byte == '\033' || !m_sequence.empty()) {
            m_sequence += byte;
            if (!ends) return;
            if (byte == 'F') GoUp(std::stoul(m_sequence.substr(2)));
            m_sequence.clear(); // below the cursor there is nothing left to be erased
        } else if (byte == '\n') {
            m_lines.emplace_back();
        } else if (byte != '\r' && (byte & 0xC0) != 0x80) { // of a character beyond ASCII, one byte
            m_lines.back() += byte;
        }
    }

    void GoUp(std::size_t rows) {
        m_complete = m_lines;
        m_complete.pop_back();
        ++m_replaced;
        while (rows > 0 && m_lines.size() > 1) {
            m_lines.pop_back();
            const std::size_t held = std::max<std::size_t>((m_lines.back().size() + m_columns - 1) / m_columns, 1);
            EXPECT_GE(rows, held) << "the cursor goes into the middle of " << m_lines.back();
            rows -= std::min(rows, held);
        }
        EXPECT_EQ(rows, 0U);
        m_lines.back().clear();
    }

    int m_handle = -1;
    pid_t m_process = 0;
    std::size_t m_columns;
    std::string m_sequence;
    std::vector<std::string> m_lines{""};
    std::vector<std::string> m_complete;
    int m_replaced = 0;
};

} // namespace

TEST(Watch, ReplacesItsBlockOnATerminalOfAnyWidth) {
    MakeInterface("here");
    Server server("--rate 100 --marker-sets 12 --force-plates none --interface 10.7.0.1 --foreign 0.2");
    Terminal terminal(80, "--interface here --verbose 127.0.0.1"); // a line of the log for each foreign datagram
    for (const auto columns : std::initializer_list<unsigned short>{80, 60, 110, 200}) {
        SCOPED_TRACE(columns);
        if (columns != 80) terminal.Resize(columns);
        const std::vector<std::string> lines = terminal.AfterBlocks(3); // the first one is the old one
        ASSERT_EQ(lines.size(), 7U) << testing::PrintToString(lines);
        EXPECT_EQ(lines[0], "127.0.0.1: version accepted");
        EXPECT_THAT(lines[3], testing::MatchesRegex("[0-9.]+ Hz . none lost . jitter p99 [0-9.]+ ms . delay p.*"));
        EXPECT_THAT(lines[4], testing::MatchesRegex("received [0-9]+ frames?, numbers went back 0 times"));
        const std::string counts =
            "12 marker sets (252 markers), 1 skeleton (21 bones), 0 rigid bodies, 21 labelled markers, 0 other "
            "markers, 2 analog channels";
        EXPECT_EQ(lines[5], counts.substr(0, columns));
        for (const std::string& line : lines) EXPECT_LE(line.size(), columns);
    }
    const char* const gone = "interface here of the stream is gone";
    const char* const back = "frames come again over interface here";
    Shell("ip link set here down");
    EXPECT_TRUE(terminal.Comes(gone));
    terminal.AfterBlocks(3); // that do not say it again
    Shell("ip link set here up");
    EXPECT_TRUE(terminal.Comes(back));
    using testing::StartsWith;
    EXPECT_THAT(terminal.AtTheEnd(),
                testing::ElementsAre("127.0.0.1: version accepted", StartsWith(gone), StartsWith(back),
                                     testing::HasSubstr(" frames received, "), ""));
}

// Of one-datagram frames nothing comes, of the others a part.
TEST(Watch, TellsProgramsAndPeopleWhatWasLostAndWhy) {
    struct Row {
        const char* options;
        const char* name;
        const char* words;
    };
    Shell(DroppingStream("9 == 4"));
    for (const Row& row : {Row{"--skeletons 0 --force-plates none", "missing_never_seen", "never seen"},
                           Row{"", "missing_incomplete", "incomplete"}}) {
        SCOPED_TRACE(row.name);
        const Server server("--rate 400 "s + row.options);
        std::istringstream lines(Output("watch 127.0.0.1 --json --frames 300", 0));
        nlohmann::json first;
        nlohmann::json last;
        for (std::string line; std::getline(lines, line); first = first.is_null() ? last : first) {
            EXPECT_FALSE(last.contains("final"));
            last = nlohmann::json::parse(line);
        }
        EXPECT_FALSE(first.contains("final"));
        EXPECT_EQ(last["final"], true);
        EXPECT_EQ(last["interface_name"], "lo");
        EXPECT_EQ(last["interface_state"], "joined");
        EXPECT_GE(last["frames_delivered"], 300);
        EXPECT_GT(last[row.name], 10);
        EXPECT_GT(last["frame_number"], last["frames_delivered"].get<int>() + last[row.name].get<int>() - 1);
        EXPECT_THAT(last["timecode"].get<std::string>(), testing::StartsWith("00:00:0"));
        EXPECT_NEAR(last["rate_hz"], 360, 100);
        EXPECT_THAT(Output("watch 127.0.0.1 --frames 300", 0),
                    testing::ContainsRegex("frames received, [0-9]+ lost \\([0-9]+ "s + row.words + "\\), "));
    }
}
