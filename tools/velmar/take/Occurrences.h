// What is known of the items of a stream by their names or identifiers, of which a frame may have one several
// times.
#ifndef VELMAR_TAKE_OCCURRENCES_H
#define VELMAR_TAKE_OCCURRENCES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

template <typename Key, typename Value>
class Occurrences {
public:
    void BeginFrame() {
        ++m_frame;
        m_expected = m_items.begin();
    }

    // Of the next item of this key in the frame in hand; null when no frame had so many. A pointer is valid until
    // the next call.
    Value* Find(const Key& key) {
        // Most streams have their items in the same order in every frame, and in that of their keys.
        const auto found =
            m_expected != m_items.end() && m_expected->first == key ? m_expected : m_items.find(key);
        if (found == m_items.end()) return nullptr;
        m_expected = std::next(found);
        return NextOf(found->second);
    }

    // The same; makes what is not there.
    Value& FindOrMake(const Key& key) {
        if (Value* const known = Find(key)) return *known;
        Item& item = m_items[key];
        item.frame = m_frame;
        item.taken = item.values.size() + 1;
        ++m_count;
        return item.values.emplace_back();
    }

    std::size_t Count() const { return m_count; }

    // In the order of the keys, and for each in that of a frame.
    template <typename Visit>
    void ForEach(Visit visit) {
        for (auto& [key, item] : m_items)
            for (Value& value : item.values) visit(key, value);
    }

private:
    struct Item {
        std::uint64_t frame = 0; // the latest one that had it
        std::size_t taken = 0;   // in that frame
        std::vector<Value> values;
    };

    Value* NextOf(Item& item) {
        if (item.frame != m_frame) item.taken = 0;
        item.frame = m_frame;
        if (item.taken == item.values.size()) return nullptr;
        return &item.values[item.taken++];
    }

    std::uint64_t m_frame = 0;
    std::size_t m_count = 0;
    std::map<Key, Item> m_items;
    typename std::map<Key, Item>::iterator m_expected = m_items.begin();
};

#endif
