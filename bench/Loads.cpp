#include "Loads.h"

#include <memory>

#include "AppDataModel.h"
#include "motion/WalkingFigure.h"
#include "simulate/DescriptionBody.h"

namespace {

// What the arrays of a frame point to, as many of them as there are.
struct Arrays {
    std::vector<sTriple> positions{TARVO_MAX_OTHER_MARKERS, {0.1F, 1.2F, -3.4F}};
    std::vector<std::int32_t> ids = std::vector<std::int32_t>(TARVO_MAX_BODY_MARKERS, 7);
    std::vector<float> sizes = std::vector<float>(TARVO_MAX_BODY_MARKERS, 0.014F);

    sRigidBodySample MakeBody(int id, int markers) {
        sRigidBodySample body;
        body.id = id;
        std::fill(std::begin(body.position), std::end(body.position), 1.5F);
        std::fill(std::begin(body.orientation), std::end(body.orientation), 0.5F);
        body.markerCount = markers;
        body.markerPositions = positions.data();
        body.markerIds = ids.data();
        body.markerSizes = sizes.data();
        body.residual = 0.001F;
        return body;
    }
};

} // namespace

Body FrameLoad::Encode() const {
    Arrays arrays;
    std::vector<sRigidBodySample> boneSamples(static_cast<std::size_t>(bones), arrays.MakeBody(1, 0));
    const auto frame = std::make_unique<sFrameOfMocapData>();
    frame->markerSetCount = sets;
    for (int i = 0; i < sets; ++i) frame->markerSets[i] = {"set", setMarkers, arrays.positions.data()};
    frame->otherMarkerCount = otherMarkers;
    frame->otherMarkers = arrays.positions.data();
    frame->rigidBodyCount = bodies;
    for (int i = 0; i < bodies; ++i) frame->rigidBodies[i] = arrays.MakeBody(i, bodyMarkers);
    frame->skeletonCount = skeletons;
    for (int i = 0; i < skeletons; ++i) frame->skeletons[i] = {i, bones, boneSamples.data()};
    frame->labeledMarkerCount = labeledMarkers;
    frame->analogCount = analog;
    Body body(std::size_t{1} << 20); // enough for every load
    int length = 0;
    CAppDataModel().EncodeMocap(frame.get(), body.data(), length);
    body.resize(static_cast<std::size_t>(length));
    return body;
}

Body DescribeFigures(int figures, int labeledMarkers, std::size_t plates) {
    const WalkingFigure figure;
    const ForcePlateRig rig(std::vector<PlateLayout>(plates, PlateLayout::kEight));
    FrameComposer composer(figure, rig, {.skeletons = figures, .labeledMarkers = labeledMarkers, .analog = 0});
    return DescribeStream(composer).bytes;
}
