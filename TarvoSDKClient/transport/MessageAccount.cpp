#include "transport/MessageAccount.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <string_view>

namespace {

std::size_t Hash(CMessageAccount::Bytes bytes) {
    return std::hash<std::string_view>{}({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

unsigned int FragmentsOf(std::uint32_t totalLength) {
    const std::size_t fragments = (std::size_t{totalLength} + kMaxFragmentPayload - 1) / kMaxFragmentPayload;
    return static_cast<unsigned int>(std::min(fragments, kMaxFragments));
}

// A frame's number stands at the beginning of its body.
bool ReadNumber(std::uint8_t type, CMessageAccount::Bytes start, std::int32_t& number) {
    if (type != PackageType_Frame || start.size() < sizeof number) return false;
    std::memcpy(&number, start.data(), sizeof number);
    return true;
}

} // namespace

void CMessageAccount::Reset() {
    m_begun = false;
    m_isRepetition = false;
    m_key = {};
    m_lastIndex = 0;
    ForgetAbandoned();
    for (System::CCounter* counter : {&m_incomplete, &m_outOfOrder, &m_fragmentsRepeated}) counter->Set(0);
}

void CMessageAccount::ForgetAbandoned() {
    for (Abandoned& message : m_abandoned) message.fragments = 0;
    m_wholeSince = false;
    m_stray = {};
}

void CMessageAccount::CameWhole(unsigned int next) {
    Settle();
    if (next > 0) Abandon(next);
    if (m_wholeSince) ForgetAbandoned();
    m_wholeSince = true;
    m_lastIndex = 0;
    m_begun = true;
    m_isRepetition = false;
    m_key = {};
    m_numbers.MessageBegins();
}

void CMessageAccount::Begins(const tagPackageHeader& header, Bytes payload, unsigned int next) {
    Key key{header.totalLength, header.type, {}};
    std::memcpy(key.start.data(), payload.data(), std::min(payload.size(), key.start.size()));
    const bool comesAgain = m_begun && key == m_key;
    if (comesAgain) m_fragmentsRepeated.Add(1);
    if (comesAgain && next > 0) return;
    Settle();
    if (next > 0) Abandon(next);
    m_isRepetition = comesAgain;
    m_begun = true;
    m_key = key;
    m_lastIndex = 0;
    m_numbers.MessageBegins();
}

void CMessageAccount::IsJoined(const tagPackageHeader& header) {
    m_lastIndex = header.fragmentIndex;
    if (m_isRepetition) m_fragmentsRepeated.Add(m_lastIndex); // beside the first one
    ForgetAbandoned();
}

// The message in hand, of which the fragments before `next` have come.
void CMessageAccount::Abandon(unsigned int next) {
    if (m_isRepetition) {
        m_fragmentsRepeated.Add(next - 1); // beside the first one
        return;
    }
    const bool continuesEarly = TakeEarly(next);
    Abandoned& message = Keep(m_key.totalLength);
    for (unsigned int i = 0; i < next; ++i) message.seen.set(i);
    message.latest = next - 1;
    m_incomplete.Add(1);
    std::int32_t number = 0;
    if (ReadNumber(m_key.type, m_key.start, number)) m_numbers.Abandoned(number);
    if (continuesEarly) See(message, next);
}

// Whether the fragment that the message in hand waits for came right before it began, and counted as a message
// without a beginning: it is none then.
bool CMessageAccount::TakeEarly(unsigned int next) {
    const bool isEarly = m_stray.message == &m_abandoned[m_newest] && m_stray.index == next &&
                         m_stray.message->totalLength == m_key.totalLength && m_stray.message->seen.count() == 1;
    if (!isEarly) return false;
    m_incomplete.Take(1);
    if (m_key.type == PackageType_Frame) m_numbers.WasNotUnknown();
    *m_stray.message = {};
    m_stray = {};
    return true;
}

CMessageAccount::Abandoned& CMessageAccount::Keep(std::uint32_t totalLength) {
    m_newest = (m_newest + 1) % kKept;
    if (m_stray.message == &m_abandoned[m_newest]) m_stray = {};
    m_abandoned[m_newest] = {totalLength, FragmentsOf(totalLength), 0, {}};
    m_wholeSince = false;
    return m_abandoned[m_newest];
}

// The join passes over a fragment with the index of its latest one, whatever is in it.
void CMessageAccount::DoesNotFit(const tagPackageHeader& header, Bytes payload, unsigned int next, Bytes joined) {
    const bool endsJoined =
        payload.size() <= joined.size() && std::ranges::equal(payload, joined.last(payload.size()));
    const bool hasLatestIndex = header.fragmentIndex + 1U == next;
    const bool isLastAgain = next == 0 && m_lastIndex != 0 && header.fragmentIndex == m_lastIndex &&
                             header.totalLength == joined.size();
    if (endsJoined && (hasLatestIndex || isLastAgain)) {
        m_fragmentsRepeated.Add(1);
        return;
    }
    if (hasLatestIndex) {
        m_incomplete.Add(1);
        if (header.type == PackageType_Frame) m_numbers.AbandonedUnknownBehind();
        return;
    }
    m_lastIndex = 0;
    if (next > 0) Abandon(next);
    if (m_begun) Place(header, Hash(payload));
}

void CMessageAccount::Place(const tagPackageHeader& header, std::size_t contents) {
    if (header.fragmentIndex == m_stray.index + 1) Settle();
    if (Abandoned* const message = Continued(header)) {
        Put(*message, header, contents, false);
    } else if (Abandoned* const older = Lacking(header)) {
        Put(*older, header, contents, true);
    } else if (IsRepeated(header, contents)) {
        m_fragmentsRepeated.Add(1);
    } else {
        PlaceAlone(header, contents);
    }
}

// In a message of its own, with the fragment before it when that was taken for a late one.
void CMessageAccount::PlaceAlone(const tagPackageHeader& header, std::size_t contents) {
    const bool withBefore = TellsOfItsOwnMessage(header);
    if (withBefore) Withdraw();
    const unsigned int before = m_stray.index;
    Abandoned& message = MakeUnknown(header);
    if (withBefore) message.seen.set(before);
    Put(message, header, contents, false);
}

// The newest one, when the fragment is the next behind its latest.
CMessageAccount::Abandoned* CMessageAccount::Continued(const tagPackageHeader& header) {
    Abandoned& newest = m_abandoned[m_newest];
    const bool fits = newest.totalLength == header.totalLength && header.fragmentIndex < newest.fragments &&
                      header.fragmentIndex == newest.latest + 1 && !newest.seen.test(header.fragmentIndex);
    return fits ? &newest : nullptr;
}

// The oldest one without the fragment.
CMessageAccount::Abandoned* CMessageAccount::Lacking(const tagPackageHeader& header) {
    for (std::size_t i = 1; i <= kKept; ++i) {
        Abandoned& message = m_abandoned[(m_newest + i) % kKept];
        if (message.totalLength == header.totalLength && header.fragmentIndex < message.fragments &&
            !message.seen.test(header.fragmentIndex))
            return &message;
    }
    return nullptr;
}

bool CMessageAccount::IsRepeated(const tagPackageHeader& header, std::size_t contents) const {
    return m_stray.message != nullptr && m_stray.index == header.fragmentIndex &&
           m_stray.message->totalLength == header.totalLength && m_stray.contents == contents;
}

// Whether the fragment before it was not a late one, but of the same message as this one.
bool CMessageAccount::TellsOfItsOwnMessage(const tagPackageHeader& header) const {
    return m_stray.message != nullptr && m_stray.wasLacking && header.fragmentIndex == m_stray.index + 1 &&
           m_stray.message->totalLength == header.totalLength;
}

CMessageAccount::Abandoned& CMessageAccount::MakeUnknown(const tagPackageHeader& header) {
    m_incomplete.Add(1);
    if (header.type == PackageType_Frame) m_numbers.AbandonedUnknown();
    return Keep(header.totalLength);
}

void CMessageAccount::Put(Abandoned& message, const tagPackageHeader& header, std::size_t contents, bool lacking) {
    m_stray = {&message, header.fragmentIndex, contents, lacking};
    See(message, header.fragmentIndex);
}

// A message that has all its fragments then was out of order, nothing more.
void CMessageAccount::See(Abandoned& message, unsigned int index) {
    message.seen.set(index);
    message.latest = index;
    if (message.seen.count() != message.fragments) return;
    m_incomplete.Take(1);
    m_outOfOrder.Add(1);
}

// Gives what was taken for an older message's late fragment to the newest abandoned one, when that lacks it as
// well: behind a late one, the newest message would have gone on where it was interrupted, and neither with the
// fragment behind it nor with another message.
void CMessageAccount::Settle() {
    Abandoned& newest = m_abandoned[m_newest];
    if (m_stray.message == nullptr || !m_stray.wasLacking || m_stray.message == &newest) return;
    if (newest.totalLength != m_stray.message->totalLength || newest.seen.test(m_stray.index)) return;
    Withdraw();
    newest.seen.set(m_stray.index);
    newest.latest = m_stray.index;
    m_stray = {};
}

// Takes the latest stray fragment out of the message that it was put to.
void CMessageAccount::Withdraw() {
    Abandoned& message = *m_stray.message;
    if (message.seen.count() == message.fragments) {
        m_incomplete.Add(1);
        m_outOfOrder.Take(1);
    }
    message.seen.reset(m_stray.index);
}

void CMessageAccount::Report(sStreamStatistics& statistics) const {
    statistics.messagesIncomplete = m_incomplete.Get();
    statistics.messagesOutOfOrder = m_outOfOrder.Get();
    statistics.fragmentsRepeated = m_fragmentsRepeated.Get();
}
