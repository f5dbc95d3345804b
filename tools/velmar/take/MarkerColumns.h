// The markers of a recording that are the same ones from frame to frame: those of marker sets, and labelled ones.
#ifndef VELMAR_TAKE_MARKER_COLUMNS_H
#define VELMAR_TAKE_MARKER_COLUMNS_H

#include <optional>
#include <string>
#include <vector>

#include "TarvoSDKClient.h"
#include "take/DescribedNames.h"
#include "take/Occurrences.h"

class MarkerColumns {
public:
    using Positions = std::vector<std::optional<sTriple>>; // in the server's axes; nothing where one is missing

    // With every frame. What labelled markers say is known of a simulated server only.
    void Collect(const sFrameOfMocapData& frame, bool isSimulated);

    // So far: at least one for each set.
    std::size_t Collected() const { return m_markersOfSets + m_sets.Count() + m_labeled.Count(); }

    // Thereafter: names and orders them. Sets by name, then labelled markers by identifier.
    void Settle(DescribedNames& names);

    // "Set:Marker", "Marker7"; no two are equal.
    const std::vector<std::string>& Labels() const { return m_labels; }
    std::size_t Count() const { return m_labels.size(); }

    // A marker with a coordinate that is no number is missing.
    void Place(const sFrameOfMocapData& frame, Positions& positions) const;

private:
    struct Set {
        int markers = 0; // the most that a frame had
        std::size_t first = 0;
    };
    struct Labeled {
        std::size_t column = 0;
    };
    bool m_isSimulated = false;
    std::size_t m_markersOfSets = 0;
    mutable Occurrences<std::string, Set> m_sets;
    mutable Occurrences<int, Labeled> m_labeled;
    std::vector<std::string> m_labels;
};

// Appends "_2", "_3" ... to those that have come before.
void MakeDifferent(std::vector<std::string>& labels);

#endif
