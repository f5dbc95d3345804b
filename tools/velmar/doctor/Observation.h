// What arrives on the data port for a while.
#ifndef VELMAR_DOCTOR_OBSERVATION_H
#define VELMAR_DOCTOR_OBSERVATION_H

#include <chrono>
#include <map>
#include <set>

#include "wire/Messages.h"

// A tally of the stream. Each interface is taken as a stream of its own, for one that comes twice would
// otherwise look broken.
class Observation {
public:
    // Listens on the socket, whose arrivals are stamped, so long or until a signal arrives.
    void Listen(UdpSocket& socket, std::chrono::nanoseconds duration);

    // The fragments of the longest message that never came, in ascending order.
    std::vector<unsigned int> MissingFragments() const;

    // Whether some messages came in part only.
    bool HasBrokenMessages() const { return broken + unfinished > 0; }

    long long datagrams = 0;
    long long foreign = 0;       // without this protocol's header
    long long repeated = 0;      // that came twice in a row
    long long broken = 0;        // that did not continue a message
    long long unfinished = 0;    // messages that another one began in the middle of
    long long frames = 0;        // whole ones
    long long otherMessages = 0; // whole ones that are no frame or cannot be decoded
    std::string latestOther;     // of those
    std::size_t longest = 0;     // payload bytes of a whole one
    std::set<std::string> senders;
    std::size_t largest = 0; // bytes of a datagram
    std::map<unsigned int, long long> byInterface;
    std::map<unsigned int, long long> byFragment;
    unsigned int fragmentsOfLongest = 0;
    std::chrono::nanoseconds silenceAtEnd{}; // since the latest datagram

private:
    void Add(const sockaddr_in& from, unsigned int interface, Bytes datagram);
    void AddMessage(const Message& message);

    // Of an interface: what has come last, and whether a message is incomplete with it.
    struct Stream {
        MessageJoiner joiner;
        std::vector<unsigned char> last{};
        bool begun = false; // before, what comes is the end of a message that began earlier
        bool open = false;
    };
    void Join(Stream& stream, const tagPackageHeader& header, const sockaddr_in& from, Bytes datagram);

    std::map<unsigned int, Stream> m_streams;
};

#endif
