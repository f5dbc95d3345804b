#include "capture/CaptureWriter.h"

#include <fmt/format.h>
#include <netinet/ip.h>
#include <netinet/udp.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "StopSignal.h"
#include "wire/UdpSocket.h"

namespace {

constexpr int kLargestPacket = 65535;
constexpr std::size_t kBufferSize = 131072; // more than a record of the largest packet
constexpr std::uint8_t kHops = 64;

// The sum of big-endian 16-bit words that IPv4 and UDP are checked with.
class InternetChecksum {
public:
    // All but the last part have an even length.
    void Add(Bytes bytes) {
        for (std::size_t i = 0; i < bytes.size(); ++i) m_sum += i % 2 == 0 ? bytes[i] * 256U : bytes[i];
    }
    void Add(std::uint16_t number) { m_sum += number; }
    template <typename T>
    void AddRecord(const T& record) {
        Add({reinterpret_cast<const unsigned char*>(&record), sizeof record});
    }

    std::uint16_t Result() const {
        std::uint32_t sum = (m_sum >> 16U) + (m_sum & 0xFFFFU);
        sum += sum >> 16U;
        return htons(static_cast<std::uint16_t>(~sum));
    }

private:
    std::uint32_t m_sum = 0; // a datagram has too few words to overflow it
};

iphdr IpHeader(const CapturedDatagram& datagram, std::uint16_t identification) {
    iphdr header{};
    header.version = IPVERSION;
    header.ihl = sizeof header / 4;
    header.tot_len = htons(static_cast<std::uint16_t>(sizeof header + sizeof(udphdr) + datagram.payload.size()));
    header.id = htons(identification);
    header.ttl = kHops;
    header.protocol = IPPROTO_UDP;
    header.saddr = datagram.from.sin_addr.s_addr;
    header.daddr = datagram.to.sin_addr.s_addr;
    InternetChecksum sum;
    sum.AddRecord(header);
    header.check = sum.Result();
    return header;
}

udphdr UdpHeader(const CapturedDatagram& datagram) {
    const auto length = static_cast<std::uint16_t>(sizeof(udphdr) + datagram.payload.size());
    udphdr header{};
    header.source = datagram.from.sin_port;
    header.dest = datagram.to.sin_port;
    header.len = htons(length);
    InternetChecksum sum;
    sum.AddRecord(datagram.from.sin_addr);
    sum.AddRecord(datagram.to.sin_addr);
    sum.Add(IPPROTO_UDP);
    sum.Add(length);
    sum.AddRecord(header);
    sum.Add(datagram.payload);
    header.check = sum.Result();
    if (header.check == 0) header.check = 0xFFFF; // zero means that there is none
    return header;
}

std::FILE* Open(const std::string& path) {
    const StopSignal::EndsAtOnce pipesWaitForAReader;
    return std::fopen(path.c_str(), "wbe");
}

} // namespace

CaptureWriter::CaptureWriter(std::string path)
    : m_path(std::move(path)),
      m_format(pcap_open_dead_with_tstamp_precision(DLT_IPV4, kLargestPacket, PCAP_TSTAMP_PRECISION_NANO)) {
    std::FILE* const file = m_format ? Open(m_path) : nullptr;
    if (file == nullptr)
        throw std::runtime_error(
            fmt::format("{} cannot be written: {}", m_path, std::generic_category().message(errno)));
    // A record that fits the buffer reaches the file in one piece, even if the program is killed.
    std::setvbuf(file, nullptr, _IOFBF, kBufferSize);
    m_file.reset(pcap_dump_fopen(m_format.get(), file));
    if (!m_file)
        throw std::runtime_error(fmt::format("{} cannot be written: {}", m_path, pcap_geterr(m_format.get())));
    Flush();
}

CaptureWriter::~CaptureWriter() {
    const int handle = m_file ? dup(fileno(pcap_dump_file(m_file.get()))) : -1;
    m_file.reset();
    // Closing may have written another part of what did not fit. What has no length is not cut.
    if (m_failed) {
        [[maybe_unused]] const int result = ftruncate(handle, m_size);
    }
    close(handle);
}

void CaptureWriter::Write(const CapturedDatagram& datagram) {
    const iphdr ip = IpHeader(datagram, m_identification++);
    const udphdr udp = UdpHeader(datagram);
    std::vector<unsigned char> packet(sizeof ip + sizeof udp + datagram.payload.size());
    std::memcpy(packet.data(), &ip, sizeof ip);
    std::memcpy(packet.data() + sizeof ip, &udp, sizeof udp);
    std::copy(datagram.payload.begin(), datagram.payload.end(), packet.begin() + sizeof ip + sizeof udp);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(datagram.time);
    pcap_pkthdr record{};
    record.ts.tv_sec = seconds.count();
    record.ts.tv_usec = (datagram.time - seconds).count(); // nanoseconds, as the file states
    record.caplen = record.len = static_cast<bpf_u_int32>(packet.size());
    pcap_dump(reinterpret_cast<u_char*>(m_file.get()), &record, packet.data());
    Flush();
}

void CaptureWriter::Flush() {
    if (pcap_dump_flush(m_file.get()) != 0) {
        m_failed = true;
        throw std::runtime_error(
            fmt::format("{} cannot be written further: {}", m_path, std::generic_category().message(errno)));
    }
    m_size = pcap_dump_ftell(m_file.get());
}
