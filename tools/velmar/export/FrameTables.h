// The items of a frame as rows of tables, one table for each kind.
#ifndef VELMAR_EXPORT_FRAME_TABLES_H
#define VELMAR_EXPORT_FRAME_TABLES_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "export/DescribedNames.h"

// Numbers as short as their single precision allows.
using Value = nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t, std::uint64_t, float>;

struct Table {
    std::string name;
    std::vector<std::string> columns; // with the units
    std::vector<std::vector<Value>> rows;
};

class FrameTables {
public:
    // The names must outlive the tables.
    explicit FrameTables(DescribedNames& names);

    // Replaces the rows by those of this frame, which is without the channels of the force plates.
    void Fill(const sFrameOfMocapData& frame, const sForcePlates& plates);

    const std::vector<Table>& Tables() const { return m_tables; }

private:
    void AddMarkers(const sFrameOfMocapData& frame);
    void AddLabeledMarkers(const sFrameOfMocapData& frame);
    void AddBodies(const sFrameOfMocapData& frame);

    DescribedNames& m_names;
    std::vector<Table> m_tables;
};

#endif
