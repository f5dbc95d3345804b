// A table of comma-separated values for each kind of item, with a row for each item and frame.
#ifndef VELMAR_EXPORT_CSV_TABLES_H
#define VELMAR_EXPORT_CSV_TABLES_H

#include <string>
#include <vector>

#include "export/FrameSink.h"
#include "export/FrameTables.h"
#include "export/OutputFolder.h"

class CsvTables : public FrameSink {
public:
    CsvTables(Take& take, OutputFolder& folder);

    TakeFrames::Order Order() const override { return TakeFrames::Order::kArrival; }
    void Add(const TakeFrame& item) override;
    std::vector<std::string> Finish() override { return {}; }

private:
    FrameTables m_tables;
    std::vector<OutputFile*> m_files; // by table
};

#endif
