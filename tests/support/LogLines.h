// Collects the library's log lines for a test, from every thread.
#ifndef TESTS_SUPPORT_LOG_LINES_H
#define TESTS_SUPPORT_LOG_LINES_H

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "platform/AppCallBack.h"

// Takes the process-wide log callback for its own life. Lines keep their line numbers as "#", so that a test
// compares the words: "[TarvoSDKClient] # Failed.\n" is "Failed" after Words().
class LogLines {
public:
    struct Line {
        int level;
        std::string text;
        bool operator==(const Line&) const = default;
    };

    LogLines() {
        Current() = this;
        Application::CAppCallBack::SetLogMessageCB(&LogLines::Receive);
        COutputMessage::SetLevel(Verbosity_Debug);
    }
    ~LogLines() {
        Application::CAppCallBack::SetLogMessageCB(nullptr);
        Current() = nullptr;
    }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    std::vector<Line> Lines() const {
        const std::lock_guard guard(m_mutex);
        return m_lines;
    }

    // The texts without the house prefix, the line number and the newline: "Failed.", "Failed:5 syserr:9 ...".
    std::vector<std::string> Words() const;

    // How many lines contain this text.
    std::ptrdiff_t Count(const std::string& part) const {
        const auto lines = Lines();
        return std::count_if(lines.begin(), lines.end(),
                             [&](const Line& line) { return line.text.find(part) != std::string::npos; });
    }

    void Clear() {
        const std::lock_guard guard(m_mutex);
        m_lines.clear();
    }

private:
    static LogLines*& Current() {
        static LogLines* current = nullptr;
        return current;
    }
    static void Receive(int level, char* text) {
        LogLines& self = *Current();
        const std::lock_guard guard(self.m_mutex);
        self.m_lines.push_back({level, text});
    }

    mutable std::mutex m_mutex;
    std::vector<Line> m_lines;
};

#endif
