// Counts who is inside an endpoint's sends and requests, so that stopping it can wait for them.
#ifndef TARVO_TRANSPORT_REQUEST_GATE_H
#define TARVO_TRANSPORT_REQUEST_GATE_H

#include <atomic>

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

    void Open() { m_state = 0; }

    // Nobody enters from here on.
    void Close() { m_state |= kClosed; }

    // Waits until everybody has left. The gate must be closed.
    void AwaitEmpty() {
        for (unsigned int state = m_state; state != kClosed; state = m_state) m_state.wait(state);
    }

private:
    bool Enter() {
        unsigned int state = m_state;
        while ((state & kClosed) == 0)
            if (m_state.compare_exchange_weak(state, state + 1)) return true;
        return false;
    }
    void Leave() {
        if (--m_state == kClosed) m_state.notify_all();
    }

    static constexpr unsigned int kClosed = 0x80000000;
    std::atomic<unsigned int> m_state{kClosed}; // the closed bit, and the number inside
};

#endif
