// Counts who is inside an endpoint's sends and requests, so that stopping it can wait for them.
#ifndef TARVO_TRANSPORT_REQUEST_GATE_H
#define TARVO_TRANSPORT_REQUEST_GATE_H

#include <condition_variable>

#include "platform/PlainMutex.h"

// Closed after construction. Callable from any thread; opened and closed by the endpoint's owner.
class CRequestGate {
public:
    // One stay inside the gate. False as a condition when the gate was closed.
    class Passage {
    public:
        explicit Passage(CRequestGate& gate) : m_gate(gate.Enter() ? &gate : nullptr) {}
        ~Passage() {
            if (m_gate != nullptr) m_gate->Leave();
        }
        Passage(const Passage&) = delete;
        Passage& operator=(const Passage&) = delete;
        explicit operator bool() const { return m_gate != nullptr; }

    private:
        CRequestGate* m_gate;
    };

    void Open() {
        const System::CPlainGuard guard(m_lock);
        m_open = true;
    }

    // Nobody enters from here on.
    void Close() {
        const System::CPlainGuard guard(m_lock);
        m_open = false;
    }

    // Waits until everybody has left. The gate must be closed; it may be destroyed afterwards.
    void AwaitEmpty() {
        const System::CPlainGuard guard(m_lock);
        while (m_inside > 0) m_lock.Wait(m_emptied);
    }

private:
    bool Enter() {
        const System::CPlainGuard guard(m_lock);
        m_inside += m_open ? 1 : 0;
        return m_open;
    }
    // Under the lock to its end: whoever waits for it destroys the gate next.
    void Leave() {
        const System::CPlainGuard guard(m_lock);
        if (--m_inside == 0) m_emptied.notify_all();
    }

    System::CPlainMutex m_lock;
    std::condition_variable m_emptied;
    bool m_open TARVO_GUARDED_BY(m_lock) = false;
    unsigned int m_inside TARVO_GUARDED_BY(m_lock) = 0;
};

#endif
