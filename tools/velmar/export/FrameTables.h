// The items of a frame as rows of tables, one table for each kind.
#ifndef VELMAR_EXPORT_FRAME_TABLES_H
#define VELMAR_EXPORT_FRAME_TABLES_H

#include <string>
#include <vector>

#include "FloatJson.h"
#include "take/DescribedNames.h"

using Value = FloatJson;

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
    void AddBodyMarkers(const Value& skeletonId, const sRigidBodySample& body);

    DescribedNames& m_names;
    std::vector<Table> m_tables;
};

#endif
