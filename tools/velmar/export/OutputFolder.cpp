#include "export/OutputFolder.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

OutputFile::OutputFile(std::string path) : m_path(std::move(path)), m_partPath(m_path + ".part") {
    std::error_code ignored;
    std::filesystem::remove(m_partPath, ignored); // of a run that was killed
    m_file.reset(std::fopen(m_partPath.c_str(), "wxe"));
    if (m_file) return;
    const int reason = errno;
    m_partPath.clear();
    errno = reason;
    Fail();
}

OutputFile::~OutputFile() {
    m_file.reset();
    std::error_code ignored;
    if (!m_partPath.empty()) std::filesystem::remove(m_partPath, ignored);
}

void OutputFile::Write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), m_file.get()) != bytes.size()) Fail();
}

void OutputFile::Close() {
    if (std::fclose(m_file.release()) != 0) Fail();
}

void OutputFile::TakePlace() {
    if (std::rename(m_partPath.c_str(), m_path.c_str()) != 0) Fail();
    m_partPath.clear();
}

void OutputFile::Fail() const {
    throw std::runtime_error(
        fmt::format("{} cannot be written: {}", m_path, std::generic_category().message(errno)));
}

OutputFolder::OutputFolder(std::string directory, std::string input, bool replaces)
    : m_directory(std::move(directory)), m_input(std::move(input)), m_replaces(replaces) {
    std::error_code error;
    std::filesystem::create_directories(m_directory, error);
    if (!error && !std::filesystem::is_directory(m_directory, error))
        error = std::make_error_code(std::errc::not_a_directory);
    if (error) throw std::runtime_error(fmt::format("{} cannot be made: {}", m_directory, error.message()));
}

OutputFile& OutputFolder::Make(const std::string& name) {
    const std::string path = m_directory + "/" + name;
    std::error_code error;
    if (std::filesystem::equivalent(path, m_input, error))
        throw std::runtime_error(path + " is the recording itself: name another directory");
    if (!m_replaces && std::filesystem::exists(std::filesystem::symlink_status(path, error)))
        throw std::runtime_error(path + " exists: name another directory, or let it be replaced with --force");
    return m_files.emplace_back(path);
}

void OutputFolder::Finish() {
    for (OutputFile& file : m_files) file.Close();
    for (OutputFile& file : m_files) file.TakePlace();
}
