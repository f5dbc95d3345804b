// A take as a C3D file: points, analog channels, force platforms, and what was lost as events.
#ifndef VELMAR_EXPORT_C3D_FILE_H
#define VELMAR_EXPORT_C3D_FILE_H

#include <string>
#include <vector>

#include "export/C3dPlates.h"
#include "export/FrameSink.h"
#include "export/OutputFolder.h"

class C3dFile : public FrameSink {
public:
    C3dFile(Take& take, OutputFolder& folder);

    TakeFrames::Order Order() const override { return TakeFrames::Order::kSlots; }
    void Add(const TakeFrame& item) override;
    std::vector<std::string> Finish() override;

private:
    void AddPoints(C3dParameters& parameters) const;
    void AddTrial(C3dParameters& parameters) const;
    void AddAnalog(C3dParameters& parameters) const;
    void AddEvents(C3dParameters& parameters) const;
    std::vector<unsigned char> Header(std::size_t dataBlock) const;

    const Take& m_take;
    C3dPlates m_plates;
    OutputFile& m_file;
    MarkerColumns::Positions m_positions;
    std::vector<float> m_analog; // as they were last
    std::vector<float> m_record; // one frame
};

#endif
