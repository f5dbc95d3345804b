// The feeds that applications have open, by their handles.
#ifndef TARVO_CLIENT_FEED_TABLE_H
#define TARVO_CLIENT_FEED_TABLE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/PlainMutex.h"
#include "transport/FrameFeed.h"

// One for the process, callable from any thread. A handle is no address but the place of its feed and how often
// the place was used, so that one that was closed is known as such, whoever still has it.
class CFeedTable {
public:
    static CFeedTable& Instance();

    // The new feed's handle; null when memory runs out.
    void* Add(std::shared_ptr<CFrameFeed> feed);
    // Null when the handle is none, or that of a feed that was taken out.
    std::shared_ptr<CFrameFeed> Find(void* handle);
    std::shared_ptr<CFrameFeed> TakeOut(void* handle);

private:
    struct Place {
        std::shared_ptr<CFrameFeed> feed;
        std::uintptr_t uses = 0;
    };

    // Places of feeds that are open at once, and uses of each, share the bits of a handle.
    static constexpr unsigned int kPlaceBits = 20;

    static void* HandleOf(std::size_t index, const Place& place);
    Place* PlaceOf(void* handle) TARVO_REQUIRES(m_lock);

    System::CPlainMutex m_lock;
    std::vector<Place> m_places TARVO_GUARDED_BY(m_lock);
};

#endif
