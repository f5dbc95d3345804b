#include "platform/SocketTransfer.h"

#include "platform/Signal.h"

namespace System {

int CSocketTransfer::SetSocket(int handle, unsigned int protocol) {
    m_protocol = protocol;
    m_handle = handle;
    return 0;
}

int CSocketTransfer::SetAddress(const char* address, unsigned int port) {
    return SetAddress(m_facade.ChangeIpAddress(address), port);
}

int CSocketTransfer::SetAddress(unsigned int address, unsigned int port) {
    m_address = address;
    m_port = port;
    return 0;
}

int CSocketTransfer::GetAddress(unsigned int& address, unsigned int& port) const {
    address = m_address;
    port = m_port;
    return 0;
}

int CSocketTransfer::Send(const void* data, unsigned int length, bool flag) const {
    if (m_protocol == kProtocolUdp) return m_facade.SendTo(m_handle, data, length, m_address, m_port, nullptr, 0);
    return m_facade.Send(m_handle, data, length, flag);
}

int CSocketTransfer::Send(const void* data, unsigned int length, const char* address, unsigned int port,
                          const unsigned int* interfaces, unsigned int count) const {
    return m_facade.SendTo(m_handle, data, length, address, port, interfaces, count);
}

int CSocketTransfer::Send(const void* data, unsigned int length, unsigned int address, unsigned int port,
                          const unsigned int* interfaces, unsigned int count) const {
    return m_facade.SendTo(m_handle, data, length, address, port, interfaces, count);
}

int CSocketTransfer::Receive(void* buffer, unsigned int& length, unsigned int timeoutMs, bool flag) {
    if (m_protocol == kProtocolUdp) return m_facade.ReceiveFrom(m_handle, buffer, length, m_address, m_port);
    if (timeoutMs == kWaitForever) return m_facade.Receive(m_handle, buffer, length, flag);
    return m_facade.Receive(m_handle, buffer, length, timeoutMs, flag);
}

int CSocketTransfer::Receive(void* buffer, unsigned int& length, char* address, unsigned int& port) {
    return m_facade.ReceiveFrom(m_handle, buffer, length, address, port);
}

int CSocketTransfer::Receive(void* buffer, unsigned int& length, unsigned int& address, unsigned int& port) {
    return m_facade.ReceiveFrom(m_handle, buffer, length, address, port);
}

int CSocketTransfer::Receive(CDatagramBatch& batch) const { return m_facade.ReceiveBatch(m_handle, batch); }

int CSocketTransfer::Close(const char* group) {
    const int handle = m_handle.exchange(-1);
    if (handle != -1) m_facade.Close(handle, group);
    return 0;
}

int CSocketTransfer::Close() {
    const int handle = m_handle.exchange(-1);
    if (handle != -1) m_facade.Close(handle);
    return 0;
}

void CSocketTransfer::ShutDown(const char* group) {
    const int handle = m_handle.exchange(-1);
    if (handle != -1 && m_facade.ShutDown(handle, group)) m_shutDown = handle;
}

void CSocketTransfer::ShutDown() {
    const int handle = m_handle.exchange(-1);
    if (handle != -1 && m_facade.ShutDown(handle)) m_shutDown = handle;
}

void CSocketTransfer::Release() {
    if (m_shutDown != -1) m_facade.Release(m_shutDown);
    m_shutDown = -1;
}

} // namespace System
