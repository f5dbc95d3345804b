// The one bounded reader of message bodies.
#ifndef TARVO_MODEL_WIRE_READER_H
#define TARVO_MODEL_WIRE_READER_H

#include <cstddef>
#include <cstring>
#include <type_traits>

// Reads a body front to back and knows where it ends. A read that does not fit leaves the output and the
// position as they were and returns false. Fields are copied out, so nothing is read unaligned.
class WireReader {
public:
    WireReader(const unsigned char* body, std::size_t available) : m_start(body), m_at(body), m_left(available) {}

    template <typename T>
    bool Read(T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        return ReadBytes(&value, sizeof(T));
    }

    template <typename T>
    bool ReadArray(T* values, std::size_t count) {
        static_assert(std::is_trivially_copyable_v<T>);
        return Has(count, sizeof(T)) && ReadBytes(values, count * sizeof(T));
    }

    bool ReadBytes(void* to, std::size_t size) {
        if (m_left < size) return false;
        if (size > 0) std::memcpy(to, m_at, size);
        Advance(size);
        return true;
    }

    bool Skip(std::size_t count, std::size_t size) {
        if (!Has(count, size)) return false;
        Advance(count * size);
        return true;
    }

    // Whether so many elements of this size (not 0) are left.
    bool Has(std::size_t count, std::size_t size) const { return count <= m_left / size; }

    int Consumed() const { return static_cast<int>(m_at - m_start); }

private:
    void Advance(std::size_t size) {
        m_at += size;
        m_left -= size;
    }

    const unsigned char* m_start;
    const unsigned char* m_at;
    std::size_t m_left;
};

#endif
