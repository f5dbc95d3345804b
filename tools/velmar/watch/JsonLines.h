// The stream's state for programs.
#ifndef VELMAR_WATCH_JSON_LINES_H
#define VELMAR_WATCH_JSON_LINES_H

#include "watch/View.h"

// An object a line on standard output, and nothing else there.
class JsonLines : public View {
public:
    std::chrono::duration<double> Refresh() const override { return std::chrono::milliseconds(500); }
    void Show(const StreamState& state) override;
    void Print(const std::string&) override {} // the objects have it
    void Log(const char* line) override;
    void Finish(const StreamState& state) override;

private:
    RateMeter m_rate;
};

#endif
