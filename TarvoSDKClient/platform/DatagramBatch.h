// The datagrams that one call takes off a socket, and the memory that they are received into.
#ifndef TARVO_PLATFORM_DATAGRAM_BATCH_H
#define TARVO_PLATFORM_DATAGRAM_BATCH_H

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstdint>
#include <ctime>

#include "platform/ZeroedMemory.h"

namespace System {

// Filled by CSocketFacade::ReceiveBatch, read by the thread that calls it. Each datagram, up to the largest that
// there can be, stands in one piece and has zero bytes behind it. Datagrams of the usual size lie close together,
// so that a receive touches little memory; what is larger goes to an area of its own, which takes memory only when
// it is used.
class CDatagramBatch {
public:
    struct Datagram {
        unsigned char* data;
        unsigned int length;
        unsigned int sender; // host byte order
        unsigned int senderPort;
        std::int64_t stampNs; // wall clock at which the kernel took it in; 0 when the socket asks for no stamps
        std::uint32_t
            dropped; // datagrams that the kernel had dropped on this socket before it; 0 also when not told
    };

    CDatagramBatch() = default;
    CDatagramBatch(const CDatagramBatch&) = delete;
    CDatagramBatch& operator=(const CDatagramBatch&) = delete;

    int Create(); // of an empty one; 0, or 1 with a report
    void Destroy();

    // What the latest receive brought, in the order of arrival.
    unsigned int Count() const { return m_count; }
    bool IsFull() const { return m_count == kSlots; }
    Datagram operator[](unsigned int index) const;

private:
    friend class CSocketFacade;

    // Where a call is dear, more save more. They cost nothing while few datagrams wait: the front ones are used.
    static constexpr unsigned int kSlots = 32;
    static constexpr unsigned int kUsualSize = 1536;    // the protocol's datagrams have 1478 bytes at most
    static constexpr unsigned int kLargestSize = 65536; // a datagram has 65,507

    unsigned char* Usual(unsigned int slot) const { return m_memory.Data() + std::size_t{slot} * kUsualSize; }
    unsigned char* Large(unsigned int slot) const {
        return m_memory.Data() + std::size_t{kSlots} * kUsualSize + std::size_t{slot} * kLargestSize;
    }
    static constexpr std::size_t kControlSize = CMSG_SPACE(sizeof(timespec)) + CMSG_SPACE(sizeof(std::uint32_t));
    struct alignas(cmsghdr) Control {
        unsigned char bytes[kControlSize];
    };

    void Prepare();
    void Took(unsigned int count);
    void Settle(unsigned int slot);

    CZeroedMemory m_memory;
    unsigned int m_count = 0;
    std::array<unsigned char*, kSlots> m_data{};     // where each datagram stands
    std::array<unsigned int, kSlots> m_usualDirty{}; // bytes of each place that may not read as zero
    std::array<unsigned int, kSlots> m_largeDirty{};
    std::array<mmsghdr, kSlots> m_messages{};
    std::array<std::array<iovec, 2>, kSlots> m_areas{}; // the usual place, then the rest of the large one
    std::array<sockaddr_in, kSlots> m_senders{};
    std::array<Control, kSlots> m_controls{}; // what the kernel tells beside each datagram
};

} // namespace System

#endif
