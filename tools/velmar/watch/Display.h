// The stream's state on the screen: refreshed in place on a terminal, a line at a time elsewhere.
#ifndef VELMAR_WATCH_DISPLAY_H
#define VELMAR_WATCH_DISPLAY_H

#include <string>
#include <vector>

#include "watch/StreamStatistics.h"

class Display {
public:
    explicit Display(std::string server);

    bool IsTerminal() const { return m_terminal; }

    // Shows the state; the rate is that since the last call. Where nothing can be refreshed, the counts are
    // shown when they change.
    void Show(const StreamState& state);

    // Text that stays, above what is refreshed.
    void Print(const std::string& text);

    // What came through, for the end.
    static std::string Summary(const StreamState& state);

private:
    void ShowBlock(const std::string& block);
    void ClearBlock();

    std::string m_server;
    bool m_terminal;
    std::vector<std::size_t> m_block; // characters of each line of the block that the next one replaces
    StreamState::Counts m_countsShown{};
    long long m_framesShown = 0;
    double m_secondsShown = 0;
};

#endif
