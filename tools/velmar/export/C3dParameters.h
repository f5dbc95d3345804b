// The parameter section of a C3D file: groups of named values.
#ifndef VELMAR_EXPORT_C3D_PARAMETERS_H
#define VELMAR_EXPORT_C3D_PARAMETERS_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Little-endian, processor type 84. What has more than 255 entries goes on in parameters of the same name with 2,
// 3 and so on behind it, since a dimension is a byte.
class C3dParameters {
public:
    static constexpr std::size_t kBlock = 512;
    static constexpr std::size_t kMostBlocks = 255;

    // What follows belongs to it.
    void Group(std::string_view name);

    // One value, or a list of them.
    void Add(std::string_view name, std::int16_t value) { AddWords(name, {}, std::span(&value, 1)); }
    void Add(std::string_view name, float value) { AddFloats(name, {}, std::span(&value, 1)); }
    void Add(std::string_view name, std::string_view text);
    // As long as the dimensions say, the first running fastest.
    void AddWords(std::string_view name, const std::vector<std::size_t>& dimensions,
                  std::span<const std::int16_t> values);
    void AddFloats(std::string_view name, const std::vector<std::size_t>& dimensions,
                   std::span<const float> values);
    // Texts of one length, filled with blanks.
    void AddTexts(std::string_view name, const std::vector<std::string>& texts);

    // As AddFloats, of `rows` values for each of any number of entries.
    void AddRows(std::string_view name, std::size_t rows, std::span<const float> values);

    // The section, with blocks as they are in the file. `dataStart` is written as POINT:DATA_START must say it:
    // the number of the block behind the section, which itself begins at block 2. Empty when it does not fit.
    std::vector<unsigned char> Section() const;

    // Where the next value lies, to be changed later: of the latest parameter.
    std::size_t LatestValue() const { return m_latestValue; }
    void SetWord(std::size_t at, std::int16_t value);

    std::size_t Blocks() const { return (m_bytes.size() + 1 + kBlock - 1) / kBlock; } // with the final zero

private:
    void Begin(std::string_view name, int id);
    void Parameter(std::string_view name, std::int8_t size, const std::vector<std::size_t>& dimensions,
                   const void* values, std::size_t bytes);

    std::vector<unsigned char> m_bytes{1, 0x50, 0, 84};
    std::int8_t m_group = 0;
    std::size_t m_link = 0; // where the latest item's way to the next one stands
    std::size_t m_latestValue = 0;
};

#endif
