// One skeleton of a take as a BVH file: its hierarchy, and its motion as local rotations.
#ifndef VELMAR_EXPORT_BVH_FILE_H
#define VELMAR_EXPORT_BVH_FILE_H

#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "export/BvhAngles.h"
#include "export/OutputFolder.h"
#include "take/FrameTimeline.h"
#include "take/SkeletonTree.h"

class BvhFile {
public:
    explicit BvhFile(SkeletonTree tree);

    // With every frame, before anything is written: learns which bones change their distance from their parents.
    void Survey(const sFrameOfMocapData& frame);

    const SkeletonTree& Tree() const { return m_tree; }
    bool IsSeen() const { return m_isSeen; } // whole, in a frame of the survey

    // Thereafter.
    void Begin(OutputFile& file, const FrameTimeline& timeline);
    // Null for a frame that was lost. Where the skeleton is not whole the pose before stays.
    void Add(const sFrameOfMocapData* frame);

    long long Held() const { return m_held; } // frames with the pose before them

private:
    struct Pose {
        aiVector3t<double> position;
        aiQuaterniont<double> orientation;
    };
    struct Local {
        aiVector3t<double> position; // of the root in the file's axes, of others in those of their parents
        aiQuaterniont<double> rotation;
    };

    bool Find(const sFrameOfMocapData& frame, std::vector<Pose>& poses) const;
    aiVector3t<double> PlaceInParent(const std::vector<Pose>& poses, std::size_t bone) const;
    Local LocalOf(const std::vector<Pose>& poses, std::size_t bone) const;
    aiVector3t<double> OffsetOf(std::size_t bone) const;
    void AppendJoint(std::string& text, std::size_t bone, const std::string& indent);
    void AppendEnd(std::string& text, std::size_t bone, const std::string& indent) const;
    std::vector<Pose> ReferencePoses() const;
    void SetRow(const std::vector<Pose>& poses);

    SkeletonTree m_tree;
    std::vector<std::vector<std::size_t>> m_children; // of each bone
    std::vector<std::string> m_names;
    std::vector<bool> m_hasPosition; // among its channels
    bool m_isSeen = false;

    OutputFile* m_file = nullptr;
    std::vector<std::size_t> m_order; // of the joints in the file
    std::vector<Pose> m_poses;        // of the frame in hand
    std::vector<BvhAngles> m_angles;  // of the latest row
    std::string m_row;                // the latest one
    long long m_held = 0;
};

#endif
