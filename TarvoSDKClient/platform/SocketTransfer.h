// The handle through which an endpoint uses its socket after it has opened it.
#ifndef TARVO_PLATFORM_SOCKET_TRANSFER_H
#define TARVO_PLATFORM_SOCKET_TRANSFER_H

#include <atomic>

#include "platform/SocketFacade.h"

namespace System {

// Holds a socket handle, its protocol selector and a peer, and forwards to a facade of its own; every
// result and report is the facade's. Destruction does not close the socket.
//
// The handle is atomic: a receiving thread reads it while another closes the socket, and finds it invalid
// before the descriptor is closed. Selector and peer are used by one thread at a time.
class CSocketTransfer {
public:
    CSocketTransfer() = default;
    ~CSocketTransfer() { m_handle = -1; }

    // Copies carry the handle only.
    CSocketTransfer(const CSocketTransfer& other) : m_handle(other.m_handle.load()) {}
    CSocketTransfer& operator=(const CSocketTransfer& other) {
        m_handle = other.m_handle.load();
        return *this;
    }

    operator int() const { return m_handle; } // NOLINT(google-explicit-constructor)
    int SetSocket(int handle, unsigned int protocol);
    int SetAddress(const char* address, unsigned int port);
    int SetAddress(unsigned int address, unsigned int port);
    int GetAddress(unsigned int& address, unsigned int& port) const;

    // To the stored peer for a datagram socket, on the stream otherwise.
    int Send(const void* data, unsigned int length, bool flag) const;
    // One datagram to the given peer; the stored one is neither used nor changed.
    int Send(const void* data, unsigned int length, const char* address, unsigned int port,
             const unsigned int* interfaces, unsigned int count) const;
    int Send(const void* data, unsigned int length, unsigned int address, unsigned int port,
             const unsigned int* interfaces, unsigned int count) const;

    // A datagram socket blocks for one datagram and stores its sender as the peer; a stream waits at most so
    // long, 0xFFFFFFFF without limit.
    int Receive(void* buffer, unsigned int& length, unsigned int timeoutMs, bool flag);
    // One datagram and its sender; the stored peer is not changed.
    int Receive(void* buffer, unsigned int& length, char* address, unsigned int& port);
    int Receive(void* buffer, unsigned int& length, unsigned int& address, unsigned int& port);

    // As many datagrams as wait, after blocking for one.
    int Receive(CDatagramBatch& batch) const;

    // True when the transfer holds no socket, the name notwithstanding.
    bool IsValid() const { return m_handle == -1; }

    // Marks the handle invalid, then closes the socket, leaving the group first if one is given. 0.
    int Close(const char* group);
    int Close();

    // The same in two steps, for a socket on which a thread may be blocked: after the first the thread wakes and
    // finds the handle invalid; when it has ended, the second closes the descriptor.
    void ShutDown(const char* group);
    void ShutDown();
    void Release();

private:
    int m_shutDown = -1; // what Release closes
    std::atomic<int> m_handle{-1};
    unsigned int m_protocol = kProtocolTcp;
    unsigned int m_address = 0;
    unsigned int m_port = 0;
    CSocketFacade m_facade;
};

} // namespace System

#endif
