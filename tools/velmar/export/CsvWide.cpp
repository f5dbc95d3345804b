#include "export/CsvWide.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <span>

#include "export/CsvText.h"
#include "export/FrameHead.h"
#include "export/LeftOut.h"
#include "export/TableSize.h"

namespace {

constexpr const char* kWidePosition[] = {"x_m", "y_m", "z_m"};
constexpr const char* kWidePose[] = {"x_m", "y_m", "z_m", "qx", "qy", "qz", "qw"};
constexpr const char* kWidePlate[] = {"force_x_N", "force_y_N", "force_z_N",     "cop_x_m",
                                      "cop_y_m",   "cop_z_m",   "free_moment_Nm"};

std::string ColumnsOf(const std::string& label, std::span<const char* const> values) {
    std::string columns;
    for (const char* const value : values) columns += ',' + CsvText(fmt::format("{} {}", label, value));
    return columns;
}

// As short as single precision allows. What is no number is an empty field.
void AppendValues(std::string& row, std::span<const float> values) {
    for (const float value : values) {
        row += ',';
        if (std::isfinite(value)) fmt::format_to(std::back_inserter(row), "{}", value);
    }
}

void AppendEmpty(std::string& row, std::size_t fields) { row.append(fields, ','); }

} // namespace

CsvWide::CsvWide(Take& take, OutputFolder& folder) : m_take(take), m_file(folder.Make("frames.csv")) {
    CheckTableSize(take, take.timeline.Frames() + take.timeline.Repeated(),
                   std::size(kWidePosition) * take.markers.Count() + std::size(kWidePose) * take.bodies.Count());
    std::string line = "frame_number,arrival_s,time_s,timecode";
    for (const std::string& label : take.markers.Labels()) line += ColumnsOf("marker " + label, kWidePosition);
    for (const std::string& label : take.bodies.Labels()) line += ColumnsOf(label, kWidePose);
    for (int i = 0; i < take.analogChannels; ++i) line += fmt::format(",analog {}", i + 1);
    for (std::size_t i = 0; i < take.plates.size(); ++i)
        line += ColumnsOf(fmt::format("plate {}", i + 1), kWidePlate);
    m_file.Write(line + '\n');
}

void CsvWide::Add(const TakeFrame& item) {
    const FrameHead head(item);
    std::string row = fmt::format("{},{},{},{}", head.number, head.arrival, head.time, head.timecode);
    m_take.markers.Place(*item.frame, m_positions);
    for (const std::optional<sTriple>& p : m_positions)
        p ? AppendValues(row, std::array{p->x, p->y, p->z}) : AppendEmpty(row, std::size(kWidePosition));
    m_take.bodies.Place(*item.frame, m_bodies);
    for (const sRigidBodySample* const body : m_bodies) {
        if (body == nullptr) {
            AppendEmpty(row, std::size(kWidePose));
            continue;
        }
        AppendValues(row, body->position);
        AppendValues(row, body->orientation);
    }
    const auto most = static_cast<std::size_t>(m_take.analogChannels);
    const std::size_t channels = std::min(static_cast<std::size_t>(item.frame->analogCount), most);
    AppendValues(row, std::span(item.frame->analogValues).first(channels));
    AppendEmpty(row, most - channels);
    for (std::size_t i = 0; i < m_take.plates.size(); ++i) {
        if (i >= static_cast<std::size_t>(item.plates.plateCount)) {
            AppendEmpty(row, std::size(kWidePlate));
            continue;
        }
        const auto& [force, point, moment] = item.plates.plates[i];
        AppendValues(row, force);
        AppendValues(row, point);
        AppendValues(row, std::span(&moment, 1));
    }
    m_file.Write(row + '\n');
}

std::vector<std::string> CsvWide::Finish() { return LeftOutOf(m_take); }
