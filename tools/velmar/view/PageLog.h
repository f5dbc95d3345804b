// The library's log lines for pages: whatever the network does, no more than people can read.
#ifndef VELMAR_VIEW_PAGE_LOG_H
#define VELMAR_VIEW_PAGE_LOG_H

#include <mutex>

#include "view/StateBoard.h"

// From any thread.
class PageLog {
public:
    explicit PageLog(StateBoard& board) : m_board(board) {}

    void Add(int level, const char* line);

    // To be called now and then: tells how many lines of a second that is over were too many.
    void Settle();

private:
    void BeginSecond(double now); // with m_mutex held

    StateBoard& m_board;
    std::mutex m_mutex;
    double m_since = 0; // beginning of the second in which these came, on the program's clock
    int m_lines = 0;
};

#endif
