// Strict readers of .trc and .mot files.
#ifndef TESTS_EXPORT_OPENSIM_READER_H
#define TESTS_EXPORT_OPENSIM_READER_H

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace OpenSim {

inline std::vector<std::string> Cells(const std::string& line) {
    std::vector<std::string> cells(1);
    for (const char character : line) character == '\t' ? cells.emplace_back() : cells.back() += character;
    return cells;
}

inline void Demand(bool holds, const std::string& what) {
    if (!holds) throw std::runtime_error(what);
}

// Nothing stands behind the number. An empty cell is a missing value.
inline double NumberIn(const std::string& cell) {
    if (cell.empty()) return NAN;
    std::size_t end = 0;
    const double number = std::stod(cell, &end);
    Demand(end == cell.size() && std::isfinite(number), "a cell with '" + cell + "'");
    return number;
}

inline std::string Line(std::ifstream& file) {
    std::string line;
    Demand(static_cast<bool>(std::getline(file, line)), "the file ends too soon");
    Demand(!file.eof() && !line.ends_with('\r'), "a line without its end, or with another");
    return line;
}

struct Table {
    std::map<std::string, std::size_t> columns; // of a label: its first one
    std::vector<double> times;
    std::vector<std::vector<double>> rows; // without the time
    std::map<std::string, std::string> head;

    double At(std::size_t row, const std::string& label, std::size_t behind = 0) const {
        return rows.at(row).at(columns.at(label) + behind);
    }
};

inline void AddRow(Table& table, const std::vector<std::string>& cells, std::size_t first) {
    const double time = NumberIn(cells.at(first));
    Demand(std::isfinite(time) && (table.times.empty() || time > table.times.back()), "times do not rise");
    table.times.push_back(time);
    table.rows.emplace_back();
    for (std::size_t i = first + 1; i < cells.size(); ++i) table.rows.back().push_back(NumberIn(cells[i]));
}

// Markers, three columns each.
inline Table ReadTrc(const std::string& path) {
    std::ifstream file(path);
    Table table;
    const auto kind = Cells(Line(file));
    Demand(kind.size() == 4 && kind[0] == "PathFileType" && kind[1] == "4" && kind[2] == "(X/Y/Z)", "no TRC file");
    Demand(path.ends_with("/" + kind[3]), "the name of another file");
    const std::vector<std::string> keys{"DataRate", "CameraRate",   "NumFrames",          "NumMarkers",
                                        "Units",    "OrigDataRate", "OrigDataStartFrame", "OrigNumFrames"};
    Demand(Cells(Line(file)) == keys, "other keys, or in another order");
    const auto values = Cells(Line(file));
    Demand(values.size() == keys.size(), "not eight values");
    for (std::size_t i = 0; i < 8; ++i) table.head[keys[i]] = values[i];
    const std::size_t markers = std::stoul(table.head.at("NumMarkers"));
    auto labels = Cells(Line(file));
    Demand(labels.size() == 2 + 3 * markers && labels[0] == "Frame#" && labels[1] == "Time", "other labels");
    for (std::size_t i = 0; i < markers; ++i) {
        Demand(labels[3 + 3 * i].empty() && labels[4 + 3 * i].empty(), "no two tabs behind a label");
        Demand(table.columns.emplace(labels[2 + 3 * i], 3 * i).second, "a label twice");
        Demand(labels[2 + 3 * i].find_first_of(" :,\"") == std::string::npos, "a label of several words");
    }
    const auto axes = Cells(Line(file));
    Demand(axes.size() == 2 + 3 * markers && axes[0].empty() && axes[1].empty(), "other axes");
    for (std::size_t i = 0; i < 3 * markers; ++i)
        Demand(axes[2 + i] == "XYZ"[i % 3] + std::to_string(i / 3 + 1), "axes do not count");
    Demand(Line(file).empty(), "no empty line");
    while (file.peek() != EOF) {
        const auto cells = Cells(Line(file));
        Demand(cells.size() == 2 + 3 * markers, "a row of " + std::to_string(cells.size()) + " cells");
        Demand(cells[0] == std::to_string(table.rows.size() + 1), "frames do not count");
        AddRow(table, cells, 1);
    }
    for (const char* const key : {"NumFrames", "OrigNumFrames"})
        Demand(table.head.at(key) == std::to_string(table.rows.size()), "another number of frames");
    for (const char* const key : {"CameraRate", "OrigDataRate"})
        Demand(table.head.at(key) == table.head.at("DataRate"), "several rates");
    const double rate = NumberIn(table.head.at("DataRate"));
    for (std::size_t i = 0; i < table.times.size(); ++i)
        Demand(std::abs(table.times[i] * rate - static_cast<double>(i)) < 1e-3, "times of another rate");
    Demand(table.head.at("Units") == "mm" && table.head.at("OrigDataStartFrame") == "1", "another unit or start");
    return table;
}

inline Table ReadMot(const std::string& path) {
    std::ifstream file(path);
    Table table;
    const std::string name = Line(file);
    Demand(!name.empty() && name.find_first_of("=\t") == std::string::npos, "no name in the first line");
    for (std::string line = Line(file); line != "endheader"; line = Line(file)) {
        const std::size_t equals = line.find('=');
        Demand(equals != std::string::npos, "a header line without '='");
        table.head[line.substr(0, equals)] = line.substr(equals + 1);
    }
    const auto labels = Cells(Line(file));
    Demand(labels.at(0) == "time", "the first column is no time");
    for (std::size_t i = 1; i < labels.size(); ++i)
        Demand(table.columns.emplace(labels[i], i - 1).second, "a column twice");
    while (file.peek() != EOF) {
        const auto cells = Cells(Line(file));
        Demand(cells.size() == labels.size(), "a row of another length");
        for (const std::string& cell : cells) Demand(!cell.empty(), "an empty cell");
        AddRow(table, cells, 0);
    }
    Demand(table.head.at("nRows") == std::to_string(table.rows.size()), "another number of rows");
    Demand(table.head.at("nColumns") == std::to_string(labels.size()), "another number of columns");
    Demand(table.head.at("version") == "1" && table.head.at("inDegrees") == "yes", "another header");
    return table;
}

} // namespace OpenSim

#endif
