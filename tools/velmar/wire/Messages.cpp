#include "wire/Messages.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

std::string VersionText(const unsigned char* version) {
    return fmt::format("{}.{}.{}.{}", version[0], version[1], version[2], version[3]);
}

bool CutMessage(int type, std::uint32_t sequence, Bytes payload, const std::function<bool(Bytes)>& send) {
    unsigned char datagram[kMaxDatagramSize];
    tagPackageHeader header{};
    header.magic = kPackageMagic;
    header.totalLength = static_cast<std::uint32_t>(payload.size());
    header.type = static_cast<std::uint8_t>(type);
    header.sequence = sequence;
    do {
        const Bytes part = payload.first(std::min(payload.size(), kMaxFragmentPayload));
        payload = payload.subspan(part.size());
        header.fragmentLength = static_cast<std::uint16_t>(part.size());
        std::memcpy(datagram, &header, kPackageHeaderSize);
        std::copy(part.begin(), part.end(), datagram + kPackageHeaderSize);
        if (!send({datagram, kPackageHeaderSize + part.size()})) return false;
        ++header.fragmentIndex;
    } while (!payload.empty());
    return true;
}

std::optional<Message> MessageJoiner::Take(const sockaddr_in& from, Bytes datagram, std::string& problem) {
    problem.clear();
    tagPackageHeader header{};
    if (datagram.size() < kPackageHeaderSize) {
        problem = fmt::format("{} bytes are too few for a header", datagram.size());
        return std::nullopt;
    }
    std::memcpy(&header, datagram.data(), kPackageHeaderSize);
    const Bytes part = datagram.subspan(kPackageHeaderSize);
    if (header.magic != kPackageMagic || header.fragmentLength != part.size()) {
        problem = fmt::format("another protocol (magic {:#06x}, {} bytes announced, {} present)", header.magic,
                              header.fragmentLength, part.size());
        return std::nullopt;
    }
    if (header.totalLength > kMaxMessageSize) {
        problem = fmt::format("a message of {} bytes, more than {}", header.totalLength, kMaxMessageSize);
        return std::nullopt;
    }
    if (m_partials.size() >= kMaxSenders) m_partials.clear();
    Partial& partial = m_partials[{from.sin_addr.s_addr, from.sin_port}];
    if (header.fragmentIndex == 0) partial = {{header.type, header.sequence, {}}, 0};
    if (header.fragmentIndex != partial.nextFragment) {
        problem = fmt::format("fragment {} where {} was due", header.fragmentIndex, partial.nextFragment);
        return std::nullopt;
    }
    ++partial.nextFragment;
    std::vector<unsigned char>& joined = partial.message.payload;
    joined.insert(joined.end(), part.begin(), part.end());
    if (joined.size() < header.totalLength) return std::nullopt;
    Message whole = std::move(partial.message);
    m_partials.erase({from.sin_addr.s_addr, from.sin_port});
    if (whole.payload.size() == header.totalLength) return whole;
    problem = fmt::format("fragments of {} bytes for a message of {}", whole.payload.size(), header.totalLength);
    return std::nullopt;
}
