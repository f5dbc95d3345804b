// Which messages of a stream could not be joined, and why.
#ifndef TARVO_TRANSPORT_MESSAGE_ACCOUNT_H
#define TARVO_TRANSPORT_MESSAGE_ACCOUNT_H

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <span>

#include "TarvoStream.h"
#include "TarvoWire.h"
#include "platform/Counter.h"
#include "transport/NumberAccount.h"

// Told of every datagram that the join does not simply append to the message in hand. A fragment that does not fit
// says which message it belongs to by its index and the message's length alone, so it is put where it fits best:
// to the latest abandoned message that it continues, else to an older one that lacks it, else to a message of its
// own, whose beginning never came. What was taken for a late fragment turns out to be such a message's when its
// next one follows.
//
// The receive thread tells, any thread reads the counts.
class CMessageAccount {
public:
    using Bytes = std::span<const unsigned char>;

    explicit CMessageAccount(CNumberAccount& numbers) : m_numbers(numbers) {}
    CMessageAccount(const CMessageAccount&) = delete;
    CMessageAccount& operator=(const CMessageAccount&) = delete;

    void Reset();

    // ---- In the order of arrival. `next`: the index that would continue the message in hand, 0 without one.
    // The only datagram of a message.
    void CameWhole(unsigned int next);
    // The first of several.
    void Begins(const tagPackageHeader& header, Bytes payload, unsigned int next);
    // The message in hand has all its bytes.
    void IsJoined(const tagPackageHeader& header);
    // One that does not continue the message in hand; `joined` is what was joined of the latest one.
    void DoesNotFit(const tagPackageHeader& header, Bytes payload, unsigned int next, Bytes joined);

    void Report(sStreamStatistics& statistics) const;

private:
    static constexpr std::size_t kKept = 4; // abandoned messages whose late fragments are recognised
    static constexpr std::size_t kKeyBytes = 16;

    // What tells a message from another one of the same length.
    struct Key {
        std::uint32_t totalLength = 0;
        std::uint8_t type = 0;
        std::array<unsigned char, kKeyBytes> start{};
        bool operator==(const Key&) const = default;
    };

    struct Abandoned {
        std::uint32_t totalLength = 0;
        unsigned int fragments = 0; // 0: no message
        unsigned int latest = 0;    // index of the latest fragment that was put here
        std::bitset<kMaxFragments> seen;
    };

    // A fragment that did not fit, and where it was put.
    struct Stray {
        Abandoned* message = nullptr; // null: none
        unsigned int index = 0;
        std::size_t contents = 0; // a hash
        bool wasLacking = false;  // put to a message that it does not continue
    };

    void Abandon(unsigned int next);
    bool TakeEarly(unsigned int next);
    void Place(const tagPackageHeader& header, std::size_t contents);
    void PlaceAlone(const tagPackageHeader& header, std::size_t contents);
    Abandoned* Continued(const tagPackageHeader& header);
    Abandoned* Lacking(const tagPackageHeader& header);
    bool IsRepeated(const tagPackageHeader& header, std::size_t contents) const;
    bool TellsOfItsOwnMessage(const tagPackageHeader& header) const;
    Abandoned& MakeUnknown(const tagPackageHeader& header);
    Abandoned& Keep(std::uint32_t totalLength);
    void Put(Abandoned& message, const tagPackageHeader& header, std::size_t contents, bool lacking);
    void See(Abandoned& message, unsigned int index);
    void Settle();
    void Withdraw();
    void ForgetAbandoned();

    CNumberAccount& m_numbers;

    // Receive thread only.
    bool m_begun = false;         // a message has begun since the start; what came before lacks its beginning
    bool m_isRepetition = false;  // the message in hand is the latest one again
    Key m_key;                    // of the message in hand, or of the latest one
    unsigned int m_lastIndex = 0; // of the latest joined message, 0 when another one followed
    bool m_wholeSince = false;    // a message of one datagram came since the latest was abandoned
    std::array<Abandoned, kKept> m_abandoned{}; // a ring
    std::size_t m_newest = 0;
    Stray m_stray;

    System::CCounter m_incomplete;
    System::CCounter m_outOfOrder;
    System::CCounter m_fragmentsRepeated;
};

#endif
