#include "capture/CaptureFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

CaptureFile::CaptureFile(std::string path) : m_path(std::move(path)) {
    std::FILE* const file = std::fopen(m_path.c_str(), "rbe");
    if (file == nullptr)
        throw std::runtime_error(
            fmt::format("{} cannot be read: {}", m_path, std::generic_category().message(errno)));
    char reason[PCAP_ERRBUF_SIZE] = "";
    m_file.reset(pcap_fopen_offline_with_tstamp_precision(file, PCAP_TSTAMP_PRECISION_NANO, reason));
    if (!m_file) {
        const bool empty = std::feof(file) != 0 && std::ftell(file) == 0;
        std::fclose(file);
        if (empty) throw std::runtime_error(m_path + " is not a capture file: it is empty");
        throw std::runtime_error(fmt::format("{} is not a capture file: {}", m_path, reason));
    }
    if (const int link = pcap_datalink(m_file.get()); !IsKnownLinkType(link)) {
        const char* const name = pcap_datalink_val_to_name(link);
        throw std::runtime_error(
            fmt::format("{} was captured on a link of type {} ({}); Ethernet, Linux cooked and raw IP are read",
                        m_path, link, name == nullptr ? "unknown" : name));
    }
}

std::optional<CapturedDatagram> CaptureFile::Next() {
    pcap_pkthdr* record = nullptr;
    const u_char* bytes = nullptr;
    int result = 0;
    while ((result = pcap_next_ex(m_file.get(), &record, &bytes)) == 1) {
        const auto packet = Ipv4PacketIn(pcap_datalink(m_file.get()), {bytes, record->caplen});
        auto datagram = packet ? m_input.Take(*packet) : std::nullopt;
        if (!datagram) continue;
        datagram->time = std::chrono::seconds(record->ts.tv_sec) + std::chrono::nanoseconds(record->ts.tv_usec);
        return datagram;
    }
    if (result == PCAP_ERROR) m_error = pcap_geterr(m_file.get());
    return std::nullopt;
}

std::string CaptureFile::Damage() const {
    if (!m_error.empty()) return fmt::format("{} is damaged, what follows is left out: {}", m_path, m_error);
    if (m_input.CutPackets() > 0)
        return fmt::format("{}: {} packets were captured only in part and are left out", m_path,
                           m_input.CutPackets());
    return {};
}
