// Which part of a recording is meant, and which of its frames tell what plates read without a load.
#ifndef VELMAR_TAKE_TAKE_RANGE_H
#define VELMAR_TAKE_TAKE_RANGE_H

#include <optional>
#include <string>

// A moment of a recording: a frame's number, or seconds since its first frame.
struct TakePoint {
    bool isNumber = true;
    long long number = 0;
    double seconds = 0;
};

// Both ends are in it.
struct TakeRange {
    std::optional<TakePoint> from;
    std::optional<TakePoint> to;

    bool IsWhole() const { return !from && !to; }
    bool Holds(long long number, double seconds) const;
    std::string Text() const; // "from frame 100 to 2.5 s"
};

// Numbers of frames, both in it.
struct FrameSpan {
    long long first = 0;
    long long last = 0;
};

// "120" is a number, "2.5s" are seconds. Nothing for other texts.
std::optional<TakePoint> ParseTakePoint(const std::string& text);

// "100-200". Nothing for other texts, also where the last is before the first.
std::optional<FrameSpan> ParseFrameSpan(const std::string& text);

#endif
