#include "capture/CaptureFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "StopSignal.h"

namespace {

// Files state whatever they like: times before the epoch, and those that nanoseconds cannot count, are none.
std::chrono::nanoseconds TimeOf(const timeval& stamp) {
    constexpr std::int64_t kLatest = std::int64_t{1} << 33U; // some 272 years
    // Seconds of 32 bits have no sign.
    const std::int64_t seconds = stamp.tv_sec < 0 ? stamp.tv_sec + (std::int64_t{1} << 32U) : stamp.tv_sec;
    if (seconds < 0 || seconds > kLatest || stamp.tv_usec < 0 || stamp.tv_usec >= 1'000'000'000) return {};
    return std::chrono::seconds(seconds) + std::chrono::nanoseconds(stamp.tv_usec);
}

} // namespace

CaptureFile::CaptureFile(std::string path) : m_path(std::move(path)) {
    std::error_code ignored;
    if (const auto kind = std::filesystem::status(m_path, ignored).type();
        kind != std::filesystem::file_type::regular && kind != std::filesystem::file_type::not_found)
        throw std::runtime_error(m_path + " is not a capture file: it is no regular file");
    std::FILE* const file = std::fopen(m_path.c_str(), "rbe");
    if (file == nullptr)
        throw std::runtime_error(
            fmt::format("{} cannot be read: {}", m_path, std::generic_category().message(errno)));
    std::setvbuf(file, m_buffer.data(), _IOFBF, m_buffer.size());
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

CapturedDatagram* CaptureFile::Next() {
    constexpr unsigned int kRecordsBetweenLooks = 256;
    for (;;) {
        if (++m_records % kRecordsBetweenLooks == 0 && StopSignal::ArrivesNow()) return nullptr;
        pcap_pkthdr* record = nullptr;
        const u_char* bytes = nullptr;
        const int result = pcap_next_ex(m_file.get(), &record, &bytes);
        if (result == PCAP_ERROR) m_error = pcap_geterr(m_file.get());
        if (result != 1) return nullptr;
        const auto packet = Ipv4PacketIn(pcap_datalink(m_file.get()), {bytes, record->caplen});
        if (packet && m_input.Take(*packet, TimeOf(record->ts), m_datagram)) return &m_datagram;
    }
}

std::string CaptureFile::Damage() const {
    if (!m_error.empty()) return fmt::format("{} is damaged, what follows is left out: {}", m_path, m_error);
    if (m_input.CutPackets() > 0)
        return fmt::format("{}: {} packets were captured only in part and are left out", m_path,
                           m_input.CutPackets());
    return {};
}
