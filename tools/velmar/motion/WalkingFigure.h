// The built-in motion: a person of 1.7 m who walks a circle, so that nothing else needs to be present.
#ifndef VELMAR_MOTION_WALKING_FIGURE_H
#define VELMAR_MOTION_WALKING_FIGURE_H

#include "motion/Motion.h"

class WalkingFigure : public Motion {
public:
    const std::vector<Joint>& Joints() const override;
    std::vector<JointPose> PoseAt(double seconds) const override;
    std::vector<GroundContact> ContactsAt(double seconds) const override; // of both feet
    std::string Summary() const override;
};

#endif
