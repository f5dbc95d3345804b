// The hierarchy of a skeleton, as the descriptions of a recording tell it.
#ifndef VELMAR_TAKE_SKELETON_TREE_H
#define VELMAR_TAKE_SKELETON_TREE_H

#include <assimp/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "take/Take.h"

struct SkeletonTree {
    struct Bone {
        std::string name;
        std::int32_t id;
        int parent;                        // index in the list; -1 for the root
        aiVector3t<double> offset;         // in the parent's own axes; of the root its position in the volume
        aiQuaterniont<double> orientation; // global, in the reference pose; of unit length
    };

    // A bone is at parentPosition + parentOrientation.Rotate(offset). Throws std::runtime_error that names the
    // recording and the skeleton where the description is no tree of one root, and where nobody knows what it
    // says: the descriptions of servers other than the simulated one.
    SkeletonTree(const sSkeletonInfo& description, const Take& take);

    std::string name;
    std::int32_t id;
    std::vector<Bone> bones; // in the order of the description; a parent may come behind its children
    std::size_t root = 0;
};

// Null descriptions have none.
std::vector<const sSkeletonInfo*> SkeletonsIn(const sDataDescriptions* descriptions);

// A quaternion x, y, z, w of records, made of exact unit length. Nothing where it is far from that.
std::optional<aiQuaterniont<double>> RotationOf(const float (&xyzw)[4]);

#endif
