// What stands on a terminal while a stream is watched.
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>

#include "ToolRun.h"

namespace {

// A terminal that understands what the tool sends. When its width changes, it wraps the lines that it holds anew.
class Terminal {
public:
    Terminal(unsigned short columns, const char* server) : m_columns(columns) {
        const winsize size{kRows, columns, 0, 0};
        m_process = forkpty(&m_handle, nullptr, nullptr, &size);
        if (m_process != 0) return;
        execl(VELMAR_BINARY, "velmar", "watch", server, nullptr);
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
        return m_complete;
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
        return m_lines;
    }

private:
    static constexpr unsigned short kRows = 40;

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
        } else if (byte != '\r') {
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
    Server server("--rate 100 --marker-sets 12 --force-plates none");
    Terminal terminal(80, "127.0.0.1");
    for (const auto columns : std::initializer_list<unsigned short>{80, 60, 200}) {
        SCOPED_TRACE(columns);
        if (columns != 80) terminal.Resize(columns);
        const std::vector<std::string> lines = terminal.AfterBlocks(3); // the first one is the old one
        ASSERT_EQ(lines.size(), 6U) << testing::PrintToString(lines);
        EXPECT_EQ(lines[0], "127.0.0.1: version accepted");
        EXPECT_THAT(lines[3], testing::MatchesRegex("received [0-9]+ frames, lost 0, numbers went back 0 times"));
        const std::string counts =
            "12 marker sets (252 markers), 1 skeleton (21 bones), 0 rigid bodies, 21 labelled markers, 0 other "
            "markers, 2 analog channels";
        EXPECT_EQ(lines[4], counts.substr(0, columns));
        for (const std::string& line : lines) EXPECT_LE(line.size(), columns);
    }
    EXPECT_THAT(terminal.AtTheEnd(), testing::ElementsAre("127.0.0.1: version accepted",
                                                          testing::HasSubstr(" frames received, 0 lost"), ""));
}
