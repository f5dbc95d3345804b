// A BVH file for each skeleton of a take.
#ifndef VELMAR_EXPORT_BVH_FILES_H
#define VELMAR_EXPORT_BVH_FILES_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "export/BvhFile.h"
#include "export/FrameSink.h"
#include "export/OutputFolder.h"

class BvhFiles : public FrameSink {
public:
    // Reads the frames once. Also throws what SkeletonTree throws.
    BvhFiles(Take& take, OutputFolder& folder);

    TakeFrames::Order Order() const override { return TakeFrames::Order::kSlots; }
    void Add(const TakeFrame& item) override;
    std::vector<std::string> Finish() override;

private:
    void ReadTrees();
    void Survey();
    void Begin(OutputFolder& folder);
    void NoteOthers(std::vector<std::string>& notes) const;

    const Take& m_take;
    std::vector<BvhFile> m_files;
    std::vector<std::string> m_names;     // of the files
    std::vector<std::string> m_unseen;    // skeletons that no frame has whole
    std::set<std::int32_t> m_undescribed; // skeletons of frames, by identifier
};

#endif
