// Framing: one message becomes datagrams.
#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/Presence.h"
#include "transport/CommandServer.h"

static_assert(std::endian::native == std::endian::little, "headers and bodies are copied as they stand");

using System::CGuard;

int CCommandServer::Send(int type, const unsigned char* data, int length, unsigned int sequence) {
    const System::CPresence present(this);
    const CRequestGate::Passage inside(m_gate);
    if (!inside) return 0;
    const CGuard guard(&m_mutex);
    SendMessage(type, data, length, sequence);
    return 0;
}

// A message of 0 bytes is one datagram without payload; a negative length sends nothing.
void CCommandServer::SendMessage(int type, const unsigned char* data, int length, unsigned int sequence) {
    int offset = 0;
    unsigned int index = 0;
    do {
        if (length < 0) return;
        const int chunk = std::min(length - offset, static_cast<int>(kMaxFragmentPayload));
        const tagPackageHeader header{kPackageMagic,
                                      0,
                                      static_cast<std::uint32_t>(length),
                                      static_cast<std::uint8_t>(type),
                                      static_cast<std::uint8_t>(index),
                                      static_cast<std::uint16_t>(chunk),
                                      sequence};
        m_sendArea.ResetPosition();
        std::memcpy(m_sendArea.Buffer(), &header, kPackageHeaderSize);
        m_sendArea.AddPosition(kPackageHeaderSize);
        if (data != nullptr && chunk > 0) {
            std::memcpy(m_sendArea.Buffer() + m_sendArea.Position(), data + offset,
                        static_cast<std::size_t>(chunk));
            m_sendArea.AddPosition(static_cast<unsigned int>(chunk));
        }
        if (m_address.empty())
            m_socket.Send(m_sendArea.Buffer(), m_sendArea.Position(), true);
        else
            m_socket.Send(m_sendArea.Buffer(), m_sendArea.Position(), m_address.c_str(), m_port, nullptr, 0);
        ++index;
        offset += chunk;
    } while (offset < length);
}
