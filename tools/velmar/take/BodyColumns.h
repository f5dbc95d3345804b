// The rigid bodies of a recording and the bones of its skeletons, as they are the same from frame to frame.
#ifndef VELMAR_TAKE_BODY_COLUMNS_H
#define VELMAR_TAKE_BODY_COLUMNS_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "TarvoSDKClient.h"
#include "take/DescribedNames.h"
#include "take/Occurrences.h"

class BodyColumns {
public:
    void Collect(const sFrameOfMocapData& frame); // with every frame

    std::size_t Collected() const { return m_collected; } // so far: at least one for each skeleton

    // Thereafter: names and orders them. Rigid bodies by identifier, then skeletons, their bones as the frames
    // have them.
    void Settle(DescribedNames& names);

    const std::vector<std::string>& Labels() const { return m_labels; } // "body Stick", "bone Ann:Hips"
    std::size_t Count() const { return m_labels.size(); }
    std::size_t RigidBodies() const { return m_bodies.size(); } // of these, that are no bones

    // Null where one is missing. As long as the frame.
    void Place(const sFrameOfMocapData& frame, std::vector<const sRigidBodySample*>& bodies) const;

private:
    struct Skeleton {
        int bones = 0; // the most that a frame had
        std::size_t first = 0;
    };
    std::size_t m_collected = 0;
    // A frame may have several of one identifier.
    std::map<std::pair<int, int>, std::size_t> m_bodies; // to column
    std::map<std::pair<int, int>, Skeleton> m_skeletons;
    mutable Occurrences<int> m_bodiesOfFrame;
    mutable Occurrences<int> m_skeletonsOfFrame;
    std::vector<std::string> m_labels;
};

#endif
