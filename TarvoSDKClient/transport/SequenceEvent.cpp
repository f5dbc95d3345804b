#include "transport/SequenceEvent.h"

#include "platform/Reports.h"

int CSequenceEvent::create(unsigned int sequence) {
    if (m_sequence != 0) Report::Warning();
    const int result = m_waitSignal.create();
    if (result == 0) m_sequence = sequence;
    return result;
}

int CSequenceEvent::destroy() {
    if (m_sequence == 0) {
        Report::Failed();
        return 1;
    }
    m_sequence = 0;
    m_waitSignal.signal();
    m_waitSignal.destroy();
    return 0;
}

int CSequenceEvent::signal() {
    if (m_sequence == 0) {
        Report::Failed();
        return 1;
    }
    return m_waitSignal.signal();
}

int CSequenceEvent::wait(unsigned int timeoutMs) {
    if (m_sequence == 0) {
        Report::Failed();
        return 1;
    }
    return m_waitSignal.wait(timeoutMs);
}
