// Which objects the calling thread is at work in, so that an object can tell a call out of its own callback.
#ifndef TARVO_PLATFORM_PRESENCE_H
#define TARVO_PLATFORM_PRESENCE_H

namespace System {

// One stay of a thread in an object. Lives on that thread's stack; stays nest.
class CPresence {
public:
    explicit CPresence(const void* object) : m_object(object), m_outer(s_innermost) { s_innermost = this; }
    ~CPresence() { s_innermost = m_outer; }
    CPresence(const CPresence&) = delete;
    CPresence& operator=(const CPresence&) = delete;

    // Whether the calling thread is inside the object.
    static bool Of(const void* object) {
        const CPresence* stay = s_innermost;
        while (stay != nullptr && stay->m_object != object) stay = stay->m_outer;
        return stay != nullptr;
    }

private:
    const void* m_object;
    const CPresence* m_outer;
    // Laid out when the library is loaded, so that reaching it needs nothing of the loader.
    static constinit thread_local const CPresence* s_innermost __attribute__((tls_model("initial-exec")));
};

} // namespace System

#endif
