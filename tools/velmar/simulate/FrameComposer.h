// The frames of the simulated capture: figures, free bodies, markers and analog channels at any time.
#ifndef VELMAR_SIMULATE_FRAME_COMPOSER_H
#define VELMAR_SIMULATE_FRAME_COMPOSER_H

#include <memory>
#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "motion/Motion.h"
#include "simulate/ForcePlateRig.h"

// How much of everything a frame holds.
struct Load {
    int skeletons = 1;
    int rigidBodies = 0;     // that belong to no skeleton
    int markerSets = -1;     // -1: one for each skeleton
    int otherMarkers = 0;    // without a label
    int labeledMarkers = -1; // -1: one at each joint, as far as a frame holds them
    int analog = 2;          // channels beside those of the force plates
};

// Identifiers of figures and of what they wear; the description list uses the same.
inline std::int32_t SkeletonId(int figure) { return figure + 1; }
inline std::int32_t BoneId(int joint) { return joint + 1; }
inline std::int32_t FreeBodyId(int body) { return 1001 + body; }

std::string FigureName(int figure); // of its marker set and its skeleton

// Figures other than the first walk beside it, so far from where their motion has them.
aiVector3D FigureOffset(int figure);

class FrameComposer {
public:
    static constexpr int kFreeBodyMarkers = 4;

    // Motion and plates must outlive the composer. Throws UsageError naming the option when a frame
    // would not fit a message or a bound.
    FrameComposer(const Motion& motion, const ForcePlateRig& plates, const Load& load);

    // The frame is the composer's and changes with the next call.
    sFrameOfMocapData& ComposeAt(int frameNumber, double seconds);

    std::size_t BodySize() const; // bytes of every frame's body
    const Load& Amounts() const { return m_load; }
    const Motion& Figure() const { return m_motion; }
    const ForcePlateRig& Plates() const { return m_plates; }

    // Where a labelled marker sits: figure and joint, or -1 each for one that stands alone.
    struct Wearer {
        int figure;
        int joint;
    };
    Wearer WearerOf(int labeledMarker) const;

private:
    void Fill();
    void FillFigures();
    void FillFreeBodies();
    void PlaceFigures(double seconds);
    void PlaceFreeBodies(double seconds);
    void PlaceOtherMarkers(double seconds);
    void PlaceLabeledMarkers();
    void PlaceAnalog(double seconds);
    void SetTimecode(double seconds);

    const Motion& m_motion;
    const ForcePlateRig& m_plates;
    Load m_load;
    std::unique_ptr<sFrameOfMocapData> m_frame;

    // What the frame's pointers point into.
    std::vector<std::vector<sRigidBodySample>> m_bones; // of each figure
    std::vector<std::vector<sTriple>> m_setMarkers;     // of each marker set
    std::vector<sTriple> m_otherMarkers;
    std::vector<sTriple> m_bodyMarkers; // of the free bodies, kFreeBodyMarkers each
    std::vector<std::int32_t> m_bodyMarkerIds;
    std::vector<float> m_bodyMarkerSizes;
    std::vector<float> m_analog;
};

#endif
