// The axes of formats whose y points up.
#ifndef VELMAR_EXPORT_Y_UP_H
#define VELMAR_EXPORT_Y_UP_H

#include <assimp/types.h>

// Of a vector in the volume's axes, in which z points up. Without a negative zero.
inline aiVector3t<double> YUp(const aiVector3t<double>& v) { return {v.x, v.z, 0 - v.y}; }

// Of a rotation: its axis turns with them.
inline aiQuaterniont<double> YUp(const aiQuaterniont<double>& rotation) {
    const aiVector3t<double> axis = YUp(aiVector3t<double>(rotation.x, rotation.y, rotation.z));
    return {rotation.w, axis.x, axis.y, axis.z};
}

#endif
