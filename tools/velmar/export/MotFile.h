// The force plates of a take as OpenSim reads ground reactions: a table of text with a row for each frame that has
// them.
#ifndef VELMAR_EXPORT_MOT_FILE_H
#define VELMAR_EXPORT_MOT_FILE_H

#include <string>
#include <vector>

#include "export/FrameSink.h"
#include "export/OutputFolder.h"

class MotFile : public FrameSink {
public:
    MotFile(Take& take, OutputFolder& folder);

    TakeFrames::Order Order() const override { return TakeFrames::Order::kSlots; }
    void Add(const TakeFrame& item) override;
    std::vector<std::string> Finish() override;

private:
    const Take& m_take;
    OutputFile& m_file;
};

#endif
