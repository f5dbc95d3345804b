#include "export/OutputFolder.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

OutputFile::OutputFile(const std::string& path, const std::string& input, bool replaces)
    : m_path(path, input, replaces), m_file(std::fopen(m_path.Part().c_str(), "wxe")) {
    if (!m_file) Fail();
}

void OutputFile::Write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_file.get()) != bytes.size()) Fail();
}

void OutputFile::Close() {
    if (std::fclose(m_file.release()) != 0) Fail();
}

void OutputFile::Fail() const {
    throw std::runtime_error(
        fmt::format("{} cannot be written: {}", m_path.Final(), std::generic_category().message(errno)));
}

OutputFolder::OutputFolder(std::string directory, std::string input, bool replaces)
    : m_directory(std::move(directory)), m_input(std::move(input)), m_replaces(replaces) {
    std::error_code error;
    m_isMade = std::filesystem::create_directories(m_directory, error);
    if (!error && !std::filesystem::is_directory(m_directory, error))
        error = std::make_error_code(std::errc::not_a_directory);
    if (error) throw std::runtime_error(fmt::format("{} cannot be made: {}", m_directory, error.message()));
}

OutputFolder::~OutputFolder() {
    m_files.clear();
    std::error_code ignored;
    if (m_isMade) std::filesystem::remove(m_directory, ignored); // an empty one only
}

OutputFile& OutputFolder::Make(const std::string& name) {
    return m_files.emplace_back(m_directory + "/" + name, m_input, m_replaces);
}

bool OutputFolder::Holds(const std::string& name, std::string_view contents) const {
    std::ifstream file(m_directory + "/" + name, std::ios::binary);
    return file && std::string(std::istreambuf_iterator<char>(file), {}) == contents;
}

void OutputFolder::Finish() {
    for (OutputFile& file : m_files) file.Close();
    for (OutputFile& file : m_files) file.TakePlace();
    m_isMade = false;
}
