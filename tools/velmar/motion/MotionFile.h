// A recorded motion from a file.
#ifndef VELMAR_MOTION_MOTION_FILE_H
#define VELMAR_MOTION_MOTION_FILE_H

#include <assimp/matrix4x4.h>

#include <memory>
#include <optional>
#include <vector>

#include "motion/Motion.h"

struct aiAnimation;
struct aiNode;
struct aiNodeAnim;
struct aiScene;

enum class UpAxis { kY, kZ };

// The first animation of any file that Assimp reads. Joints are the animated nodes. A file knows nothing of
// the ground: there are no contacts. Every pass has the file's own frames, at the file's rate; a frame is what
// the file counts its time in.
class MotionFile : public Motion {
public:
    // Without a scale, the one among the usual units that makes the figure most nearly as tall as a person.
    // Throws UsageError naming the file and what is wrong with it.
    MotionFile(const std::string& path, UpAxis up, std::optional<double> scale);
    ~MotionFile() override;

    const std::vector<Joint>& Joints() const override { return m_joints; }
    std::vector<JointPose> PoseAt(double seconds) const override;
    std::vector<JointPose> ReferencePose() const override; // the file's rest pose: the animation left out
    std::vector<GroundContact> ContactsAt(double /*seconds*/) const override { return {}; }
    std::string Summary() const override;

private:
    // A node of the file's tree; those between joints carry fixed transforms.
    struct Node {
        int parent;                // in m_nodes, -1 for the top
        aiMatrix4x4 rest;          // relative to the parent
        const aiNodeAnim* channel; // null: it rests
        int joint;                 // in m_joints, -1 when it is none
    };

    void Collect(const aiNode& node, int parent, int parentJoint);
    std::vector<aiMatrix4x4> WorldTransforms(std::optional<double> frame) const; // at rest without one
    std::vector<JointPose> Poses(const std::vector<aiMatrix4x4>& world) const;
    double GuessScale() const;

    std::string m_path;
    std::unique_ptr<const aiScene> m_scene;
    const aiAnimation* m_animation = nullptr;
    std::vector<Node> m_nodes;
    std::vector<Joint> m_joints;
    aiMatrix4x4 m_toVolume; // the file's axes to z up
    double m_scale = 1;
    bool m_scaleGuessed = false;
    double m_rate = 0;   // frames a second
    double m_frames = 0; // of one pass
};

#endif
