// What clients were given, and how that compares with what the simulated server says it sent.
#ifndef TESTS_SOAK_DELIVERY_H
#define TESTS_SOAK_DELIVERY_H

#include <atomic>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "AppDataModel.h"
#include "wire/Checksum.h"

// Microseconds of the stream, number, checksum as the frame states it. Numbers begin anew, times do not.
using FrameId = std::tuple<std::uint64_t, std::int32_t, std::uint32_t>;
using FrameLog = std::map<FrameId, bool>; // whether it left whole

inline FrameLog ReadFrameLog(std::ifstream file) {
    FrameLog log;
    auto [time, number, checksum] = FrameId{};
    std::string counts;
    for (std::string state; file >> time >> number >> std::hex >> checksum >> std::dec >> state;
         std::getline(file, counts))
        log[{time, number, checksum}] = state == "whole";
    return log;
}

struct Record {
    std::vector<std::pair<FrameId, bool>> frames{}; // and whether the checksum is the frame's own
    std::atomic<std::size_t> count{0};              // of frames, while they still arrive

    // From any thread: a changed type byte lets a frame arrive through a client's other endpoint too.
    void Take(sFrameOfMocapData& frame) {
        const std::lock_guard lock(m_mutex);
        const FrameId id{frame.auxValue64, frame.frameNumber, frame.auxValue32};
        frame.auxValue32 = 0;
        int length = 0;
        CAppDataModel().EncodeMocap(&frame, m_body.data(), length);
        frame.auxValue32 = std::get<2>(id);
        frames.emplace_back(id, Checksum({m_body.data(), static_cast<std::size_t>(length)}) == frame.auxValue32);
        ++count;
    }

private:
    std::mutex m_mutex{};
    std::vector<unsigned char> m_body = std::vector<unsigned char>(kMaxMessageSize);
};

// Frames with their own checksum are intact (as sent, each the first time), repeated (again) or invented (never
// sent). A fragment that was changed on its way, or that follows another frame's fragments while its own were
// lost, still makes a frame, but a torn one; altered, when that frame had left whole. Missing: left whole, from
// a time on, and was not delivered intact.
struct Verdict {
    long intact, repeated, invented, torn, altered, missing;
};

inline Verdict Compare(const Record& record, const FrameLog& log, std::uint64_t from) {
    Verdict verdict{};
    FrameLog intact;
    for (const auto& [id, isOwn] : record.frames) {
        const bool known = log.contains(id);
        ++(!isOwn   ? known && log.at(id) ? verdict.altered : verdict.torn
           : !known ? verdict.invented
                    : (intact.emplace(id, true).second ? verdict.intact : verdict.repeated));
    }
    for (auto sent = log.lower_bound({from, 0, 0}); sent != log.end(); ++sent)
        verdict.missing += sent->second && !intact.contains(sent->first);
    return verdict;
}

#endif
