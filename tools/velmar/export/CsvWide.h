// One table of comma-separated values with a row for each frame and a column for each value.
#ifndef VELMAR_EXPORT_CSV_WIDE_H
#define VELMAR_EXPORT_CSV_WIDE_H

#include <string>
#include <vector>

#include "export/FrameSink.h"
#include "export/OutputFolder.h"

class CsvWide : public FrameSink {
public:
    CsvWide(Take& take, OutputFolder& folder);

    TakeFrames::Order Order() const override { return TakeFrames::Order::kArrival; }
    void Add(const TakeFrame& item) override;
    std::vector<std::string> Finish() override;

private:
    const Take& m_take;
    OutputFile& m_file;
    MarkerColumns::Positions m_positions;
    std::vector<const sRigidBodySample*> m_bodies;
};

#endif
