#include "export/FrameTables.h"

#include <bit>

#include "NameText.h"
#include "simulate/ServerRecords.h"

namespace {

enum Kind { kMarkers, kLabeledMarkers, kRigidBodies, kBones, kBodyMarkers, kAnalog, kForcePlates, kAuxiliary };

using Row = std::vector<Value>;
using Columns = std::vector<std::string>;

const Columns kPosition{"position_x_m", "position_y_m", "position_z_m"};
const Columns kPose{"position_x_m",  "position_y_m",  "position_z_m", "orientation_x", "orientation_y",
                    "orientation_z", "orientation_w", "residual_m",   "flags"};

template <typename T>
std::vector<T> Joined(std::vector<T> first, const std::vector<T>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Row Pose(const sRigidBodySample& body) {
    const auto& [x, y, z] = body.position;
    const auto& [i, j, k, w] = body.orientation;
    return {x, y, z, i, j, k, w, body.residual, body.flags};
}

} // namespace

FrameTables::FrameTables(DescribedNames& names) : m_names(names) {
    const Columns known = Joined(Joined({"marker_id"}, kPosition), {"diameter_m", "skeleton_id"});
    const Columns words{"marker_index", "word_0", "word_1", "word_2", "word_3", "word_4", "word_5"};
    m_tables = {
        {"markers", Joined({"marker_set", "marker_index", "marker"}, kPosition), {}},
        {"labeled_markers", names.simulated ? known : words, {}},
        {"rigid_bodies", Joined({"rigid_body_id", "rigid_body"}, kPose), {}},
        {"skeleton_bones", Joined({"skeleton_id", "skeleton", "bone_id", "bone"}, kPose), {}},
        {"body_markers",
         Joined(Joined({"skeleton_id", "rigid_body_id", "marker_index", "marker_id"}, kPosition), {"diameter_m"}),
         {}},
        {"analog", {"channel_index", "value"}, {}},
        {"force_plates",
         {"plate_index", "force_x_N", "force_y_N", "force_z_N", "center_of_pressure_x_m", "center_of_pressure_y_m",
          "center_of_pressure_z_m", "free_moment_Nm"},
         {}},
        {"auxiliary", {"auxiliary_32", "auxiliary_64", "flags"}, {}}};
}

void FrameTables::Fill(const sFrameOfMocapData& frame, const sForcePlates& plates) {
    for (Table& table : m_tables) table.rows.clear();
    AddMarkers(frame);
    AddLabeledMarkers(frame);
    AddBodies(frame);
    for (int i = 0; i < frame.analogCount; ++i) m_tables[kAnalog].rows.push_back({i, frame.analogValues[i]});
    m_tables[kAuxiliary].rows.push_back({frame.auxValue32, frame.auxValue64, frame.flags});
    for (int i = 0; i < plates.plateCount; ++i) {
        const auto& [force, point, moment] = plates.plates[i];
        m_tables[kForcePlates].rows.push_back(
            {i, force[0], force[1], force[2], point[0], point[1], point[2], moment});
    }
}

// Markers without a set and a name come last.
void FrameTables::AddMarkers(const sFrameOfMocapData& frame) {
    const auto add = [this](const std::string& set, int i, const std::string& name, const sTriple& p) {
        m_tables[kMarkers].rows.push_back({set, i, name, p.x, p.y, p.z});
    };
    for (int i = 0; i < frame.markerSetCount; ++i) {
        const sMarkerSetSample& set = frame.markerSets[i];
        const std::string name = NameText(set.name);
        for (int k = 0; k < set.markerCount; ++k) add(name, k, m_names.markers[name][k], set.markers[k]);
    }
    for (int i = 0; i < frame.otherMarkerCount; ++i) add("", i, "", frame.otherMarkers[i]);
}

void FrameTables::AddLabeledMarkers(const sFrameOfMocapData& frame) {
    for (int i = 0; i < frame.labeledMarkerCount; ++i) {
        const auto& w = frame.labeledMarkers[i].words;
        const auto record = std::bit_cast<LabeledMarkerRecord>(frame.labeledMarkers[i]);
        const auto& [x, y, z] = record.position;
        m_tables[kLabeledMarkers].rows.push_back(m_names.simulated
                                                     ? Row{record.id, x, y, z, record.size, record.skeletonId}
                                                     : Row{i, w[0], w[1], w[2], w[3], w[4], w[5]});
    }
}

void FrameTables::AddBodies(const sFrameOfMocapData& frame) {
    for (int i = 0; i < frame.rigidBodyCount; ++i) {
        const sRigidBodySample& body = frame.rigidBodies[i];
        m_tables[kRigidBodies].rows.push_back(Joined({body.id, m_names.rigidBodies[body.id]}, Pose(body)));
        AddBodyMarkers(nullptr, body);
    }
    for (int i = 0; i < frame.skeletonCount; ++i) {
        const auto& [id, count, bones] = frame.skeletons[i];
        for (int k = 0; k < count; ++k) {
            m_tables[kBones].rows.push_back(
                Joined({id, m_names.skeletons[id], bones[k].id, m_names.bones[id][k]}, Pose(bones[k])));
            AddBodyMarkers(id, bones[k]);
        }
    }
}

void FrameTables::AddBodyMarkers(const Value& skeletonId, const sRigidBodySample& body) {
    for (int i = 0; i < body.markerCount; ++i) {
        const auto& [x, y, z] = body.markerPositions[i];
        m_tables[kBodyMarkers].rows.push_back(
            {skeletonId, body.id, i, body.markerIds[i], x, y, z, body.markerSizes[i]});
    }
}
