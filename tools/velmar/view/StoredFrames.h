// All frames of a recording, however long: they lie in a file without a name, which goes with the program.
#ifndef VELMAR_VIEW_STORED_FRAMES_H
#define VELMAR_VIEW_STORED_FRAMES_H

#include <cstdio>
#include <memory>

#include "view/FrameHistory.h"

class StoredFrames : public FrameHistory {
public:
    // Throws std::runtime_error with the system's reason when there can be no such file.
    StoredFrames();

    // The frame of place End(). Throws std::runtime_error when the disk is full.
    void Add(const std::vector<unsigned char>& body, double arrivalMs);

    std::uint64_t Oldest() const override { return 0; }
    std::uint64_t End() const override { return m_frames.size(); }
    FrameBody At(std::uint64_t place) const override;
    double ArrivalMs(std::uint64_t place) const override { return m_frames[place].arrivalMs; }
    std::uint64_t Bytes() const override { return m_bytes; }

private:
    struct Release {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    struct Stored {
        std::uint64_t offset;
        std::uint32_t size;
        double arrivalMs;
    };

    std::unique_ptr<std::FILE, Release> m_file;
    std::vector<Stored> m_frames;
    std::uint64_t m_bytes = 0;
};

#endif
