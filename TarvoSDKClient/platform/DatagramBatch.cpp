#include "platform/DatagramBatch.h"

#include <algorithm>
#include <cstring>

namespace System {

int CDatagramBatch::Create() {
    if (m_memory.Create(std::size_t{kSlots} * kStride) != 0) return 1;
    m_dirty.fill(0);
    for (unsigned int i = 0; i < kSlots; ++i) {
        m_areas[i] = {Slot(i), kSlotSize};
        m_messages[i] = {};
        m_messages[i].msg_hdr.msg_name = &m_senders[i];
        m_messages[i].msg_hdr.msg_namelen = sizeof m_senders[i];
        m_messages[i].msg_hdr.msg_iov = &m_areas[i];
        m_messages[i].msg_hdr.msg_iovlen = 1;
    }
    return 0;
}

void CDatagramBatch::Destroy() {
    m_memory.Destroy();
    m_count = 0;
}

CDatagramBatch::Datagram CDatagramBatch::operator[](unsigned int index) const {
    const sockaddr_in& sender = m_senders[index];
    return {Slot(index), m_messages[index].msg_len, ntohl(sender.sin_addr.s_addr), ntohs(sender.sin_port)};
}

// A slot whose datagram is shorter than the one before it still has that one's end.
void CDatagramBatch::Took(unsigned int count) {
    m_count = count;
    for (unsigned int i = 0; i < count; ++i) {
        const unsigned int length = m_messages[i].msg_len;
        if (m_dirty[i] > length) std::memset(Slot(i) + length, 0, m_dirty[i] - length);
        m_dirty[i] = length;
    }
}

} // namespace System
