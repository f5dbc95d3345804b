// The library's only door to the socket interface: opens, configures, uses and closes IPv4 sockets,
// converts addresses and resolves names.
#ifndef TARVO_PLATFORM_SOCKET_FACADE_H
#define TARVO_PLATFORM_SOCKET_FACADE_H

namespace System {

class CDatagramBatch;

// Protocol selectors.
inline constexpr unsigned int kProtocolTcp = 0;
inline constexpr unsigned int kProtocolUdp = 1;

// Stateless; any number of instances, callable from any thread.
//
// Handles are as the system gives them; 0 stands for no socket and -1 for an invalid one. Single addresses
// and ports are in host byte order, lists of interface addresses in network byte order, texts in dotted
// form with room for 16 bytes where they are outputs.
//
// Results: 0 success, 1 failure, 4 an address that cannot be resolved, an unknown protocol selector or an
// interface that is not available, 7 a client socket that could not be made, 14 a connect that failed or
// timed out. Every failure is reported. An opening operation stores the handle at once and closes it again
// when a later step fails; the value left in the caller's variable is then not to be used.
class CSocketFacade {
public:
    virtual ~CSocketFacade() = default;

    // ---- Datagram sockets
    // Bound to the local address (any when null) and port, allowed to broadcast.
    int Broadcast(int& socket, const char* localAddress, unsigned int port) const;
    // Bound to the port, joined to the group on the interface with this local address (any when null).
    int Multicast(int& socket, const char* localAddress, const char* group, unsigned int port, bool loop) const;
    // The same on every listed interface, whatever fails there, or on the default one when there is no list.
    int Multicast(int& socket, const unsigned int* interfaces, unsigned int count, const char* group,
                  unsigned int port, bool loop) const;
    // One datagram, through each listed interface where there is a list. A length of 0 sends nothing.
    int SendTo(int socket, const void* data, unsigned int length, unsigned int address, unsigned int port,
               const unsigned int* interfaces, unsigned int count) const;
    int SendTo(int socket, const void* data, unsigned int length, const char* address, unsigned int port,
               const unsigned int* interfaces, unsigned int count) const;
    // Blocks for one datagram; `length` is the capacity, then the bytes received.
    int ReceiveFrom(int socket, void* buffer, unsigned int& length, unsigned int& address,
                    unsigned int& port) const;
    int ReceiveFrom(int socket, void* buffer, unsigned int& length, char* address, unsigned int& port) const;

    // Blocks for one datagram and takes those with it that wait behind it, as many as the batch has slots.
    int ReceiveBatch(int socket, CDatagramBatch& batch) const;

    // ---- Closing
    // Shuts down and closes a handle that is a socket; anything else stays open. 0.
    int Close(int socket) const;
    int Close(int socket, const char* group) const; // leaves the group first, if one is given
    // A close in two steps. The first writes the line, leaves the group and wakes whoever is blocked on the
    // socket, which stays open; true when the handle is a socket, whose descriptor the second then closes.
    bool ShutDown(int socket) const;
    bool ShutDown(int socket, const char* group) const;
    void Release(int socket) const;

    // ---- Ports, handles, addresses
    int ChangeProtocolType(unsigned int& protocol, unsigned int& type) const;
    int GetNextPort(unsigned int first, unsigned int last, unsigned int protocol, unsigned int& port) const;
    int LocalPortIdle(unsigned int protocol, unsigned int port) const; // 0 when it can be bound
    int Fd_is_Socket(int handle) const; // 1 socket of this process, 0 something else, -1 cannot be examined
    int GetIpByName(const char* name, unsigned int& address) const;
    unsigned int ChangeIpAddress(const char* text) const; // 0 when it is not a dotted address
    int ChangeIpAddress(unsigned int address, char* text, unsigned int capacity) const;
    unsigned short Ntohs(unsigned short value) const;
    unsigned int Ntohl(unsigned int value) const;

    // ---- Listening, connecting, streams
    int Server(int& socket, unsigned int port, unsigned int protocol) const;
    // BlockClient with timeout 0, otherwise NoBlockClient.
    int Client(int& socket, const char* address, unsigned int port, unsigned int protocol,
               unsigned int timeoutMs) const;
    // A socket towards the server that is not connected.
    int BlockClient(int& socket, const char* address, unsigned int port, unsigned int protocol) const;
    // A connected, blocking socket.
    int NoBlockClient(int& socket, const char* address, unsigned int port, unsigned int protocol,
                      unsigned int timeoutMs) const;
    int Accept(int& client, int listening, unsigned int& address, unsigned int& port) const;
    int Send(int socket, const void* data, unsigned int length, bool flag) const;
    int Receive(int socket, void* buffer, unsigned int& length, bool flag) const;
    int Receive(int socket, void* buffer, unsigned int& length, unsigned int timeoutMs, bool flag) const;
    int SetSessionBlock(int socket, unsigned int nonBlocking) const;
    int SetSessionKeepalive(int socket) const; // does nothing, 0

    // ---- The host and a socket's addresses
    int GetHostName(char* name, unsigned int capacity) const;
    int GetIpAddress(char* text) const;
    int GetSocketAddress(int socket, char* text) const;
    int GetPeerAddress(int socket, char* text) const;
    int GetMacAddress(char* text, bool withColons) const;                        // zeros: no interface is examined
    int GetLocalAddress(unsigned int* addresses, unsigned int& count) const;     // leaves both as they are, 0
    int IP_to_MAC(char* address, unsigned char* mac, char* interfaceName) const; // does nothing, 0
    int GetPeerMacByIP(const char* interfaceName, const char* address,
                       unsigned char* mac) const; // does nothing, 0

private:
    int JoinInterfaces(int socket, const unsigned int* interfaces, unsigned int count, const char* group,
                       bool loop) const;
    int SendDatagram(int socket, const void* data, unsigned int length, unsigned int address,
                     unsigned int port) const;
    int OpenClient(int& socket, const char* address, unsigned int protocol, unsigned int& resolved) const;
    int AwaitConnection(int socket, const char* address, unsigned int port, unsigned int resolved,
                        unsigned int timeoutMs) const;
    bool WakeReaders(int socket) const;
};

} // namespace System

#endif
