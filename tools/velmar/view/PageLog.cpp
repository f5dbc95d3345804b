#include "view/PageLog.h"

#include <fmt/format.h>

#include <string>

#include "view/FrameMessage.h"

namespace {

constexpr int kLinesASecond = 20;
constexpr int kWarning = 2;

void AppendLine(StateBoard& board, int level, std::string text) {
    while (!text.empty() && text.back() == '\n') text.pop_back();
    board.Append(StateBoard::List::kLog, {{"level", level}, {"text", std::move(text)}});
}

} // namespace

void PageLog::Add(int level, const char* line) {
    const std::lock_guard guard(m_mutex);
    BeginSecond(NowMs());
    if (++m_lines <= kLinesASecond) AppendLine(m_board, level, line);
}

void PageLog::Settle() {
    const std::lock_guard guard(m_mutex);
    BeginSecond(NowMs());
}

void PageLog::BeginSecond(double now) {
    constexpr double kSecondMs = 1000;
    if (now - m_since < kSecondMs) return;
    if (m_lines > kLinesASecond)
        AppendLine(m_board, kWarning, fmt::format("({} more lines)", m_lines - kLinesASecond));
    m_since = now;
    m_lines = 0;
}
