// The one writer of message bodies.
#ifndef TARVO_MODEL_WIRE_WRITER_H
#define TARVO_MODEL_WIRE_WRITER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// Writes a body front to back into a buffer that its caller made large enough.
class WireWriter {
public:
    explicit WireWriter(unsigned char* buffer) : m_start(buffer), m_at(buffer) {}

    template <typename T>
    void Write(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>);
        std::memcpy(m_at, &value, sizeof value);
        m_at += sizeof value;
    }

    // A count of 0 or below writes nothing.
    template <typename T>
    void WriteArray(const T* values, std::int32_t count) {
        static_assert(std::is_trivially_copyable_v<T>);
        if (count < 1) return;
        const std::size_t size = static_cast<std::size_t>(count) * sizeof(T);
        std::memcpy(m_at, values, size);
        m_at += size;
    }

    void WriteZeros(std::size_t size) {
        std::memset(m_at, 0, size);
        m_at += size;
    }

    int Written() const { return static_cast<int>(m_at - m_start); }

private:
    unsigned char* m_start;
    unsigned char* m_at;
};

#endif
