// A history whose frames say which they are, and which knows how many of them are still held by anybody.
#ifndef TESTS_VIEW_COUNTED_FRAMES_H
#define TESTS_VIEW_COUNTED_FRAMES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <memory>
#include <new>
#include <set>
#include <utility>
#include <vector>

#include "view/FrameHistory.h"

// Frame n arrives at 1000 + 10 n ms, and its body begins with n.
class CountedFrames : public FrameHistory {
public:
    std::uint64_t Oldest() const override { return m_end - m_kept.size(); }
    std::uint64_t End() const override { return m_end; }
    FrameBody At(std::uint64_t place) const override {
        if (place == withoutMemory) throw std::bad_alloc();
        return unreadable.count(place) != 0 ? nullptr : m_kept.at(place - Oldest());
    }
    double ArrivalMs(std::uint64_t place) const override { return 1000 + 10 * static_cast<double>(place); }
    std::uint64_t Bytes() const override { return m_kept.size() * bodySize; }

    void Add(std::size_t count) {
        for (; count > 0; --count, ++m_end) {
            std::vector<unsigned char> body(bodySize, static_cast<unsigned char>(m_end));
            m_kept.push_back(std::make_shared<const std::vector<unsigned char>>(std::move(body)));
            m_all.push_back(m_kept.back());
            Keep(mostKept);
        }
    }
    void Keep(std::size_t count) {
        m_kept.erase(m_kept.begin(), m_kept.end() - static_cast<std::ptrdiff_t>(std::min(count, m_kept.size())));
    }
    std::ptrdiff_t Alive() const {
        return std::ranges::count_if(m_all, [](const auto& body) { return !body.expired(); });
    }

    std::size_t bodySize = 8;
    std::size_t mostKept = 100;
    std::uint64_t withoutMemory = ~std::uint64_t{0}; // the place that At has none for
    std::set<std::uint64_t> unreadable;

private:
    std::uint64_t m_end = 0;
    std::deque<FrameBody> m_kept;
    std::vector<std::weak_ptr<const std::vector<unsigned char>>> m_all;
};

#endif
