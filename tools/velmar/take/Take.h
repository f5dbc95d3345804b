// A recording looked through from its beginning to its end: what whoever writes it down must know beforehand.
#ifndef VELMAR_TAKE_TAKE_H
#define VELMAR_TAKE_TAKE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "PlateDoubt.h"
#include "TarvoStream.h"
#include "capture/RecordedDescriptions.h"
#include "capture/RecordedFrames.h"
#include "capture/Recording.h"
#include "take/BodyColumns.h"
#include "take/DescribedNames.h"
#include "take/FrameTimeline.h"
#include "take/MarkerColumns.h"
#include "take/TakeRange.h"

// What the user calls the options, for texts that advise one.
struct OptionNames {
    const char* range = "--from and --to";
    const char* unloaded = "--unloaded FIRST-LAST";
    const char* rate = "--rate";
};

struct TakeOptions {
    std::string file;
    TakeRange range;
    std::optional<FrameSpan> unloaded; // frames whose mean tells what plates read without a load
    std::optional<double> rate;        // frames a second, in place of what the recording says
    OptionNames names = {};
};

struct Take {
    // Reads the file twice, or three times for a part of it, or for unloaded frames. Throws std::runtime_error
    // that names it: what Survey throws, a range or unloaded frames that it does not hold, and when a signal
    // arrives.
    explicit Take(TakeOptions wanted);

    bool IsSimulated() const { return names.simulated; }
    std::string Name() const; // of the file, without folders and ending

    // Whether a frame has all computed plates, and numbers for all of them.
    bool IsWhole(const sForcePlates& sample) const;

    TakeOptions options;
    Recording recording;
    RecordedDescriptions descriptions;
    DescribedNames names;
    FrameTimeline timeline;         // restricted to the range
    sStreamStatistics statistics{}; // of the whole recording
    std::vector<float> unloaded;    // as RecordedPlates takes it; empty: the first frame's
    long long undecodable = 0;

    // Of the range's frames, repeated ones too.
    int firstNumber = 0; // in the order of arrival
    int lastNumber = 0;
    MarkerColumns markers;
    BodyColumns bodies;
    std::vector<sForcePlateInfo> plates; // that are computed, in the order of the frames' samples
    long long plateFrames = 0;           // that have them whole; without repeated ones
    std::vector<float> plateUnloaded;    // of the channels of these, one plate's behind the other's
    int analogChannels = 0;              // beside the plates'; the most that a frame had
    int otherMarkers = 0;                // without a label, the most
    int bodyMarkers = 0;                 // of rigid bodies and bones, the most
    int labeledMarkers = 0;              // the most
    PlateDoubt doubt;

private:
    static constexpr std::int8_t kNotWhole = -1;

    bool ItemsComeWithTimes() const;
    void ReadTimes();
    void ReadItems();
    void Collect(const RecordedFrame& item);
    void CollectNames(const sFrameOfMocapData& frame);
    void SettlePlates();
    std::optional<double> StatedRate() const;

    bool m_isFirst = true;
    std::vector<std::int8_t> m_wholePlates; // of each recorded frame, while they are collected
};

#endif
