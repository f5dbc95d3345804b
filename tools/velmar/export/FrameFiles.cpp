#include "export/FrameFiles.h"

#include <fmt/format.h>

#include <cerrno>
#include <cmath>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace {

constexpr auto kReplaceErrors = nlohmann::detail::error_handler_t::replace; // names are bytes of the server's

// Text is quoted where it would be taken for more than one field.
std::string Field(const Value& value) {
    if (value.is_number_float() && !std::isfinite(value.get<float>())) return {};
    if (value.is_null()) return {};
    if (!value.is_string()) return value.dump();
    const auto& text = value.get_ref<const std::string&>();
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char character : text) quoted += character == '"' ? std::string("\"\"") : std::string(1, character);
    return quoted + '"';
}

} // namespace

OutputFile::OutputFile(std::string path) : m_path(std::move(path)), m_file(std::fopen(m_path.c_str(), "we")) {
    if (!m_file) Fail();
}

void OutputFile::Write(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), m_file.get()) != text.size()) Fail();
}

void OutputFile::Close() {
    if (std::fclose(m_file.release()) != 0) Fail();
}

void OutputFile::Fail() const {
    throw std::runtime_error(
        fmt::format("{} cannot be written: {}", m_path, std::generic_category().message(errno)));
}

FrameFiles::FrameFiles(const std::string& input, const std::string& directory, Format format,
                       const std::vector<Table>& tables)
    : m_format(format) {
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) throw std::runtime_error(fmt::format("{} cannot be made: {}", directory, error.message()));
    const auto add = [&](const std::string& name) -> OutputFile& {
        const std::string path = directory + "/" + name;
        if (std::filesystem::equivalent(path, input, error))
            throw std::runtime_error(path + " is the recording itself: name another directory");
        return m_files.emplace_back(path);
    };
    if (format == Format::kJson) {
        add("frames.jsonl");
        return;
    }
    for (const Table& table : tables) {
        OutputFile& file = add(table.name + ".csv");
        file.Write(fmt::format("frame_number,arrival_s,timecode,{}\n", fmt::join(table.columns, ",")));
    }
}

void FrameFiles::Add(const FrameHead& head, const std::vector<Table>& tables) {
    m_format == Format::kCsv ? AddRows(head, tables) : AddObject(head, tables);
}

void FrameFiles::AddRows(const FrameHead& head, const std::vector<Table>& tables) {
    const std::string begin = fmt::format("{},{},{}", head.number, head.arrival, head.timecode);
    for (std::size_t i = 0; i < tables.size(); ++i)
        for (const std::vector<Value>& row : tables[i].rows) {
            std::string line = begin;
            for (const Value& value : row) line += "," + Field(value);
            m_files[i].Write(line + "\n");
        }
}

void FrameFiles::AddObject(const FrameHead& head, const std::vector<Table>& tables) {
    Value object = Value::object();
    for (const Table& table : tables) {
        Value& items = object[table.name] = Value::array();
        for (const std::vector<Value>& row : table.rows) {
            Value& item = items.emplace_back(Value::object());
            for (std::size_t k = 0; k < row.size(); ++k) item[table.columns[k]] = row[k];
        }
    }
    // A value of this document would not hold the digits of the time.
    m_files.front().Write(fmt::format(R"({{"arrival_s":{},"frame_number":{},"timecode":"{}",{})"
                                      "\n",
                                      head.arrival, head.number, head.timecode,
                                      object.dump(-1, ' ', false, kReplaceErrors).substr(1)));
}

void FrameFiles::Close() {
    for (OutputFile& file : m_files) file.Close();
}
