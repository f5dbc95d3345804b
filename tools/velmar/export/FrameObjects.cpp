#include "export/FrameObjects.h"

#include "export/FrameHead.h"

namespace {

constexpr auto kReplaceErrors = nlohmann::detail::error_handler_t::replace; // names are bytes of the server's

} // namespace

void FrameObjects::Add(const TakeFrame& item) {
    m_tables.Fill(*item.frame, item.plates);
    Value object = Value::object();
    for (const Table& table : m_tables.Tables()) {
        Value& entries = object[table.name] = Value::array();
        for (const std::vector<Value>& row : table.rows) {
            Value& entry = entries.emplace_back(Value::object());
            for (std::size_t k = 0; k < row.size(); ++k) entry[table.columns[k]] = row[k];
        }
    }
    const FrameHead head(item);
    // A value of this document would not hold the digits of the times.
    m_file.Write(fmt::format(R"({{"arrival_s":{},"frame_number":{},"time_s":{},"timecode":"{}",{})"
                             "\n",
                             head.arrival, head.number, head.time, head.timecode,
                             object.dump(-1, ' ', false, kReplaceErrors).substr(1)));
}
