// How a watched stream is shown.
#ifndef VELMAR_WATCH_VIEW_H
#define VELMAR_WATCH_VIEW_H

#include <chrono>
#include <string>

#include "watch/StreamStatistics.h"

class View {
public:
    View() = default;
    virtual ~View() = default;
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    // Between two calls of Show.
    virtual std::chrono::duration<double> Refresh() const = 0;

    // The stream's state, before its first frame too.
    virtual void Show(const StreamState& state) = 0;

    // What happened just now.
    virtual void Print(const std::string& text) = 0;

    // A line of the library's log, to standard error; on any thread.
    virtual void Log(const char* line) = 0;

    // What came through. Nothing is shown behind it.
    virtual void Finish(const StreamState& state) = 0;
};

#endif
