// One file of JSON objects, a line for each frame.
#ifndef VELMAR_EXPORT_FRAME_OBJECTS_H
#define VELMAR_EXPORT_FRAME_OBJECTS_H

#include <string>
#include <vector>

#include "export/FrameSink.h"
#include "export/FrameTables.h"
#include "export/OutputFolder.h"

class FrameObjects : public FrameSink {
public:
    FrameObjects(Take& take, OutputFolder& folder) : m_tables(take.names), m_file(folder.Make("frames.jsonl")) {}

    TakeFrames::Order Order() const override { return TakeFrames::Order::kArrival; }
    void Add(const TakeFrame& item) override;
    std::vector<std::string> Finish() override { return {}; }

private:
    FrameTables m_tables;
    OutputFile& m_file;
};

#endif
