// What moves in front of the simulated cameras: joints, their poses over time, and the loads under the feet.
#ifndef VELMAR_MOTION_MOTION_H
#define VELMAR_MOTION_MOTION_H

#include <assimp/types.h>

#include <string>
#include <vector>

struct Joint {
    std::string name;
    int parent; // index of the parent, always before the child; -1 for the root
};

// In the axes of the capture volume, whatever the joint's parent does: metres, z up.
struct JointPose {
    aiVector3D position;
    aiQuaternion orientation; // turns the joint's own axes into the volume's
};

// What the ground does to one foot, in the axes of the capture volume.
struct GroundContact {
    aiVector3D force; // newtons
    aiVector3D point; // centre of pressure, metres, z 0
    float freeMoment; // about the vertical through the point, newton metres
};

// A motion that repeats itself: any time is valid.
class Motion {
public:
    Motion() = default;
    virtual ~Motion() = default;
    Motion(const Motion&) = delete;
    Motion& operator=(const Motion&) = delete;

    virtual const std::vector<Joint>& Joints() const = 0;
    virtual std::vector<JointPose> PoseAt(double seconds) const = 0; // one for each joint

    // The pose that tells where each joint sits on its parent.
    virtual std::vector<JointPose> ReferencePose() const { return PoseAt(0); }

    virtual std::vector<GroundContact> ContactsAt(double seconds) const = 0;
    virtual std::string Summary() const = 0; // one line for the user
};

#endif
