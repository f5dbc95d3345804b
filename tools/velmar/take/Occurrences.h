// Which one of several of the same name, or the same identifier, in one frame an item is.
#ifndef VELMAR_TAKE_OCCURRENCES_H
#define VELMAR_TAKE_OCCURRENCES_H

#include <cstdint>
#include <map>
#include <utility>

template <typename Key>
class Occurrences {
public:
    void BeginFrame() { ++m_frame; }

    // The key with 0 for the first one of this frame, 1 for the second one, and so on.
    std::pair<Key, int> Next(const Key& key) {
        auto& [frame, count] = m_seen[key];
        if (frame != m_frame) count = 0;
        frame = m_frame;
        return {key, count++};
    }

private:
    std::uint64_t m_frame = 0;
    std::map<Key, std::pair<std::uint64_t, int>> m_seen;
};

#endif
