#include "doctor/PacketTap.h"

#include <linux/filter.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <iterator>

PacketTap::PacketTap(const sockaddr_in& destination) : m_handle(socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    // Offsets are from the beginning of the IP header; each jump passes over so many lines, for true and false.
    sock_filter lines[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, 16), // destination
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ntohl(destination.sin_addr.s_addr), 0, 8),
        BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 9), // protocol
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_UDP, 0, 6),
        BPF_STMT(BPF_LD | BPF_H | BPF_ABS, 6), // fragment offset
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, 0x1FFF, 4, 0),
        BPF_STMT(BPF_LDX | BPF_B | BPF_MSH, 0), // size of the header
        BPF_STMT(BPF_LD | BPF_H | BPF_IND, 2),  // port behind it
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, ntohs(destination.sin_port), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, 1),
        BPF_STMT(BPF_RET | BPF_K, 0),
    };
    const sock_fprog program{static_cast<unsigned short>(std::size(lines)), lines};
    sockaddr_ll all{};
    all.sll_family = AF_PACKET;
    all.sll_protocol = htons(ETH_P_IP);
    // Bound only when it filters, so that it counts nothing else.
    if (setsockopt(m_handle, SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) == 0 &&
        bind(m_handle, reinterpret_cast<const sockaddr*>(&all), sizeof all) == 0)
        return;
    close(m_handle);
    m_handle = -1;
}

PacketTap::~PacketTap() {
    if (m_handle != -1) close(m_handle);
}

std::optional<long long> PacketTap::Packets() const {
    tpacket_stats counts{};
    socklen_t size = sizeof counts;
    if (getsockopt(m_handle, SOL_PACKET, PACKET_STATISTICS, &counts, &size) != 0) return std::nullopt;
    return counts.tp_packets;
}
