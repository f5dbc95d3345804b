// The datagrams that one call takes off a socket, and the memory that they are received into.
#ifndef TARVO_PLATFORM_DATAGRAM_BATCH_H
#define TARVO_PLATFORM_DATAGRAM_BATCH_H

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>

#include "platform/ZeroedMemory.h"

namespace System {

// Filled by CSocketFacade::ReceiveBatch, read by the thread that calls it. Each datagram stands in a slot of its
// own, which has room for the largest that there can be and reads as zero behind it. A slot takes memory only when
// it is used, and no more than its datagrams had.
class CDatagramBatch {
public:
    struct Datagram {
        unsigned char* data;
        unsigned int length;
        unsigned int sender; // host byte order
        unsigned int senderPort;
    };

    CDatagramBatch() = default;
    CDatagramBatch(const CDatagramBatch&) = delete;
    CDatagramBatch& operator=(const CDatagramBatch&) = delete;

    int Create(); // of an empty one; 0, or 1 with a report
    void Destroy();

    // What the latest receive brought, in the order of arrival.
    unsigned int Count() const { return m_count; }
    Datagram operator[](unsigned int index) const;

private:
    friend class CSocketFacade;

    static constexpr unsigned int kSlots = 32;
    static constexpr unsigned int kSlotSize = 65536; // a datagram has 65,507 bytes at most
    // So that the fronts of the slots, where most datagrams end, lie in different lines of a cache.
    static constexpr unsigned int kStride = kSlotSize + 1600;

    unsigned char* Slot(unsigned int index) const { return m_memory.Data() + std::size_t{index} * kStride; }
    void Took(unsigned int count);

    CZeroedMemory m_memory;
    unsigned int m_count = 0;
    std::array<unsigned int, kSlots> m_dirty{}; // bytes of each slot that may not read as zero
    std::array<mmsghdr, kSlots> m_messages{};
    std::array<iovec, kSlots> m_areas{};
    std::array<sockaddr_in, kSlots> m_senders{};
};

} // namespace System

#endif
