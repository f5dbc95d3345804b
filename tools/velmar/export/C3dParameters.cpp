#include "export/C3dParameters.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr std::size_t kMostEntries = 255;

std::string Numbered(std::string_view name, std::size_t part) {
    return std::string(name) + (part == 0 ? "" : std::to_string(part + 1));
}

} // namespace

void C3dParameters::Begin(std::string_view name, int id) {
    m_bytes.push_back(static_cast<unsigned char>(name.size()));
    m_bytes.push_back(static_cast<unsigned char>(id));
    m_bytes.insert(m_bytes.end(), name.begin(), name.end());
    m_link = m_bytes.size();
    m_bytes.resize(m_bytes.size() + sizeof(std::int16_t));
}

void C3dParameters::Group(std::string_view name) {
    ++m_group;
    Begin(name, -m_group);
    m_bytes.push_back(0); // no description
    SetWord(m_link, static_cast<std::int16_t>(m_bytes.size() - m_link));
}

void C3dParameters::Parameter(std::string_view name, std::int8_t size, const std::vector<std::size_t>& dimensions,
                              const void* values, std::size_t bytes) {
    Begin(name, m_group);
    m_bytes.push_back(static_cast<unsigned char>(size));
    m_bytes.push_back(static_cast<unsigned char>(dimensions.size()));
    for (const std::size_t dimension : dimensions) m_bytes.push_back(static_cast<unsigned char>(dimension));
    m_latestValue = m_bytes.size();
    const auto* const first = static_cast<const unsigned char*>(values);
    m_bytes.insert(m_bytes.end(), first, first + bytes);
    m_bytes.push_back(0); // no description
    SetWord(m_link, static_cast<std::int16_t>(m_bytes.size() - m_link));
}

void C3dParameters::SetWord(std::size_t at, std::int16_t value) {
    std::memcpy(&m_bytes[at], &value, sizeof value);
}

void C3dParameters::Add(std::string_view name, std::string_view text) {
    Parameter(name, -1, {text.size()}, text.data(), text.size());
}

void C3dParameters::AddWords(std::string_view name, const std::vector<std::size_t>& dimensions,
                             std::span<const std::int16_t> values) {
    Parameter(name, sizeof(std::int16_t), dimensions, values.data(), values.size_bytes());
}

void C3dParameters::AddFloats(std::string_view name, const std::vector<std::size_t>& dimensions,
                              std::span<const float> values) {
    Parameter(name, sizeof(float), dimensions, values.data(), values.size_bytes());
}

void C3dParameters::AddTexts(std::string_view name, const std::vector<std::string>& texts) {
    for (std::size_t first = 0; first < texts.size(); first += kMostEntries) {
        const std::size_t count = std::min(texts.size() - first, kMostEntries);
        std::size_t length = 1;
        for (std::size_t i = first; i < first + count; ++i) length = std::max(length, texts[i].size());
        std::string filled;
        for (std::size_t i = first; i < first + count; ++i)
            filled += texts[i] + std::string(length - texts[i].size(), ' ');
        Parameter(Numbered(name, first / kMostEntries), -1, {length, count}, filled.data(), filled.size());
    }
}

void C3dParameters::AddRows(std::string_view name, std::size_t rows, std::span<const float> values) {
    for (std::size_t first = 0; first * rows < values.size(); first += kMostEntries) {
        const std::size_t count = std::min(values.size() / rows - first, kMostEntries);
        AddFloats(Numbered(name, first / kMostEntries), {rows, count}, values.subspan(first * rows, count * rows));
    }
}

std::vector<unsigned char> C3dParameters::Section() const {
    if (Blocks() > kMostBlocks) return {};
    std::vector<unsigned char> section = m_bytes;
    section[2] = static_cast<unsigned char>(Blocks());
    std::fill_n(section.begin() + static_cast<std::ptrdiff_t>(m_link), sizeof(std::int16_t), '\0'); // the last one
    section.resize(Blocks() * kBlock);
    return section;
}
