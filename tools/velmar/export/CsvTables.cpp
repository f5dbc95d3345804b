#include "export/CsvTables.h"

#include "export/CsvText.h"
#include "export/FrameHead.h"

CsvTables::CsvTables(Take& take, OutputFolder& folder) : m_tables(take.names) {
    for (const Table& table : m_tables.Tables()) {
        m_files.push_back(&folder.Make(table.name + ".csv"));
        m_files.back()->Write(
            fmt::format("frame_number,arrival_s,time_s,timecode,{}\n", fmt::join(table.columns, ",")));
    }
}

void CsvTables::Add(const TakeFrame& item) {
    m_tables.Fill(*item.frame, item.plates);
    const FrameHead head(item);
    const std::string begin = fmt::format("{},{},{},{}", head.number, head.arrival, head.time, head.timecode);
    const std::vector<Table>& tables = m_tables.Tables();
    for (std::size_t i = 0; i < tables.size(); ++i) {
        std::string rows;
        for (const std::vector<Value>& row : tables[i].rows) {
            rows += begin;
            for (const Value& value : row) rows += ',' + CsvField(value);
            rows += '\n';
        }
        m_files[i]->Write(rows);
    }
}
