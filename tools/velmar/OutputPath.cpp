#include "OutputPath.h"

#include <fmt/format.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

OutputPath::OutputPath(std::string path, const std::string& input, bool replaces)
    : m_final(std::move(path)), m_part(m_final + ".part") {
    std::error_code error;
    if (std::filesystem::equivalent(m_final, input, error))
        throw std::runtime_error(m_final + " is the recording itself: name another directory");
    if (!replaces && std::filesystem::exists(std::filesystem::symlink_status(m_final, error)))
        throw std::runtime_error(m_final + " exists: name another directory, or let it be replaced with --force");
    std::filesystem::remove(m_part, error); // of a run that was killed
}

OutputPath::~OutputPath() {
    std::error_code ignored;
    if (m_isPending) std::filesystem::remove(m_part, ignored);
}

void OutputPath::TakePlace() {
    std::error_code error;
    std::filesystem::rename(m_part, m_final, error);
    if (error) throw std::runtime_error(fmt::format("{} cannot be written: {}", m_final, error.message()));
    m_isPending = false;
}
