// From datagrams to the messages that they are the pieces of.
#ifndef TARVO_TRANSPORT_MESSAGE_JOIN_H
#define TARVO_TRANSPORT_MESSAGE_JOIN_H

#include <cstdint>

#include "TarvoWire.h"
#include "transport/StreamLedger.h"

// Keeps one unfinished message, whoever sends it, and tells the ledger of every datagram. One thread at a time.
class CMessageJoin {
public:
    static constexpr unsigned int kAreaSize = 524288; // bytes: more than the largest message

    enum class Outcome : std::uint8_t {
        kInvalid, // no datagram of the protocol
        kUnfit,   // a fragment that does not continue the message in hand
        kPart,    // the message in hand lacks more
        kWhole
    };

    struct Result {
        Outcome outcome;
        unsigned int number = 0; // of one that is refused: its length, or the value that is wrong
        tagPackageHeader header{};
        unsigned char* payload = nullptr; // of a whole message, valid until the next datagram
        unsigned int length = 0;
    };

    explicit CMessageJoin(CStreamLedger& ledger) : m_ledger(ledger) {}

    // Forgets the message in hand.
    void Reset() { m_expected = 0; }
    // Where fragments are joined. What does not fit is dropped, and its message never becomes whole.
    void Use(unsigned char* area, unsigned int size);

    Result Take(unsigned char* datagram, unsigned int length);

private:
    bool HasHeader(const unsigned char* datagram, unsigned int length, Result& result);
    bool Expects(const tagPackageHeader& header, const unsigned char* payload);
    void Append(const unsigned char* payload, unsigned int length);

    CStreamLedger& m_ledger;
    unsigned char* m_area = nullptr;
    unsigned int m_size = 0;
    unsigned int m_joined = 0;   // bytes
    std::uint8_t m_expected = 0; // index of the fragment that would continue it, 0 when there is none
};

#endif
