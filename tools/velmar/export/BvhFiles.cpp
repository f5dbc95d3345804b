#include "export/BvhFiles.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Wording.h"
#include "export/PlainName.h"
#include "export/TableSize.h"

BvhFiles::BvhFiles(Take& take, OutputFolder& folder) : m_take(take) {
    CheckTableSize(take, take.timeline.Slots(), 0);
    ReadTrees();
    Survey();
    Begin(folder);
}

void BvhFiles::ReadTrees() {
    for (const sSkeletonInfo* const skeleton : SkeletonsIn(m_take.descriptions.list.get()))
        m_files.emplace_back(SkeletonTree(*skeleton, m_take));
    if (m_files.empty())
        throw std::runtime_error(m_take.options.file +
                                 " describes no skeleton: without a hierarchy there is no BVH file");
}

void BvhFiles::Survey() {
    std::set<std::int32_t> described;
    for (const BvhFile& file : m_files) described.insert(file.Tree().id);
    TakeFrames frames(m_take, TakeFrames::Order::kSlots);
    while (const TakeFrame* const item = frames.Next()) {
        if (item->frame == nullptr) continue;
        for (BvhFile& file : m_files) file.Survey(*item->frame);
        for (int i = 0; i < item->frame->skeletonCount; ++i)
            if (const std::int32_t id = item->frame->skeletons[i].id; !described.contains(id))
                m_undescribed.insert(id);
    }
}

void BvhFiles::Begin(OutputFolder& folder) {
    for (const BvhFile& file : m_files) (file.IsSeen() ? m_names : m_unseen).push_back(file.Tree().name);
    std::erase_if(m_files, [](const BvhFile& file) { return !file.IsSeen(); });
    if (m_files.empty())
        throw std::runtime_error(m_take.options.file + ": no frame has a described skeleton with all its bones");
    std::size_t bones = 0;
    for (const BvhFile& file : m_files) bones += file.Tree().bones.size();
    CheckTableSize(m_take, m_take.timeline.Slots(), 3 * bones);
    m_names = PlainFileNames(std::move(m_names), "Skeleton");
    for (std::size_t i = 0; i < m_files.size(); ++i)
        m_files[i].Begin(folder.Make(m_names[i] + ".bvh"), m_take.timeline);
}

void BvhFiles::Add(const TakeFrame& item) {
    for (BvhFile& file : m_files) file.Add(item.frame);
}

std::vector<std::string> BvhFiles::Finish() {
    std::vector<std::string> notes;
    for (std::size_t i = 0; i < m_files.size(); ++i)
        if (m_files[i].Held() > 0)
            notes.push_back(fmt::format("{}.bvh keeps the pose before in {}, lost or without some of its bones",
                                        m_names[i], Counted(m_files[i].Held(), "frame")));
    for (const std::string& name : m_unseen)
        notes.push_back(fmt::format("left out: the skeleton {:?}, which no frame has with all its bones", name));
    if (!m_undescribed.empty())
        notes.push_back(
            fmt::format("left out: {} without a description", Counted(m_undescribed.size(), "skeleton")));
    NoteOthers(notes);
    return notes;
}

void BvhFiles::NoteOthers(std::vector<std::string>& notes) const {
    std::vector<std::string> others;
    const auto add = [&](auto count, const char* thing) {
        if (count > 0) others.push_back(Counted(count, thing));
    };
    add(m_take.markers.Count(), "marker");
    add(m_take.otherMarkers, "unlabelled marker");
    add(m_take.bodyMarkers, "rigid-body marker");
    add(m_take.bodies.RigidBodies(), "rigid body");
    add(m_take.analogChannels, "analog channel");
    add(m_take.plates.size(), "force plate");
    if (!others.empty())
        notes.push_back(fmt::format("left out: {}: BVH has skeletons only", fmt::join(others, ", ")));
    if (m_take.timeline.Repeated() > 0)
        notes.push_back(fmt::format("left out: {} whose number had come already",
                                    Counted(m_take.timeline.Repeated(), "frame")));
}
