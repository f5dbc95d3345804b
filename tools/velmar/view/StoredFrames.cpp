#include "view/StoredFrames.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace {

[[noreturn]] void Fail(const char* what) {
    throw std::runtime_error(
        fmt::format("{} in the folder for temporary files: {}", what, std::generic_category().message(errno)));
}

} // namespace

StoredFrames::StoredFrames() : m_file(std::tmpfile()) {
    if (!m_file) Fail("the frames cannot be kept");
}

void StoredFrames::Add(const std::vector<unsigned char>& body, double arrivalMs) {
    if (std::fwrite(body.data(), 1, body.size(), m_file.get()) != body.size()) Fail("no room for the frames");
    m_frames.push_back({m_bytes, static_cast<std::uint32_t>(body.size()), arrivalMs});
    m_bytes += body.size();
}

FrameBody StoredFrames::At(std::uint64_t place) const {
    const Stored& frame = m_frames[place];
    auto body = std::make_shared<std::vector<unsigned char>>(frame.size);
    if (std::fflush(m_file.get()) != 0) return nullptr; // what Add wrote last
    const ssize_t size = pread(fileno(m_file.get()), body->data(), frame.size, static_cast<off_t>(frame.offset));
    return size == static_cast<ssize_t>(frame.size) ? body : nullptr;
}
