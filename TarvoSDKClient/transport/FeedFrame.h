// A frame as feeds keep it.
#ifndef TARVO_TRANSPORT_FEED_FRAME_H
#define TARVO_TRANSPORT_FEED_FRAME_H

#include <atomic>
#include <cstdint>

#include "TarvoStream.h"

// The frame's message body with what belongs to it, in one piece of memory, shared by the feeds that hold it.
// Constant once it is made; whoever drops the last reference releases it.
class CFeedFrame {
public:
    // The frame in hand of a receive thread.
    struct Source {
        const unsigned char* body; // its message
        unsigned int length;
        sFrameOfMocapData* frame;   // what it was decoded to, as it stands
        bool isAsReceived;          // nobody can have changed the record since
        const sForcePlates* plates; // null: none were computed
        sFrameTimes times;
    };

    // With one reference. Null when memory runs out, or when the record is no frame.
    static CFeedFrame* Make(const Source& source);

    void Hold() { m_references.fetch_add(1, std::memory_order_relaxed); }
    void Drop();

    // Into a record whose former contents are not looked at; plates and times may be null. False when memory ran
    // out: the record is zero then.
    bool Open(sFrameOfMocapData& frame, sForcePlates* plates, sFrameTimes* times) const;

private:
    CFeedFrame() = default;
    ~CFeedFrame() = default;
    static CFeedFrame* Allocate(unsigned int length);
    unsigned char* Body() { return reinterpret_cast<unsigned char*>(this + 1); }
    const unsigned char* Body() const { return reinterpret_cast<const unsigned char*>(this + 1); }

    std::atomic<std::uint32_t> m_references{1};
    unsigned int m_length = 0;
    sFrameTimes m_times{};
    sForcePlates m_plates; // as many as are counted
};

#endif
