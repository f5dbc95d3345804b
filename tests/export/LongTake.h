// How long a long take is.
#ifndef TESTS_EXPORT_LONG_TAKE_H
#define TESTS_EXPORT_LONG_TAKE_H

#include <cstddef>
#include <string_view>

// Frames: more than 16 bits count. Under sanitizers so many take a minute, and what these look for shows in fewer.
inline constexpr std::size_t kLongTake = std::string_view(VELMAR_SANITIZE).empty() ? 70'000 : 3'000;

#endif
