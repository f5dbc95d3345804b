#include "platform/DatagramBatch.h"

#include <cstring>

#include "platform/Clock.h"

namespace System {

namespace {

// A place whose datagram is shorter than the one before it still has that one's end.
void ClearBehind(unsigned char* place, unsigned int length, unsigned int& dirty) {
    if (dirty > length) std::memset(place + length, 0, dirty - length);
    dirty = length;
}

template <typename T>
bool Copy(const cmsghdr& told, int type, T& value) {
    if (told.cmsg_type != type || told.cmsg_len < CMSG_LEN(sizeof value)) return false;
    std::memcpy(&value, CMSG_DATA(&told), sizeof value);
    return true;
}

void ReadControl(const msghdr& message, CDatagramBatch::Datagram& datagram) {
    auto* const writable = const_cast<msghdr*>(&message); // for the system's macros, which only read
    for (const cmsghdr* told = CMSG_FIRSTHDR(writable); told != nullptr;
         told = CMSG_NXTHDR(writable, const_cast<cmsghdr*>(told))) {
        if (told->cmsg_level != SOL_SOCKET) continue;
        timespec stamp{};
        if (Copy(*told, SCM_TIMESTAMPNS, stamp)) datagram.stampNs = Nanoseconds(stamp);
        Copy(*told, SO_RXQ_OVFL, datagram.dropped);
    }
}

} // namespace

int CDatagramBatch::Create() {
    if (m_memory.Create(std::size_t{kSlots} * (kUsualSize + kLargestSize)) != 0) return 1;
    m_usualDirty.fill(0);
    m_largeDirty.fill(0);
    for (unsigned int i = 0; i < kSlots; ++i) {
        m_areas[i] = {iovec{Usual(i), kUsualSize}, iovec{Large(i) + kUsualSize, kLargestSize - kUsualSize}};
        m_messages[i] = {};
        m_messages[i].msg_hdr.msg_name = &m_senders[i];
        m_messages[i].msg_hdr.msg_namelen = sizeof m_senders[i];
        m_messages[i].msg_hdr.msg_iov = m_areas[i].data();
        m_messages[i].msg_hdr.msg_iovlen = m_areas[i].size();
        m_messages[i].msg_hdr.msg_control = m_controls[i].bytes;
        m_messages[i].msg_hdr.msg_controllen = kControlSize;
    }
    return 0;
}

void CDatagramBatch::Destroy() {
    m_memory.Destroy();
    m_count = 0;
}

CDatagramBatch::Datagram CDatagramBatch::operator[](unsigned int index) const {
    const sockaddr_in& sender = m_senders[index];
    Datagram datagram{
        m_data[index], m_messages[index].msg_len, ntohl(sender.sin_addr.s_addr), ntohs(sender.sin_port), 0, 0};
    ReadControl(m_messages[index].msg_hdr, datagram);
    return datagram;
}

// A receive leaves in each message that it fills how much the kernel told beside it.
void CDatagramBatch::Prepare() {
    for (unsigned int i = 0; i < m_count; ++i) m_messages[i].msg_hdr.msg_controllen = kControlSize;
    m_count = 0;
}

void CDatagramBatch::Took(unsigned int count) {
    m_count = count;
    for (unsigned int i = 0; i < count; ++i) Settle(i);
}

// A datagram that fills its usual place goes to the large one as a whole, where there is room for zeros behind it.
void CDatagramBatch::Settle(unsigned int slot) {
    const unsigned int length = m_messages[slot].msg_len;
    if (length < kUsualSize) {
        ClearBehind(Usual(slot), length, m_usualDirty[slot]);
        m_data[slot] = Usual(slot);
        return;
    }
    m_usualDirty[slot] = kUsualSize;
    std::memcpy(Large(slot), Usual(slot), kUsualSize);
    ClearBehind(Large(slot), length, m_largeDirty[slot]);
    m_data[slot] = Large(slot);
}

} // namespace System
