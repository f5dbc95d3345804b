#include "transport/NumberAccount.h"

#include <algorithm>
#include <utility>

void CNumberAccount::Reset() {
    m_started = false;
    m_entries.fill({});
    m_cameAgain = false;
    m_behindTooSlow = 0;
    m_behindIncomplete = 0;
    ForgetEvidence();
    for (System::CCounter* counter : {&m_delivered, &m_framesRepeated, &m_wentBack}) counter->Set(0);
    for (System::CCounter& missing : m_missing) missing.Set(0);
}

void CNumberAccount::ForgetEvidence() {
    m_drops = 0;
    m_dropsBefore = 0;
    m_unknownTooSlow = std::exchange(m_behindTooSlow, 0);
    m_unknownIncomplete = std::exchange(m_behindIncomplete, 0);
}

// By the shortest way around the numbers' range.
std::int32_t CNumberAccount::Ahead(std::int32_t number) const {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number) - static_cast<std::uint32_t>(m_latest));
}

void CNumberAccount::Delivered(std::int32_t number) {
    m_delivered.Add(1);
    const std::int32_t ahead = Ahead(number);
    if (m_started && ahead <= 0) {
        CameBehind(number, ahead);
        return;
    }
    m_cameAgain = false;
    AdvanceTo(number);
    At(number) = {State::kDelivered, {}};
    ForgetEvidence();
}

void CNumberAccount::Undecodable(std::int32_t number) { Lost(number, Cause::kUndecodable); }

// What the kernel dropped since the message began was part of it.
void CNumberAccount::Abandoned(std::int32_t number) {
    Lost(number, m_drops > m_dropsBefore ? Cause::kTooSlow : Cause::kIncomplete);
}

void CNumberAccount::AbandonedUnknown() {
    m_unknownIsTooSlow = m_drops > 0;
    if (!m_unknownIsTooSlow) {
        ++m_unknownIncomplete;
        return;
    }
    --m_drops;
    ++m_unknownTooSlow;
}

void CNumberAccount::AbandonedUnknownBehind() {
    ++(m_drops > m_dropsBefore ? m_behindTooSlow : m_behindIncomplete);
}

void CNumberAccount::WasNotUnknown() {
    std::uint64_t& unknown = m_unknownIsTooSlow ? m_unknownTooSlow : m_unknownIncomplete;
    if (unknown == 0) return; // a frame has come since
    --unknown;
    if (m_unknownIsTooSlow) ++m_drops;
}

void CNumberAccount::Lost(std::int32_t number, Cause cause) {
    const std::int32_t ahead = Ahead(number);
    if (m_started && (ahead <= 0 || ahead > kPlausible)) return;
    const std::uint64_t inside = m_drops - std::min(m_drops, m_dropsBefore);
    AdvanceTo(number);
    At(number) = {State::kMissing, cause};
    m_missing[static_cast<std::size_t>(cause)].Add(1);
    ForgetEvidence();
    m_drops = cause == Cause::kTooSlow ? inside - 1 : inside; // those behind it may explain what follows
}

void CNumberAccount::AdvanceTo(std::int32_t number) {
    if (m_started) SkipTo(number);
    m_started = true;
    m_latest = number;
}

// Gives every number between the latest and this one its cause.
void CNumberAccount::SkipTo(std::int32_t number) {
    std::uint64_t left = static_cast<std::uint64_t>(Ahead(number)) - 1;
    std::uint32_t from = static_cast<std::uint32_t>(m_latest) + 1;
    const auto take = [&](std::uint64_t most, Cause cause) {
        const std::uint64_t count = std::min(left, most);
        Miss(from, count, cause);
        from += static_cast<std::uint32_t>(count);
        left -= count;
    };
    take(m_unknownIncomplete, Cause::kIncomplete);
    take(m_unknownTooSlow + std::min(m_drops, m_dropsBefore), Cause::kTooSlow);
    take(left, Cause::kNeverSeen);
}

void CNumberAccount::Miss(std::uint32_t from, std::uint64_t count, Cause cause) {
    m_missing[static_cast<std::size_t>(cause)].Add(count);
    const std::uint64_t skipped = count - std::min<std::uint64_t>(count, kRemembered);
    for (std::uint64_t i = skipped; i < count; ++i)
        At(static_cast<std::int32_t>(from + static_cast<std::uint32_t>(i))) = {State::kMissing, cause};
}

// A frame that is not ahead of the latest: late, come again, or the first after a new beginning.
void CNumberAccount::CameBehind(std::int32_t number, std::int32_t ahead) {
    const Entry entry = ahead > -kRemembered ? At(number) : Entry{};
    if (entry.state == State::kMissing) {
        m_missing[static_cast<std::size_t>(entry.cause)].Take(1);
        At(number) = {State::kDelivered, {}};
        if (ahead < 0) m_wentBack.Add(1);
    } else if (entry.state == State::kDelivered && ahead > -kRepetition) {
        CameAgain(number);
    } else {
        m_wentBack.Add(1);
        BeginAt(number);
    }
}

// Numbers that come again one after the other are those of a server that has begun anew.
void CNumberAccount::CameAgain(std::int32_t number) {
    const bool goesOn =
        m_cameAgain && static_cast<std::uint32_t>(number) == static_cast<std::uint32_t>(m_repeated) + 1;
    m_cameAgain = !goesOn;
    m_repeated = number;
    if (!goesOn) {
        m_framesRepeated.Add(1);
        return;
    }
    m_framesRepeated.Take(1);
    m_wentBack.Add(1);
    BeginAt(number);
}

void CNumberAccount::BeginAt(std::int32_t number) {
    m_entries.fill({});
    m_latest = number;
    At(number) = {State::kDelivered, {}};
    ForgetEvidence();
}

void CNumberAccount::Report(sStreamStatistics& statistics) const {
    const auto missing = [&](Cause cause) { return m_missing[static_cast<std::size_t>(cause)].Get(); };
    statistics.framesDelivered = m_delivered.Get();
    statistics.framesRepeated = m_framesRepeated.Get();
    statistics.numbersWentBack = m_wentBack.Get();
    statistics.missingTooSlow = missing(Cause::kTooSlow);
    statistics.missingIncomplete = missing(Cause::kIncomplete);
    statistics.missingUndecodable = missing(Cause::kUndecodable);
    statistics.missingNeverSeen = missing(Cause::kNeverSeen);
}
