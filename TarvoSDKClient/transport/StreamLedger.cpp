#include "transport/StreamLedger.h"

#include <algorithm>
#include <cstring>

#include "platform/Clock.h"

namespace {

constexpr double kMedian = 0.5;
constexpr double kP99 = 0.99;

// A wall clock that was set back between two readings makes their distance negative.
std::uint64_t Distance(std::int64_t fromNs, std::int64_t toNs) {
    return static_cast<std::uint64_t>(std::max<std::int64_t>(toNs - fromNs, 0));
}

} // namespace

void CStreamLedger::Reset(std::uint64_t bufferAsked, std::uint64_t bufferGranted) {
    m_stampNs = 0;
    m_firstStampNs = 0;
    m_latestArrivalNs = 0;
    m_toldDropped = 0;
    m_numbers.Reset();
    m_messages.Reset();
    for (System::CCounter* counter :
         {&m_datagrams, &m_bytes, &m_tooShort, &m_wrongLength, &m_foreign, &m_kernelDropped, &m_undecodable,
          &m_queueDropped, &m_callbacks, &m_callbackNs, &m_callbackLargestNs, &m_bufferFullest})
        counter->Set(0);
    m_intervals.Reset();
    m_delays.Reset();
    m_bufferAsked.Set(bufferAsked);
    m_bufferGranted.Set(bufferGranted);
}

void CStreamLedger::Received(const System::CDatagramBatch::Datagram& datagram) {
    m_datagrams.Add(1);
    m_bytes.Add(datagram.length);
    m_stampNs = datagram.stampNs;
    if (datagram.dropped == 0 || datagram.dropped == m_toldDropped) return;
    const std::uint32_t dropped = datagram.dropped - m_toldDropped;
    m_toldDropped = datagram.dropped;
    m_kernelDropped.Add(dropped);
    m_numbers.KernelDropped(dropped);
}

void CStreamLedger::CameWhole(unsigned int next) {
    m_firstStampNs = m_stampNs;
    m_messages.CameWhole(next);
}

void CStreamLedger::Begins(const tagPackageHeader& header, CMessageAccount::Bytes payload, unsigned int next) {
    m_firstStampNs = m_stampNs;
    m_messages.Begins(header, payload, next);
}

void CStreamLedger::IsUndecodable(CMessageAccount::Bytes body) {
    m_undecodable.Add(1);
    std::int32_t number = 0;
    if (body.size() < sizeof number) return;
    std::memcpy(&number, body.data(), sizeof number);
    m_numbers.Undecodable(number);
}

sFrameTimes CStreamLedger::Deliver(std::int32_t number) {
    m_numbers.Delivered(number);
    sFrameTimes times{m_firstStampNs, m_stampNs, 0, System::Now(CLOCK_MONOTONIC)};
    if (m_stampNs == 0) return times;
    const std::int64_t delayNs = System::Now(CLOCK_REALTIME) - m_stampNs;
    times.arrivalMonotonicNs = times.deliveryMonotonicNs - delayNs;
    m_delays.Add(Distance(0, delayNs));
    if (m_latestArrivalNs != 0) m_intervals.Add(Distance(m_latestArrivalNs, m_stampNs));
    m_latestArrivalNs = m_stampNs;
    return times;
}

std::int64_t CStreamLedger::LeftCallbacks(const sFrameTimes& times) {
    const std::uint64_t spentNs = Distance(times.deliveryMonotonicNs, System::Now(CLOCK_MONOTONIC));
    m_callbacks.Add(1);
    m_callbackNs.Add(spentNs);
    m_callbackLargestNs.Raise(spentNs);
    return static_cast<std::int64_t>(spentNs);
}

void CStreamLedger::Report(sStreamStatistics& statistics) const {
    statistics.datagrams = m_datagrams.Get();
    statistics.bytes = m_bytes.Get();
    statistics.rejectedTooShort = m_tooShort.Get();
    statistics.rejectedWrongLength = m_wrongLength.Get();
    statistics.rejectedForeign = m_foreign.Get();
    statistics.kernelDropped = m_kernelDropped.Get();
    statistics.messagesUndecodable = m_undecodable.Get();
    statistics.queueDropped = m_queueDropped.Get();
    statistics.receiveBufferAsked = m_bufferAsked.Get();
    statistics.receiveBufferGranted = m_bufferGranted.Get();
    statistics.receiveBufferFullest = m_bufferFullest.Get();
    m_messages.Report(statistics);
    m_numbers.Report(statistics);
    ReportTimes(statistics);
}

void CStreamLedger::ReportTimes(sStreamStatistics& statistics) const {
    statistics.intervalMedianNs = m_intervals.Quantile(kMedian);
    statistics.intervalP99Ns = m_intervals.Quantile(kP99);
    statistics.intervalLargestNs = m_intervals.Largest();
    statistics.delayMedianNs = m_delays.Quantile(kMedian);
    statistics.delayP99Ns = m_delays.Quantile(kP99);
    statistics.delayLargestNs = m_delays.Largest();
    const std::uint64_t callbacks = m_callbacks.Get();
    statistics.callbackMeanNs = callbacks == 0 ? 0 : m_callbackNs.Get() / callbacks;
    statistics.callbackLargestNs = m_callbackLargestNs.Get();
}
