// The markers of a take as OpenSim reads them: a table of text with a row for each frame time.
#ifndef VELMAR_EXPORT_TRC_FILE_H
#define VELMAR_EXPORT_TRC_FILE_H

#include <string>
#include <vector>

#include "export/FrameSink.h"
#include "export/OutputFolder.h"

class TrcFile : public FrameSink {
public:
    TrcFile(Take& take, OutputFolder& folder);

    TakeFrames::Order Order() const override { return TakeFrames::Order::kSlots; }
    void Add(const TakeFrame& item) override;
    std::vector<std::string> Finish() override;

private:
    const Take& m_take;
    OutputFile& m_file;
    MarkerColumns::Positions m_positions;
};

#endif
