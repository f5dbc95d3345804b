#include "take/MarkerColumns.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <set>

#include "NameText.h"
#include "simulate/ServerRecords.h"

namespace {

std::optional<sTriple> Present(const sTriple& p) {
    if (std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z)) return p;
    return std::nullopt;
}

} // namespace

void MakeDifferent(std::vector<std::string>& labels) {
    std::set<std::string> known;
    std::map<std::string, int> counts;
    for (std::string& label : labels) {
        const std::string wanted = label;
        while (!known.insert(label).second)
            label = fmt::format("{}_{}", wanted, ++counts.try_emplace(wanted, 1).first->second);
    }
}

void MarkerColumns::Collect(const sFrameOfMocapData& frame, bool isSimulated) {
    m_isSimulated = isSimulated;
    m_setsOfFrame.BeginFrame();
    m_labeledOfFrame.BeginFrame();
    for (int i = 0; i < frame.markerSetCount; ++i) {
        const auto [set, isNew] = m_sets.try_emplace(m_setsOfFrame.Next(NameText(frame.markerSets[i].name)));
        const int markers = std::max(set->second.markers, frame.markerSets[i].markerCount);
        m_collected += static_cast<std::size_t>(markers - set->second.markers) + (isNew ? 1 : 0);
        set->second.markers = markers;
    }
    for (int i = 0; isSimulated && i < frame.labeledMarkerCount; ++i) {
        const auto marker = std::bit_cast<LabeledMarkerRecord>(frame.labeledMarkers[i]);
        m_collected += m_labeled.try_emplace(m_labeledOfFrame.Next(marker.id)).second ? 1 : 0;
    }
}

void MarkerColumns::Settle(DescribedNames& names) {
    m_labels.clear();
    for (auto& [key, set] : m_sets) {
        const std::string& name = key.first;
        set.first = m_labels.size();
        for (int k = 0; k < set.markers; ++k) {
            const std::string& marker = names.markers[name][k];
            m_labels.push_back(fmt::format("{}:{}", name, marker.empty() ? std::to_string(k + 1) : marker));
        }
    }
    for (auto& [key, column] : m_labeled) {
        column = m_labels.size();
        m_labels.push_back(fmt::format("Marker{}", key.first));
    }
    MakeDifferent(m_labels);
}

void MarkerColumns::Place(const sFrameOfMocapData& frame, Positions& positions) const {
    positions.assign(m_labels.size(), std::nullopt);
    m_setsOfFrame.BeginFrame();
    m_labeledOfFrame.BeginFrame();
    for (int i = 0; i < frame.markerSetCount; ++i) {
        const sMarkerSetSample& sample = frame.markerSets[i];
        const auto set = m_sets.find(m_setsOfFrame.Next(NameText(sample.name)));
        if (set == m_sets.end()) continue;
        const int known = std::min(sample.markerCount, set->second.markers);
        for (int k = 0; k < known; ++k)
            positions[set->second.first + static_cast<std::size_t>(k)] = Present(sample.markers[k]);
    }
    for (int i = 0; m_isSimulated && i < frame.labeledMarkerCount; ++i) {
        const auto marker = std::bit_cast<LabeledMarkerRecord>(frame.labeledMarkers[i]);
        const auto column = m_labeled.find(m_labeledOfFrame.Next(marker.id));
        if (column == m_labeled.end()) continue;
        const auto& [x, y, z] = marker.position;
        positions[column->second] = Present({x, y, z});
    }
}
