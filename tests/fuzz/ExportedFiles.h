// Whether the files of an export are what they say they are.
#ifndef TESTS_FUZZ_EXPORTED_FILES_H
#define TESTS_FUZZ_EXPORTED_FILES_H

#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/Input.h"
#include "take/Take.h"

class ExportedFiles {
public:
    explicit ExportedFiles(const Take& take) : m_take(take) {}

    void Check(const std::filesystem::path& file) const {
        std::ifstream input(file, std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(input), {});
        const std::string kind = file.extension();
        if (kind == ".csv") CheckCsv(bytes, file.filename() == "frames.csv");
        if (kind == ".json") Require(nlohmann::json::accept(bytes), "take.json is JSON");
        if (kind == ".jsonl") CheckObjects(bytes);
        if (kind == ".c3d") CheckC3d(bytes);
        if (kind == ".trc") CheckTrc(bytes);
        if (kind == ".mot") CheckMot(bytes);
        if (kind == ".bvh") CheckBvh(bytes);
    }

private:
    using Lines = std::vector<std::string>;

    static Lines Split(const std::string& text, char separator) {
        Lines parts;
        std::istringstream in(text);
        for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
        if (text.ends_with(separator) && separator != '\n') parts.emplace_back();
        return parts;
    }

    static std::size_t Words(const std::string& line) {
        std::istringstream in(line);
        return static_cast<std::size_t>(std::distance(std::istream_iterator<std::string>(in), {}));
    }

    // Of the first row and of each other one, the number of fields.
    static std::vector<std::size_t> FieldsOf(const std::string& csv) {
        std::vector<std::size_t> fields;
        bool isQuoted = false;
        std::size_t inRow = 1;
        for (const char character : csv) {
            if (character == '"') isQuoted = !isQuoted;
            if (isQuoted) continue;
            if (character == ',') ++inRow;
            if (character == '\n') fields.push_back(std::exchange(inRow, 1));
        }
        Require(!isQuoted && (csv.empty() || csv.back() == '\n'), "a table ends with a whole row");
        return fields;
    }

    std::size_t Arrived() const {
        return static_cast<std::size_t>(m_take.timeline.Frames() + m_take.timeline.Repeated());
    }
    std::size_t Slots() const { return static_cast<std::size_t>(m_take.timeline.Slots()); }

    void CheckCsv(const std::string& text, bool isWide) const {
        const std::vector<std::size_t> fields = FieldsOf(text);
        Require(!fields.empty(), "a table has a head");
        for (const std::size_t count : fields) Require(count == fields.front(), "rows are as long as their head");
        Require(!isWide || fields.size() == 1 + Arrived(), "a wide table has a row for each frame");
        Require(!nlohmann::json(text).dump().empty(), "a table is UTF-8"); // throws where it is not
    }

    void CheckObjects(const std::string& text) const {
        const Lines lines = Split(text, '\n');
        for (const std::string& line : lines) Require(nlohmann::json::accept(line), "a line is JSON");
        Require(lines.size() == Arrived(), "there is a line for each frame");
    }

    void CheckC3d(const std::string& bytes) const {
        constexpr std::size_t kBlock = 512;
        Require(bytes.size() >= 2 * kBlock, "a header and parameters");
        const auto word = [&](std::size_t number) { // from 1
            std::uint16_t value = 0;
            std::memcpy(&value, &bytes[2 * (number - 1)], sizeof value);
            return std::size_t{value};
        };
        const std::size_t data = (word(9) - 1) * kBlock;
        const std::size_t record = 4 * word(2) + word(3);
        Require(word(9) == 2 + std::size_t{static_cast<unsigned char>(bytes[kBlock + 2])},
                "data behind parameters");
        Require(bytes.size() == data + Slots() * record * sizeof(float), "a record for each frame time");
        for (std::size_t at = data; at < bytes.size(); at += sizeof(float)) {
            float value = 0;
            std::memcpy(&value, &bytes[at], sizeof value);
            Require(std::isfinite(value), "data are numbers");
        }
    }

    void CheckTrc(const std::string& text) const {
        const Lines lines = Split(text, '\n');
        Require(lines.size() == 6 + Slots(), "a row for each frame time");
        const Lines values = Split(lines.at(2), '\t');
        Require(std::stoul(values.at(2)) == Slots(), "the head tells the rows");
        for (std::size_t i = 6; i < lines.size(); ++i)
            Require(Split(lines[i], '\t').size() == 2 + 3 * std::stoul(values.at(3)),
                    "three cells for each marker");
    }

    void CheckMot(const std::string& text) const {
        const Lines lines = Split(text, '\n');
        Require(lines.at(5) == "endheader", "a head of six lines");
        Require(lines.at(2) == "nRows=" + std::to_string(lines.size() - 7), "the head tells the rows");
        for (std::size_t i = 6; i < lines.size(); ++i)
            Require(lines[3] == "nColumns=" + std::to_string(Split(lines[i], '\t').size()), "and the columns");
    }

    void CheckBvh(const std::string& text) const {
        const Lines lines = Split(text, '\n');
        std::size_t channels = 0;
        std::size_t motion = 0;
        while (lines.at(motion) != "MOTION")
            if (const std::size_t at = lines[motion++].find("CHANNELS "); at != std::string::npos)
                channels += std::stoul(lines[motion - 1].substr(at + 9));
        Require(lines.at(motion + 1) == "Frames: " + std::to_string(Slots()), "the head tells the rows");
        Require(lines.size() == motion + 3 + Slots(), "a row for each frame time");
        for (std::size_t i = motion + 3; i < lines.size(); ++i)
            Require(Words(lines[i]) == channels, "a value for each channel");
    }

    const Take& m_take;
};

#endif
