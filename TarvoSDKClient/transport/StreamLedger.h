// What has happened to the datagrams and frames of an endpoint since its start.
#ifndef TARVO_TRANSPORT_STREAM_LEDGER_H
#define TARVO_TRANSPORT_STREAM_LEDGER_H

#include <cstdint>
#include <span>

#include "TarvoStream.h"
#include "platform/Counter.h"
#include "platform/DatagramBatch.h"
#include "platform/Histogram.h"
#include "transport/MessageAccount.h"
#include "transport/NumberAccount.h"

// The receive thread writes, without a lock and without a call to the system but for the clocks; any thread reads.
class CStreamLedger {
public:
    CStreamLedger() : m_messages(m_numbers) {}

    // Before the receive thread starts; with what the socket was asked for and has got.
    void Reset(std::uint64_t bufferAsked, std::uint64_t bufferGranted);

    // ---- The datagram in hand
    void Received(const System::CDatagramBatch::Datagram& datagram);
    void IsTooShort() { m_tooShort.Add(1); }
    void HasWrongLength() { m_wrongLength.Add(1); }
    void IsForeign() { m_foreign.Add(1); }
    void CameWhole(unsigned int next);
    void Begins(const tagPackageHeader& header, CMessageAccount::Bytes payload, unsigned int next);
    CMessageAccount& Messages() { return m_messages; }

    // ---- The frame in hand
    // Its body, which need not be long enough to have a number.
    void IsUndecodable(CMessageAccount::Bytes body);
    // Before its first callback.
    sFrameTimes Deliver(std::int32_t number);
    // Behind its last one. How long they took.
    std::int64_t LeftCallbacks(const sFrameTimes& times);
    void PushedOutOfQueue() { m_queueDropped.Add(1); }

    // ---- The socket
    void SawWaiting(std::uint64_t bytes) { m_bufferFullest.Raise(bytes); }

    // All but what is the feeds' and the interface's.
    void Report(sStreamStatistics& statistics) const;

private:
    void ReportTimes(sStreamStatistics& statistics) const;

    // Receive thread only. Wall clock; 0: not stamped.
    std::int64_t m_stampNs = 0;         // of the datagram in hand
    std::int64_t m_firstStampNs = 0;    // of the first one of the message in hand
    std::int64_t m_latestArrivalNs = 0; // of the latest frame that was delivered
    std::uint32_t m_toldDropped = 0;    // the kernel's number of dropped datagrams, which wraps around
    CNumberAccount m_numbers;
    CMessageAccount m_messages;

    System::CCounter m_datagrams, m_bytes, m_tooShort, m_wrongLength, m_foreign, m_kernelDropped;
    System::CCounter m_undecodable, m_queueDropped;
    System::CCounter m_callbacks, m_callbackNs, m_callbackLargestNs;
    System::CCounter m_bufferAsked, m_bufferGranted, m_bufferFullest;
    System::CHistogram m_intervals, m_delays;
};

#endif
