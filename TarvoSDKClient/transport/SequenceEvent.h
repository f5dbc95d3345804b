// The wake-up event of one waiting request.
#ifndef TARVO_TRANSPORT_SEQUENCE_EVENT_H
#define TARVO_TRANSPORT_SEQUENCE_EVENT_H

#include "platform/Signal.h"

// Created by the thread that makes the request and destroyed when no thread uses it any more; signalled and
// waited for from any thread. Operations on an event that is not created report and return 1.
class CSequenceEvent {
public:
    CSequenceEvent() = default;
    virtual ~CSequenceEvent() {} // NOLINT(modernize-use-equals-default): empty, and the one virtual operation
    CSequenceEvent(const CSequenceEvent&) = delete;
    CSequenceEvent& operator=(const CSequenceEvent&) = delete;

    int create(unsigned int sequence); // 0, 1
    int destroy();                     // 0, 1; wakes a waiter first
    int is(unsigned int sequence) const { return m_sequence == sequence ? 0 : 1; }
    int signal();                     // 0, 1
    int wait(unsigned int timeoutMs); // 0 signalled, 9 timed out, 1 failure

private:
    unsigned int m_sequence = 0; // 0: not created
    System::CSignal m_waitSignal;
};

#endif
