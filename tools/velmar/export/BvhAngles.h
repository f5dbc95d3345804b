// Rotations as the angles of BVH's channels.
#ifndef VELMAR_EXPORT_BVH_ANGLES_H
#define VELMAR_EXPORT_BVH_ANGLES_H

#include <assimp/types.h>

// In degrees: the rotation is that about z times that about x times that about y.
struct BvhAngles {
    double z = 0;
    double x = 0;
    double y = 0;

    // Those of this rotation that lie next to these: over 180 degrees, and past the pole at which x is 90 and only
    // the sum or the difference of the two others is known, they go on without a jump.
    BvhAngles Next(const aiQuaterniont<double>& rotation) const;
};

#endif
