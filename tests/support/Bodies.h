// Message bodies put together by hand, what the codec makes of them, and the heap under the test's control. For
// one source file of a program; one thread at a time.
#ifndef TESTS_SUPPORT_BODIES_H
#define TESTS_SUPPORT_BODIES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <random>
#include <span>
#include <sstream>
#include <vector>

#include "AppDataModel.h"

struct Heap {
    static inline long live = 0;         // blocks not released yet
    static inline std::size_t taken = 0; // bytes of all blocks ever handed out
    static inline int untilFailure = -1; // so many more succeed, then one fails; none when negative

    static void* Take(std::size_t size, bool mayThrow = false) {
        if (untilFailure >= 0 && untilFailure-- == 0) return mayThrow ? throw std::bad_alloc() : nullptr;
        ++live;
        taken += size;
        return std::malloc(size);
    }
    static void Give(void* memory) { live -= memory != nullptr ? 1 : 0, std::free(memory); }
};

void* operator new(std::size_t size) { return Heap::Take(size, true); }
void* operator new[](std::size_t size) { return Heap::Take(size, true); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Heap::Take(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Heap::Take(size); }
void operator delete(void* memory) noexcept { Heap::Give(memory); }
void operator delete[](void* memory) noexcept { Heap::Give(memory); }
void operator delete(void* memory, std::size_t) noexcept { Heap::Give(memory); }
void operator delete[](void* memory, std::size_t) noexcept { Heap::Give(memory); }

// Every test releases what it has allocated.
struct AppDataModel : testing::Test {
    ~AppDataModel() override { EXPECT_EQ(Heap::live, atStart); }
    const long atStart = Heap::live;
};

struct Bytes : std::vector<unsigned char> {
    using vector::vector;
    explicit Bytes(const char* words) { Add(words); }

    // "D2040000": hexadecimal digits in the order of the bytes; "'Left": a name of 256 bytes; "z12": zeros;
    // "j12": random bytes; "# ...": a remark.
    Bytes& Add(const char* words, int times = 1) {
        static std::mt19937 random;
        std::istringstream in(words);
        for (std::string word; in >> word;) {
            const std::size_t start = size();
            const std::size_t count = std::strtoul(&word[1], nullptr, 10);
            switch (word[0]) {
                case '#': std::getline(in, word); break;
                case '\'': insert(end(), word.begin() + 1, word.end()), resize(start + 256); break;
                case 'z': resize(start + count); break;
                case 'j': std::generate_n(std::back_inserter(*this), count, std::ref(random)); break;
                default:
                    for (std::size_t i = 0; i < word.size(); i += 2)
                        push_back(static_cast<unsigned char>(std::stoul(word.substr(i, 2), nullptr, 16)));
            }
        }
        return times > 1 ? Add(words, times - 1) : *this;
    }
};

// Whether nothing but zeros stands in the record from this offset on.
template <typename T>
bool ZeroFrom(const T& record, std::size_t offset) {
    const std::string_view bytes(reinterpret_cast<const char*>(&record), sizeof record);
    return bytes.find_first_not_of('\0', offset) == bytes.npos;
}

// What one kind of body is decoded to when it ends with its heap block, and encoded to in a block of its size.
using Model = CAppDataModel;
template <typename Record, int (Model::*kDecode)(const unsigned char*, unsigned int, int&, Record*&),
          int (Model::*kEncode)(Record*, unsigned char*, int&), int (Model::*kRelease)(Record*)>
struct Decoded {
    // With the n-th allocation failing, unless the number is negative.
    explicit Decoded(std::span<const unsigned char> body, int failing = -1) {
        const Bytes block(body.begin(), body.end());
        taken = Heap::taken;
        Heap::untilFailure = failing;
        result = (Model().*kDecode)(block.data(), static_cast<unsigned int>(body.size()), length, record);
        Heap::untilFailure = -1;
        taken = Heap::taken - taken;
    }
    ~Decoded() { EXPECT_EQ((Model().*kRelease)(record), 0); }
    Record* operator->() const { return record; }
    bool Refused() const { return result == 1 && length == -1; }
    auto RefusedAndEmpty() const { return std::pair(Refused(), record == nullptr); }
    static Bytes Encoded(Record* record, std::size_t size) {
        Bytes block(size);
        int length = -1;
        EXPECT_EQ((Model().*kEncode)(record, block.data(), length), 0);
        return length == static_cast<int>(size) ? block : Bytes();
    }

    int result = -1, length = -1;
    Record* record = nullptr;
    std::size_t taken; // bytes that it allocated
};
using DecodedFrame = Decoded<sFrameOfMocapData, &Model::DecodeMocap, &Model::EncodeMocap, &Model::ReleaseMocap>;
using DecodedList =
    Decoded<sDataDescriptions, &Model::DecodeDescription, &Model::EncodeDescription, &Model::ReleaseDescription>;
using DecodedMedia = Decoded<sPacket, &Model::DecodeMedia, &Model::EncodeMedia, &Model::ReleaseMedia>;

#endif
