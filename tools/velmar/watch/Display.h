// The stream's state on the screen: refreshed in place on a terminal, a line at a time elsewhere.
#ifndef VELMAR_WATCH_DISPLAY_H
#define VELMAR_WATCH_DISPLAY_H

#include <mutex>
#include <string>
#include <vector>

#include "watch/View.h"

class Display : public View {
public:
    explicit Display(std::string server);

    std::chrono::duration<double> Refresh() const override;

    // The rate is that since the last call. Where nothing can be refreshed, the counts are shown when they change.
    void Show(const StreamState& state) override;

    // Stays, above what is refreshed.
    void Print(const std::string& text) override;
    void Log(const char* line) override;

    void Finish(const StreamState& state) override;

private:
    void ShowLine(const StreamState& state, double rate);
    void DrawBlock();
    void ClearBlock();

    std::string m_server;
    bool m_terminal;
    StreamState::Counts m_countsShown{};
    RateMeter m_rate;

    std::mutex m_mutex;
    // Guarded by the mutex: the block that stands on the terminal.
    std::string m_block;             // whole
    std::vector<std::size_t> m_rows; // characters of each of its lines that are shown
};

#endif
