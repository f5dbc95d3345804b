// The session between one application and one capture server.
#ifndef TARVO_CLIENT_CLIENT_CORE_H
#define TARVO_CLIENT_CLIENT_CORE_H

#include <atomic>
#include <string>

#include "TarvoStream.h"
#include "transport/CommandServer.h"

// Owns the two endpoints: the command endpoint, which carries every request and reply, and the data
// endpoint, joined to the group of the frame stream. Source files: ClientCore (start-up, shut-down,
// settings), ClientCoreQueries (what is asked of the server).
//
// Starting, stopping and the setters are for one application thread at a time; queries may run on several
// threads at once and block their caller, except that the two SendMessageAndWait forms do not overlap with
// themselves on one client. Addresses and texts must not be null unless the function says so. Results: 0
// success, 1 failure, 10 version refused.
class ClientCore {
public:
    explicit ClientCore(int connectionType); // 0: multicast
    ~ClientCore();
    ClientCore(const ClientCore&) = delete;
    ClientCore& operator=(const ClientCore&) = delete;

    // ---- Start-up and shut-down
    void Initialize(); // resets the settings without touching the endpoints
    int Initialize(char* localAddress, char* serverAddress);
    int Initialize(char* localAddress, char* serverAddress, int commandPort);
    int Initialize(char* localAddress, char* serverAddress, int commandPort, int dataPort); // local may be null
    // 0. In a callback of its own it reports the mistake and does not wait for what it is called from: what is
    // left is done by the start that is under way, or by the next start, shut-down or destruction.
    int Uninitialize();
    // False in a callback of its own, and after it has been shut down in one until a later start or shut-down: a
    // thread is still at work in it.
    bool CanBeDestroyed() const { return !IsStopping() && !InOwnCallback(); }

    // ---- Settings
    void setSDKSupport(bool supported) { m_sdkSupported = supported; }
    bool IsSDKSupport() const { return m_sdkSupported; }
    bool IsMulticast() const { return m_connectionType == 0; }
    void SetLoopBackEnabled(bool enabled) { m_loopBack = enabled; }
    void SetMulticastAddress(char* address); // the group of the next start
    void TarvoSDKVersion(unsigned char* version) const;
    // "": the one that faces the server. 0; 1 with a report, and nothing changed, for none of this host.
    int SetStreamInterface(const char* nameOrAddress);
    int SetVerbosityLevel(int level);
    int SetMessageCallback(tMessageCallback callback);
    int SetDataCallback(tFrameCallback callback, void* userData);
    int SetForcePlateCallback(tForcePlateCallback callback, void* userData);
    sFrameOfMocapData* GetLastFrameOfData();

    // ---- Queries, each up to 5000 ms
    int GetServerDescription(sServerDescription* description);
    int GetDataDescriptions(sDataDescriptions** descriptions);   // 0 with null when a reply is unusable
    int GetDataDescriptionsEx(sDataDescriptions** descriptions); // the same with the other request
    int WaitForForcePlateInit(long limitMs);                     // 0: without limit
    int FreeDataDescriptions(sDataDescriptions* descriptions);   // 1 for null
    int SendMessage(char* text);                                 // nothing is awaited
    int SendMessage1(char* text);
    // The reply text stays valid until the next call of this form or the client's end.
    int SendMessageAndWait(char* text, void** reply, int* replyLength);
    // Up to so many attempts; the last one's code, 9 timed out. The reply stays valid until the next call.
    int SendMessageAndWait(char* text, int attempts, int timeoutMs, void** reply, int* replyLength);

    // ---- The stream, from any thread
    CFeedList& Feeds() { return m_feeds; }
    sStreamStatistics GetStreamStatistics() const;
    // False outside the callbacks of a frame.
    bool GetFrameTimes(sFrameTimes& times) const;

    // ---- Timecode: always 1; pointers must be valid and the size at least 1
    int DecodeTimecode(unsigned int timecode, unsigned int subframe, int* hours, int* minutes, int* seconds,
                       int* frames, int* subframeOut) const;
    int TimecodeStringify(unsigned int timecode, unsigned int subframe, char* buffer, int bufferSize) const;

private:
    bool IsStopping() const { return m_command.IsStopping() || m_data.IsStopping(); }
    bool IsIdle() const { return m_command.IsStopped() && m_data.IsStopped(); }
    bool InOwnCallback() const;
    int StartSession(const char* serverAddress);
    int EndLater(bool inOwnStart);
    int ShakeHands();
    int RefuseVersion(const sPacket& reply);
    int JoinStream(const char* serverAddress);
    void ResetSettings();
    int RequestDescriptions(int type, sDataDescriptions** descriptions);

    std::atomic<bool> m_sdkSupported{false}; // a server has accepted the library's version; queries ask for it
    std::atomic<bool> m_initialised{false};  // both endpoints are running
    bool m_starting = false;                 // by the thread that is inside Initialize
    std::atomic<bool> m_endsLater{false};    // a callback of its own has shut it down since its latest start
    bool m_loopBack = false;
    int m_connectionType;
    int m_commandPort = kDefaultCommandPort;
    int m_dataPort = kDefaultDataPort;
    std::string m_lastReply;
    std::string m_localAddress;
    std::string m_multicastAddress;
    std::string m_streamInterface; // empty: the one that faces the server
    CFeedList m_feeds;
    CCommandServer m_command{&m_feeds};
    CCommandServer m_data{&m_feeds};
};

#endif
