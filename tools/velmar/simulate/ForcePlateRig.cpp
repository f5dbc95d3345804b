#include "simulate/ForcePlateRig.h"

#include <cmath>
#include <numbers>

#include "motion/Gait.h"

namespace {

constexpr double kHalfLength = 0.30; // of a plate's surface, along its x axis, metres
constexpr double kHalfWidth = 0.20;
constexpr int kFirstStepOnAPlate = 5; // late enough that whoever joins at the start sees the plates unloaded
constexpr int kScaleFactor = -4;      // readings to newtons, together with the calibration
// What unloaded channels read.
constexpr double kChannelOffsets[] = {0.31, -0.18, 0.92, 0.05, -0.44, 0.27, -0.63, 0.12};

struct Vector {
    double x = 0;
    double y = 0;
    double z = 0;
};

// What acts on the plate in its own axes: force, and moment about the centre of its surface.
struct Wrench {
    Vector force;
    Vector moment;
};

Vector Column(const sForcePlateInfo& plate, int k) {
    const auto& r = plate.rotation;
    return {static_cast<double>(r[0][k]), static_cast<double>(r[1][k]), static_cast<double>(r[2][k])};
}

double Dot(const Vector& a, const Vector& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

// From the volume's axes to the plate's: the rotation's columns are the plate's axes.
Vector ToPlate(const sForcePlateInfo& plate, const Vector& v) {
    return {Dot(Column(plate, 0), v), Dot(Column(plate, 1), v), Dot(Column(plate, 2), v)};
}

// Adds one contact if it is on the surface: a force at a point (z 0) and a couple about the normal.
void Add(const sForcePlateInfo& plate, const GroundContact& contact, Wrench& sum) {
    const auto& o = plate.origin;
    const Vector point =
        ToPlate(plate, {static_cast<double>(contact.point.x - o[0]), static_cast<double>(contact.point.y - o[1]),
                        static_cast<double>(contact.point.z - o[2])});
    if (std::abs(point.x) > kHalfLength || std::abs(point.y) > kHalfWidth) return;
    const Vector f = ToPlate(plate, {contact.force.x, contact.force.y, contact.force.z});
    const double couple = ToPlate(plate, {0, 0, contact.freeMoment}).z;
    sum.force = {sum.force.x + f.x, sum.force.y + f.y, sum.force.z + f.z};
    sum.moment = {sum.moment.x + point.y * f.z, sum.moment.y - point.x * f.z,
                  sum.moment.z + point.x * f.y - point.y * f.x + couple};
}

// A transducer that sits at -offset from the surface's centre feels the moment about its own place: in kN m.
std::vector<double> SixComponents(const Wrench& w, const float (&offset)[3]) {
    const Vector r{offset[0], offset[1], offset[2]};
    const Vector& f = w.force;
    return {f.x,
            f.y,
            f.z,
            (w.moment.x + r.y * f.z - r.z * f.y) / 1000,
            (w.moment.y + r.z * f.x - r.x * f.z) / 1000,
            (w.moment.z + r.x * f.y - r.y * f.x) / 1000};
}

// Four posts at (+-a, +-b), a depth h below the surface: the horizontal forces in pairs, x of the posts in
// front and behind, y of those right and left; the vertical ones singly, counter-clockwise from (+a, +b).
std::vector<double> EightForces(const Wrench& w, const float (&offset)[3]) {
    const double a = offset[0];
    const double b = offset[1];
    const double h = offset[2];
    const Vector& f = w.force;
    const double roll = (w.moment.x - h * f.y) / (4 * b);
    const double pitch = (w.moment.y + h * f.x) / (4 * a);
    // Both pairs take half of the twist.
    const double twistX = w.moment.z / (4 * b);
    const double twistY = w.moment.z / (4 * a);
    return {f.x / 2 - twistX,       f.x / 2 + twistX,       f.y / 2 + twistY,       f.y / 2 - twistY,
            f.z / 4 + roll - pitch, f.z / 4 + roll + pitch, f.z / 4 - roll + pitch, f.z / 4 - roll - pitch};
}

// Turned against the walk; the eight-channel plate hangs with its z axis down, as many are built.
void Place(sForcePlateInfo& plate, const Gait::Placement& step, bool zDown) {
    const double yaw = step.heading + (zDown ? -0.3 : 0.4);
    const double c = std::cos(yaw);
    const double s = std::sin(yaw);
    const double flip = zDown ? -1 : 1;
    const double rotation[3][3] = {{c, -s * flip, 0}, {s, c * flip, 0}, {0, 0, flip}};
    for (int i = 0; i < 3; ++i)
        for (int k = 0; k < 3; ++k) plate.rotation[i][k] = static_cast<float>(rotation[i][k]);
    plate.origin[0] = step.position.x + static_cast<float>(0.05 * std::cos(step.heading));
    plate.origin[1] = step.position.y + static_cast<float>(0.05 * std::sin(step.heading));
    plate.origin[2] = 0;
}

} // namespace

ForcePlateRig::ForcePlateRig(const std::vector<PlateLayout>& layouts) {
    for (const PlateLayout layout : layouts) {
        const bool eight = layout == PlateLayout::kEight;
        const int index = static_cast<int>(m_plates.size());
        sForcePlateInfo plate{};
        plate.id = index + 1;
        plate.scaleFactor = kScaleFactor;
        plate.channelLayout = static_cast<int>(layout);
        const float posts[] = {0.25F, 0.15F, -0.042F}; // z points down: h counts against it
        const float transducer[] = {0.001F, -0.002F, 0.039F};
        for (int i = 0; i < 3; ++i) plate.sensorOffset[i] = eight ? posts[i] : transducer[i];
        for (int k = 0; k < 8; ++k) {
            for (float& element : plate.calibration[k]) element = 0.01F * static_cast<float>(k + 1);
            plate.calibration[k][k] = 25.0F + 1.5F * static_cast<float>(k);
        }
        Place(plate, Gait::StepPlacement(kFirstStepOnAPlate + index), eight);
        m_plates.push_back(plate);
        m_channelCount += eight ? 8 : 6;
    }
}

void ForcePlateRig::AppendChannels(const std::vector<GroundContact>& contacts,
                                   std::vector<float>& channels) const {
    for (const sForcePlateInfo& plate : m_plates) {
        Wrench load;
        for (const GroundContact& contact : contacts) Add(plate, contact, load);
        const bool eight = plate.channelLayout == static_cast<int>(PlateLayout::kEight);
        const std::vector<double> components =
            eight ? EightForces(load, plate.sensorOffset) : SixComponents(load, plate.sensorOffset);
        for (std::size_t k = 0; k < components.size(); ++k) {
            const double gain = static_cast<double>(plate.calibration[k][k]) * -plate.scaleFactor;
            channels.push_back(static_cast<float>(kChannelOffsets[k] + components[k] / gain));
        }
    }
}
