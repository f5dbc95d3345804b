#include "export/PlainName.h"

#include <algorithm>

#include "take/MarkerColumns.h"

namespace {

constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-";

} // namespace

std::string PlainName(std::string_view name, std::string_view standIn) {
    std::string plain(name.empty() ? standIn : name);
    for (char& character : plain)
        if (kPlain.find(character) == std::string_view::npos) character = '_';
    return plain;
}

std::vector<std::string> PlainNames(std::vector<std::string> names, std::string_view standIn) {
    for (std::size_t i = 0; i < names.size(); ++i)
        names[i] = PlainName(names[i], std::string(standIn) + std::to_string(i + 1));
    MakeDifferent(names);
    return names;
}

std::vector<std::string> PlainFileNames(std::vector<std::string> names, std::string_view standIn) {
    constexpr std::size_t kLongest = 200; // of the 255 bytes that file systems allow
    names = PlainNames(std::move(names), standIn);
    for (std::string& name : names) {
        name.resize(std::min(name.size(), kLongest));
        if (name.front() == '.' || name.front() == '-') name.front() = '_';
    }
    MakeDifferent(names);
    return names;
}
