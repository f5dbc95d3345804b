// Where the frames of a take are written to.
#ifndef VELMAR_EXPORT_FRAME_SINK_H
#define VELMAR_EXPORT_FRAME_SINK_H

#include <string>
#include <vector>

#include "take/TakeFrames.h"

// Made with the take and the folder whose files it writes; the folder finishes them. Throws what OutputFile
// throws, and std::runtime_error that names the recording where the format cannot hold what is in it.
class FrameSink {
public:
    FrameSink() = default;
    virtual ~FrameSink() = default;
    FrameSink(const FrameSink&) = delete;
    FrameSink& operator=(const FrameSink&) = delete;

    virtual TakeFrames::Order Order() const = 0;

    virtual void Add(const TakeFrame& frame) = 0;

    // Behind the last frame: writes what is left, and returns what of the recording the files do not have, or have
    // in another way, each in a few words: "4 unlabelled markers have no place in it".
    virtual std::vector<std::string> Finish() = 0;
};

#endif
