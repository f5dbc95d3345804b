// An endpoint's wake-up events, one for each request in progress.
#ifndef TARVO_TRANSPORT_SEQUENCE_EVENT_SET_H
#define TARVO_TRANSPORT_SEQUENCE_EVENT_SET_H

#include <list>

#include "platform/Mutex.h"
#include "transport/SequenceEvent.h"

// Searched from the front: with a number that is present twice, the first event is used. The list's lock is
// held for a search only, never while a thread sleeps, and is taken after an endpoint's mutex where both are
// held. An event is released by whoever waits on it, or when nobody can wait any more.
class CSequenceEventSet {
public:
    CSequenceEventSet() = default;
    virtual ~CSequenceEventSet() {} // NOLINT(modernize-use-equals-default): empty, and the one virtual operation
    CSequenceEventSet(const CSequenceEventSet&) = delete;
    CSequenceEventSet& operator=(const CSequenceEventSet&) = delete;

    int initialize(); // 0, 1; also clears leftovers
    int destroy();    // 0; no thread may wait any more

    int create(unsigned int sequence);                       // 0, 1
    int destroy(unsigned int sequence);                      // 0, or 1 when absent
    int signal(unsigned int sequence);                       // 0, or 1 when absent
    int signal();                                            // 0; signals every event
    int wait(unsigned int sequence, unsigned int timeoutMs); // 0, 9, or 1 when absent
    CSequenceEvent* get(unsigned int sequence);              // null when absent
    unsigned int count();

private:
    void ReleaseAll() TARVO_REQUIRES(m_listLock);

    System::CMutex m_listLock;
    std::list<CSequenceEvent*> m_eventList TARVO_GUARDED_BY(m_listLock); // owned, in the order of creation
};

#endif
