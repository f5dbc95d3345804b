// The rigid bodies of a recording and the bones of its skeletons, as they are the same from frame to frame.
#ifndef VELMAR_TAKE_BODY_COLUMNS_H
#define VELMAR_TAKE_BODY_COLUMNS_H

#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "take/DescribedNames.h"
#include "take/Occurrences.h"

class BodyColumns {
public:
    void Collect(const sFrameOfMocapData& frame); // with every frame

    // So far: at least one for each skeleton.
    std::size_t Collected() const { return m_bodies.Count() + m_bonesOfSkeletons + m_skeletons.Count(); }

    // Thereafter: names and orders them. Rigid bodies by identifier, then skeletons, their bones as the frames
    // have them.
    void Settle(DescribedNames& names);

    const std::vector<std::string>& Labels() const { return m_labels; } // "body Stick", "bone Ann:Hips"
    std::size_t Count() const { return m_labels.size(); }
    std::size_t RigidBodies() const { return m_bodies.Count(); } // of these, that are no bones

    // Null where one is missing. As long as the frame.
    void Place(const sFrameOfMocapData& frame, std::vector<const sRigidBodySample*>& bodies) const;

private:
    struct Skeleton {
        int bones = 0; // the most that a frame had
        std::size_t first = 0;
    };
    struct Body {
        std::size_t column = 0;
    };
    std::size_t m_bonesOfSkeletons = 0;
    mutable Occurrences<int, Body> m_bodies;
    mutable Occurrences<int, Skeleton> m_skeletons;
    std::vector<std::string> m_labels;
};

#endif
