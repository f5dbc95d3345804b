// Which frame numbers of a stream are missing, and why.
#ifndef TARVO_TRANSPORT_NUMBER_ACCOUNT_H
#define TARVO_TRANSPORT_NUMBER_ACCOUNT_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "TarvoStream.h"
#include "platform/Counter.h"

// Told, in the order of arrival, of every frame that came whole or in part and of every datagram that the kernel
// dropped. A number that is left out between two frames is put down to what was seen between them: to a message
// whose number is not known, to the kernel's drops, or to nothing. Every missing number has lost a datagram at
// least, so drops explain no more numbers than there were drops.
//
// The receive thread tells, any thread reads the counts.
class CNumberAccount {
public:
    enum class Cause : std::uint8_t { kTooSlow, kIncomplete, kUndecodable, kNeverSeen };

    void Reset();

    // ---- In the order of arrival
    void KernelDropped(std::uint64_t datagrams) { m_drops += datagrams; }
    void MessageBegins() { m_dropsBefore = m_drops; }
    void Delivered(std::int32_t number);
    // The frame in hand has come, and cannot be decoded.
    void Undecodable(std::int32_t number);
    // The frame in hand cannot be completed.
    void Abandoned(std::int32_t number);
    // Neither can one whose beginning has not come.
    void AbandonedUnknown();
    // The same while another message is in hand, which may still be completed.
    void AbandonedUnknownBehind();
    // The latest of these turns out to be the frame in hand.
    void WasNotUnknown();

    void Report(sStreamStatistics& statistics) const;

private:
    // What is known of a number.
    enum class State : std::uint8_t { kUnknown, kDelivered, kMissing };
    struct Entry {
        State state = State::kUnknown;
        Cause cause = Cause::kNeverSeen;
    };

    // Numbers behind the latest one that are remembered: farther than a network delays a datagram.
    static constexpr std::int32_t kRemembered = 256;
    // A number that comes again so close behind is a repetition, one farther back a new beginning.
    static constexpr std::int32_t kRepetition = 16;
    // A frame that was not delivered whole is believed its number only so far ahead: it may be damaged.
    static constexpr std::int32_t kPlausible = 4096;

    Entry& At(std::int32_t number) { return m_entries[static_cast<std::uint32_t>(number) % kRemembered]; }
    std::int32_t Ahead(std::int32_t number) const;
    void AdvanceTo(std::int32_t number);
    void SkipTo(std::int32_t number);
    void Miss(std::uint32_t from, std::uint64_t count, Cause cause);
    void Lost(std::int32_t number, Cause cause);
    void CameBehind(std::int32_t number, std::int32_t ahead);
    void CameAgain(std::int32_t number);
    void BeginAt(std::int32_t number);
    void ForgetEvidence();

    // Receive thread only.
    bool m_started = false;
    std::int32_t m_latest = 0; // the highest number since the latest new beginning
    std::array<Entry, kRemembered> m_entries{};
    bool m_cameAgain = false; // the latest frame was a repetition, of this number
    std::int32_t m_repeated = 0;
    // Since the latest frame:
    std::uint64_t m_drops = 0;          // datagrams that the kernel dropped
    std::uint64_t m_dropsBefore = 0;    // of these, before the message in hand
    std::uint64_t m_unknownTooSlow = 0; // abandoned messages without a number, by what was missing of them
    std::uint64_t m_unknownIncomplete = 0;
    bool m_unknownIsTooSlow = false; // the latest one of these
    // Of these, came while another message was in hand, whose frame comes before them.
    std::uint64_t m_behindTooSlow = 0;
    std::uint64_t m_behindIncomplete = 0;

    System::CCounter m_delivered;
    System::CCounter m_framesRepeated;
    System::CCounter m_wentBack;
    std::array<System::CCounter, 4> m_missing; // by Cause
};

#endif
