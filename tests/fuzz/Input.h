// What targets read of an input, and how they say what does not hold.
#ifndef TESTS_FUZZ_INPUT_H
#define TESTS_FUZZ_INPUT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

inline void Require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "does not hold: %s\n", what);
    std::abort();
}

// Zeros stand behind the end.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : m_left(reinterpret_cast<const char*>(data), size) {}
    bool IsEmpty() const { return m_left.empty(); }
    std::string Take(std::size_t size) {
        std::string taken(m_left.substr(0, size));
        m_left.remove_prefix(taken.size());
        return taken;
    }
    template <typename T>
    T Value() {
        std::string bytes = Take(sizeof(T));
        bytes.resize(sizeof(T));
        T value;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }
    std::uint8_t Byte() { return Value<std::uint8_t>(); }
    std::string Text() { return Take(Byte() + std::size_t{Byte()}); }

private:
    std::string_view m_left;
};

#endif
