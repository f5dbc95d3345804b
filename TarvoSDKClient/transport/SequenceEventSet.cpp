#include "transport/SequenceEventSet.h"

#include <algorithm>
#include <memory>
#include <new>

using System::CGuard;

int CSequenceEventSet::initialize() {
    if (m_listLock.create() != 0) return 1;
    const CGuard guard(&m_listLock);
    ReleaseAll();
    return 0;
}

int CSequenceEventSet::destroy() {
    {
        const CGuard guard(&m_listLock);
        ReleaseAll();
    }
    return m_listLock.destroy();
}

int CSequenceEventSet::create(unsigned int sequence) {
    std::unique_ptr<CSequenceEvent> event(new (std::nothrow) CSequenceEvent);
    if (event == nullptr || event->create(sequence) != 0) return 1;
    try {
        const CGuard guard(&m_listLock);
        m_eventList.push_back(event.get());
    } catch (const std::bad_alloc&) {
        event->destroy();
        return 1;
    }
    static_cast<void>(event.release());
    return 0;
}

int CSequenceEventSet::destroy(unsigned int sequence) {
    const CGuard guard(&m_listLock);
    const auto found = std::find_if(m_eventList.begin(), m_eventList.end(),
                                    [=](const CSequenceEvent* event) { return event->is(sequence) == 0; });
    if (found == m_eventList.end()) return 1;
    const std::unique_ptr<CSequenceEvent> event(*found);
    m_eventList.erase(found);
    event->destroy();
    return 0;
}

int CSequenceEventSet::signal(unsigned int sequence) {
    CSequenceEvent* const event = get(sequence);
    return event == nullptr ? 1 : event->signal();
}

int CSequenceEventSet::signal() {
    const CGuard guard(&m_listLock);
    for (CSequenceEvent* event : m_eventList) event->signal();
    return 0;
}

int CSequenceEventSet::wait(unsigned int sequence, unsigned int timeoutMs) {
    CSequenceEvent* const event = get(sequence);
    return event == nullptr ? 1 : event->wait(timeoutMs);
}

CSequenceEvent* CSequenceEventSet::get(unsigned int sequence) {
    const CGuard guard(&m_listLock);
    for (CSequenceEvent* event : m_eventList)
        if (event->is(sequence) == 0) return event;
    return nullptr;
}

unsigned int CSequenceEventSet::count() {
    const CGuard guard(&m_listLock);
    return static_cast<unsigned int>(m_eventList.size());
}

void CSequenceEventSet::ReleaseAll() {
    for (CSequenceEvent* event : m_eventList) {
        event->destroy();
        delete event;
    }
    m_eventList.clear();
}
