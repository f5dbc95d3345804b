#include "capture/Ipv4Input.h"

#include <netinet/ip.h>
#include <netinet/udp.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <cstring>

#include "wire/Addresses.h"

namespace {

constexpr unsigned int kEtherTypeIpv4 = 0x0800;
constexpr unsigned int kEtherTypeVlan = 0x8100;
constexpr unsigned int kEtherTypeServiceVlan = 0x88A8;

struct LinkLayer {
    int type;
    std::size_t headerSize;
    std::optional<std::size_t> etherTypeAt; // without it, there are only IP packets
};
constexpr LinkLayer kLinkLayers[] = {
    {DLT_EN10MB, 14, 12}, {DLT_LINUX_SLL, 16, 14}, {DLT_LINUX_SLL2, 20, 0}, {DLT_RAW, 0, {}}, {DLT_IPV4, 0, {}}};

const LinkLayer* LinkLayerOf(int type) {
    const auto* const found = std::find_if(std::begin(kLinkLayers), std::end(kLinkLayers),
                                           [type](const LinkLayer& layer) { return layer.type == type; });
    return found == std::end(kLinkLayers) ? nullptr : found;
}

template <typename T>
T CopyOut(Bytes bytes) {
    T record{};
    std::memcpy(&record, bytes.data(), sizeof record);
    return record;
}

// What a packet's body holds, if that is a datagram.
bool ReadDatagram(Bytes body, const iphdr& ip, CapturedDatagram& datagram) {
    if (body.size() < sizeof(udphdr)) return false;
    const auto udp = CopyOut<udphdr>(body);
    const std::size_t length = ntohs(udp.len);
    if (length < sizeof udp || length > body.size()) return false;
    const Bytes payload = body.subspan(sizeof udp, length - sizeof udp);
    datagram.from = MakeAddress({ip.saddr}, ntohs(udp.source));
    datagram.to = MakeAddress({ip.daddr}, ntohs(udp.dest));
    datagram.payload.assign(payload.begin(), payload.end());
    return true;
}

// The pieces in their order without a gap, or nothing.
std::optional<std::vector<unsigned char>> Whole(const std::map<std::size_t, std::vector<unsigned char>>& parts,
                                                std::size_t size) {
    std::vector<unsigned char> whole;
    for (const auto& [offset, part] : parts) {
        if (offset > whole.size()) return std::nullopt;
        const std::size_t known = std::min(whole.size() - offset, part.size());
        whole.insert(whole.end(), part.begin() + static_cast<std::ptrdiff_t>(known), part.end());
    }
    if (whole.size() != size) return std::nullopt;
    return whole;
}

} // namespace

bool IsKnownLinkType(int linkType) { return LinkLayerOf(linkType) != nullptr; }

std::optional<Bytes> Ipv4PacketIn(int linkType, Bytes packet) {
    const LinkLayer* const layer = LinkLayerOf(linkType);
    if (layer == nullptr || packet.size() < layer->headerSize) return std::nullopt;
    if (!layer->etherTypeAt) return packet;
    const auto typeAt = [&](std::size_t at) { return packet[at] * 256U + packet[at + 1]; };
    unsigned int type = typeAt(*layer->etherTypeAt);
    packet = packet.subspan(layer->headerSize);
    // A tag of a virtual network stands before the type of what follows.
    while ((type == kEtherTypeVlan || type == kEtherTypeServiceVlan) && packet.size() >= 4) {
        type = typeAt(2);
        packet = packet.subspan(4);
    }
    if (type != kEtherTypeIpv4) return std::nullopt;
    return packet;
}

bool Ipv4Input::Take(Bytes packet, std::chrono::nanoseconds time, CapturedDatagram& datagram) {
    if (packet.size() < sizeof(iphdr)) return false;
    const auto ip = CopyOut<iphdr>(packet);
    const std::size_t headerSize = std::size_t{4} * ip.ihl;
    const std::size_t totalSize = ntohs(ip.tot_len);
    if (ip.version != IPVERSION || ip.protocol != IPPROTO_UDP) return false;
    if (headerSize < sizeof ip || totalSize < headerSize) return false;
    if (totalSize > packet.size()) {
        ++m_cutPackets;
        return false;
    }
    const unsigned int fragment = ntohs(ip.frag_off);
    const std::size_t offset = std::size_t{8} * (fragment & IP_OFFMASK);
    const bool more = (fragment & IP_MF) != 0;
    const Bytes part = packet.subspan(headerSize, totalSize - headerSize);
    datagram.time = time;
    if (offset == 0 && !more) return ReadDatagram(part, ip, datagram);
    const auto joined = Join({{ip.saddr, ip.daddr, ip.id}, time, {}, {}}, offset, more, part);
    return joined && ReadDatagram(*joined, ip, datagram);
}

std::optional<std::vector<unsigned char>> Ipv4Input::Join(const Partial& begun, std::size_t offset, bool more,
                                                          Bytes part) {
    std::vector<unsigned char> bytes(part.begin(), part.end());
    m_partials.remove_if([&](const Partial& old) {
        return old.time > begun.time + kPatience || old.time + kPatience < begun.time;
    });
    auto partial = std::find_if(m_partials.begin(), m_partials.end(),
                                [&](const Partial& candidate) { return candidate.key == begun.key; });
    if (partial == m_partials.end()) {
        if (m_partials.size() == kMaxPartials) m_partials.pop_front();
        partial = m_partials.insert(m_partials.end(), begun);
    }
    if (!more) partial->size = offset + bytes.size();
    partial->bytes += bytes.size();
    partial->parts[offset] = std::move(bytes);
    if (partial->bytes > kMaxBytes) {
        m_partials.erase(partial);
        return std::nullopt;
    }
    if (!partial->size || partial->bytes < *partial->size) return std::nullopt;
    auto whole = Whole(partial->parts, *partial->size);
    if (whole) m_partials.erase(partial);
    return whole;
}
