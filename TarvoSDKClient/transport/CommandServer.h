// One UDP endpoint of a client: its socket and receive thread, sending, the dispatch of what arrives, and
// the requests that wait for a reply.
#ifndef TARVO_TRANSPORT_COMMAND_SERVER_H
#define TARVO_TRANSPORT_COMMAND_SERVER_H

#include <array>
#include <atomic>
#include <cstdint>
#include <list>
#include <string>

#include "TarvoWire.h"
#include "platform/Buffer.h"
#include "platform/DatagramBatch.h"
#include "platform/Mutex.h"
#include "platform/PlainMutex.h"
#include "platform/Presence.h"
#include "platform/SocketTransfer.h"
#include "transport/FeedList.h"
#include "transport/GroupChoice.h"
#include "transport/MessageJoin.h"
#include "transport/RequestGate.h"
#include "transport/SequenceEventSet.h"
#include "transport/StreamLedger.h"
#include "transport/Thread.h"

// One pending request.
struct sSequenceEntry {
    enum State : unsigned int { kWaiting = 0, kAnswered = 1, kRefused = 2 };

    std::uint32_t sequence;
    sPacket* reply;           // the requester's record, or null: the reply then only completes the request
    std::uint32_t valid;      // a State
    std::uint32_t replyBytes; // bytes of the reply's data that the server really sent
};

// Source files by chapter: CommandServer (life and receive loop), CommandServerSend (framing),
// CommandServerInbound (from a datagram to its handling), CommandServerGroup (where it joins),
// CommandServerRequests (who waits for what), CommandServerReplies (from a reply to the request that it answers).
//
// Threads: the application's threads start, stop, send and call; the receive thread runs RunTask, the
// Dispose operations and through them the application's callbacks, with no lock held. Start and Stop are for
// one thread at a time.
//
// Lock order: m_mutex, then the event set's own lock, then a signal's. m_userDataLock and m_joinedLock are taken
// alone.
class CCommandServer {
public:
    // Keys of the pointers that are handed back to the application with its callbacks.
    enum DataType : int { DataType_Stream = 1, DataType_ForcePlate = 2 };

    CCommandServer() = default;
    // Frames go to these feeds as well, which outlive the endpoint.
    explicit CCommandServer(CFeedList* feeds) : m_feeds(feeds) {}
    ~CCommandServer();
    CCommandServer(const CCommandServer&) = delete;
    CCommandServer& operator=(const CCommandServer&) = delete;

    // ---- Life. 0 success, 1 failure. A start runs before anybody else is inside, and the end of a stop after
    // everybody has left: they touch without its lock what the lock guards.
    // Towards a server, or joined to a group: the address decides. Fails when already running.
    int Start(const char* localAddress, const char* address, int port, bool loopback) TARVO_NO_THREAD_SAFETY;
    // Bound to a local port; on an endpoint that has never had a peer, the sender of the first valid datagram
    // becomes it.
    int Start(const char* address, int port) TARVO_NO_THREAD_SAFETY;
    // Ends the receive thread, makes waiting requests fail with 1 and waits until they have returned. Forgets
    // the user data. 0. In a callback of its own, on the receive thread or on a thread that sends or requests,
    // it cannot wait: that is then left to a later stop or start, and it returns 1.
    int Stop();
    // The part of a stop that waits for nobody. From any thread.
    void BeginStop();
    // Whether a stop has begun that is still to be completed.
    bool IsStopping() const { return m_claimed && !m_running; }
    bool IsStopped() const { return !m_claimed; }

    // True when the text names a multicast group.
    static bool IsMulticast(const char* address);
    // 0 when the address (host byte order) is one of this host's, 1 otherwise.
    int IsLocalAddress(unsigned int address) const;
    // Callable in every state, from any thread. 0.
    int SetUserData(DataType type, void* value);

    // Where the next start towards a group joins it; the system's default unless it is told. For the thread that
    // starts.
    void JoinOn(const GroupChoice& choice) { m_choice = choice; }

    // ---- What the stream is like, from any thread, of the latest start. The feeds' values are left alone.
    void ReportStream(sStreamStatistics& statistics) const;
    // The times of the frame in hand; null outside its callbacks, and on other threads.
    const sFrameTimes* FrameInHand() const { return System::CPresence::Of(&m_times) ? &m_times : nullptr; }

    // The receive loop: returns when the endpoint stops.
    int RunTask();

    // ---- Sending. Cuts one message into datagrams; a stopped endpoint sends nothing. 0.
    int Send(int type, const unsigned char* data, int length, unsigned int sequence);

    // ---- Inbound, on the receive thread.
    // One datagram: 0 accepted, 1 rejected.
    int DisposeStream(const char* sender, unsigned int senderPort, unsigned char* datagram, unsigned int length);
    // One whole message: 0, or 1 when it cannot be decoded.
    int DisposePackage(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                       unsigned char* payload, unsigned int length);
    // A reply record for the request that it answers, copied under m_mutex: 0 delivered, 1 nobody waits.
    int DisposeResponse(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                        sPacket* record, unsigned int replyBytes = kPacketDataSize);
    // Wire order is host order: changes nothing.
    static void NtohPacketHeader(tagPackageHeader& /*header*/) {}

    // ---- Requests: 0 answered, 9 timed out, 1 any other failure. Block the calling thread.
    // The reply record is written by the receive thread until the call returns. replyBytes, if given,
    // receives how many bytes of its data the server really sent.
    int Call(int type, void* data, int length, sPacket* reply, unsigned int timeoutMs,
             unsigned int* replyBytes = nullptr);
    // Type 2.
    int Call(void* data, int length, sPacket* reply, unsigned int timeoutMs);
    // Type 2, with the endpoint's own record: the pointer stays valid until the next call of this form, and
    // callers of this form share the record. *replyLength is the record's length, bounded by what the record
    // holds (0 to 300000): a media image states it as its sender likes.
    int Call(void* data, int length, void** replyData, int* replyLength, unsigned int timeoutMs);

    // The table of pending requests; the caller holds the endpoint's mutex.
    int BuildSequence(unsigned int* sequence) TARVO_REQUIRES(m_mutex);
    unsigned int GetSequenceNumber() const TARVO_REQUIRES(m_mutex);
    int InsertSequence(unsigned int sequence, sPacket* reply) TARVO_REQUIRES(m_mutex);
    int RemoveSequence(unsigned int sequence) TARVO_REQUIRES(m_mutex);
    int SearchSequence(unsigned int sequence, sPacket*& reply, unsigned int& valid) TARVO_REQUIRES(m_mutex);
    int GetSequenceValid(unsigned int sequence, unsigned int& valid) TARVO_REQUIRES(m_mutex);
    int SetSequenceValid(unsigned int sequence, unsigned int valid) TARVO_REQUIRES(m_mutex);

    // Waits until the entry is answered; never 0 for one that is not.
    int WaitReply(unsigned int sequence, unsigned int timeoutMs);

private:
    static constexpr unsigned int kMaxLocalAddresses = 32;
    static constexpr unsigned int kAddressTextSize = 16; // of a dotted address
    static constexpr unsigned int kNoPort = 0;           // nothing comes from it

    // Life
    static const System::CSocketFacade& Facade();
    bool Claim();
    int StartWith(bool opened, int handle);
    int CreateResources() TARVO_NO_THREAD_SAFETY;
    int OpenPeerSocket(int& handle, bool loopback) TARVO_NO_THREAD_SAFETY;
    void WakeAndShutDown();
    void ShutDownSocket();
    void FinishStop() TARVO_NO_THREAD_SAFETY;
    bool ReceiveOnce();
    void HandleDatagram(const System::CDatagramBatch::Datagram& datagram);
    bool IsOwnDatagram(unsigned int sender, unsigned int senderPort) const;
    void* UserData(DataType type);

    // Group
    int OpenGroupSocket(int& handle, bool loopback) TARVO_NO_THREAD_SAFETY;
    int OpenOnDefault(int& handle, bool loopback) TARVO_NO_THREAD_SAFETY;
    void ShutDownGroupSocket() TARVO_NO_THREAD_SAFETY;
    System::HostInterfaces::Interface DefaultInterface() const TARVO_NO_THREAD_SAFETY;
    void TellJoined(const System::HostInterfaces::Interface& interface);
    void ReportInterface(sStreamStatistics& statistics) const;

    // Sending
    void SendMessage(int type, const unsigned char* data, int length, unsigned int sequence)
        TARVO_REQUIRES(m_mutex);

    // Inbound
    void LearnPeer(const char* sender, unsigned int senderPort);
    int DisposeFrame(const unsigned char* payload, unsigned int length);
    void HandOn(sFrameOfMocapData* frame, const unsigned char* payload, unsigned int length);
    int DisposeMedia(const char* sender, unsigned int senderPort, const tagPackageHeader& header,
                     const unsigned char* payload, unsigned int length);

    // Replies
    void DisposeReply(const tagPackageHeader& header, const unsigned char* payload, unsigned int length);
    template <typename Fill>
    int Complete(std::uint32_t sequence, unsigned int replyBytes, const Fill& fill);

    // Requests
    int Register(sPacket* reply, unsigned int& sequence) TARVO_REQUIRES(m_mutex);
    sSequenceEntry* FindSequence(unsigned int sequence) TARVO_REQUIRES(m_mutex);

    // Constant.
    CFeedList* const m_feeds = nullptr;

    // Constant after start.
    GroupChoice m_choice;
    bool m_joinedChoice = false; // or the default instead
    bool m_multicast = false;
    bool m_learnsPeer = false;
    bool m_requestsReady = false;                                    // mutex and events are created
    unsigned int m_ownPort = kNoPort;                                // of this host's datagrams to the group
    std::array<unsigned int, kMaxLocalAddresses> m_localAddresses{}; // of this host, network byte order
    int m_localAddressCount = 0;

    // Atomic or with a lock of its own.
    std::atomic<bool> m_running{false};
    std::atomic<bool> m_claimed{false}; // from a start on until the end of its stop
    CRequestGate m_gate;                // who is inside Send and Call
    System::CSocketTransfer m_socket;

    CStreamLedger m_ledger; // written by the receive thread
    // A callback has taken long, or as many datagrams waited as one call takes.
    std::atomic<bool> m_mayBeFull{false};
    mutable System::CPlainMutex m_joinedLock;
    System::HostInterfaces::Interface m_joined TARVO_GUARDED_BY(m_joinedLock); // the one to tell of

    // Receive thread only.
    CMessageJoin m_join{m_ledger};
    sFrameTimes m_times{};     // of the frame in hand
    unsigned int m_sender = 0; // of the latest datagram, host byte order
    char m_senderText[kAddressTextSize] = "0.0.0.0";
    System::CDatagramBatch m_receiveArea;
    CBuffer m_joinArea; // m_join's

    // Guarded by m_mutex, which exists while the endpoint runs. The peer changes on an endpoint that learns it.
    System::CMutex m_mutex;
    std::string m_address TARVO_GUARDED_BY(m_mutex);
    unsigned int m_port TARVO_GUARDED_BY(m_mutex) = 0;
    std::list<sSequenceEntry> m_pending TARVO_GUARDED_BY(m_mutex);
    CBuffer m_sendArea TARVO_GUARDED_BY(m_mutex);
    CSequenceEventSet m_events; // one event for each pending request

    System::CPlainMutex m_userDataLock;
    std::array<void*, 2> m_userData TARVO_GUARDED_BY(m_userDataLock){}; // by DataType, from 1

    System::TThread<CCommandServer> m_thread;
    sPacket m_reply{}; // of the callers of the short form of Call
};

#endif
