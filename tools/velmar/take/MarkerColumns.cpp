#include "take/MarkerColumns.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <map>
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
    m_sets.BeginFrame();
    m_labeled.BeginFrame();
    for (int i = 0; i < frame.markerSetCount; ++i) {
        Set& set = m_sets.FindOrMake(NameText(frame.markerSets[i].name));
        const int markers = std::max(set.markers, frame.markerSets[i].markerCount);
        m_markersOfSets += static_cast<std::size_t>(markers - set.markers);
        set.markers = markers;
    }
    for (int i = 0; isSimulated && i < frame.labeledMarkerCount; ++i)
        m_labeled.FindOrMake(std::bit_cast<LabeledMarkerRecord>(frame.labeledMarkers[i]).id);
}

void MarkerColumns::Settle(DescribedNames& names) {
    m_labels.clear();
    m_sets.ForEach([&](const std::string& name, Set& set) {
        set.first = m_labels.size();
        for (int k = 0; k < set.markers; ++k) {
            const std::string& marker = names.markers[name][k];
            m_labels.push_back(fmt::format("{}:{}", name, marker.empty() ? std::to_string(k + 1) : marker));
        }
    });
    m_labeled.ForEach([&](int id, Labeled& marker) {
        marker.column = m_labels.size();
        m_labels.push_back(fmt::format("Marker{}", id));
    });
    MakeDifferent(m_labels);
}

void MarkerColumns::Place(const sFrameOfMocapData& frame, Positions& positions) const {
    positions.assign(m_labels.size(), std::nullopt);
    m_sets.BeginFrame();
    m_labeled.BeginFrame();
    for (int i = 0; i < frame.markerSetCount; ++i) {
        const sMarkerSetSample& sample = frame.markerSets[i];
        const Set* const set = m_sets.Find(NameText(sample.name));
        if (set == nullptr) continue;
        const int known = std::min(sample.markerCount, set->markers);
        for (int k = 0; k < known; ++k)
            positions[set->first + static_cast<std::size_t>(k)] = Present(sample.markers[k]);
    }
    for (int i = 0; m_isSimulated && i < frame.labeledMarkerCount; ++i) {
        const auto marker = std::bit_cast<LabeledMarkerRecord>(frame.labeledMarkers[i]);
        const Labeled* const known = m_labeled.Find(marker.id);
        if (known == nullptr) continue;
        const auto& [x, y, z] = marker.position;
        positions[known->column] = Present({x, y, z});
    }
}
