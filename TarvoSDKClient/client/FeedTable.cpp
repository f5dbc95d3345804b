#include "client/FeedTable.h"

#include <algorithm>
#include <new>
#include <utility>

#include "platform/Singletons.h"

using System::CPlainGuard;

CFeedTable& CFeedTable::Instance() { return CommonKit::TSingletons<CFeedTable>::Instance(); }

void* CFeedTable::Add(std::shared_ptr<CFrameFeed> feed) {
    const CPlainGuard guard(m_lock);
    auto place = std::find_if(m_places.begin(), m_places.end(), [](const Place& p) { return p.feed == nullptr; });
    if (place == m_places.end()) {
        if (m_places.size() == std::size_t{1} << kPlaceBits) return nullptr;
        try {
            place = m_places.emplace(m_places.end());
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    place->feed = std::move(feed);
    ++place->uses;
    return HandleOf(static_cast<std::size_t>(place - m_places.begin()), *place);
}

// Never null, since a place in use has been used once at least.
void* CFeedTable::HandleOf(std::size_t index, const Place& place) {
    return reinterpret_cast<void*>((place.uses << kPlaceBits) | index); // NOLINT(performance-no-int-to-ptr)
}

CFeedTable::Place* CFeedTable::PlaceOf(void* handle) {
    const std::size_t index = reinterpret_cast<std::uintptr_t>(handle) & ((std::uintptr_t{1} << kPlaceBits) - 1);
    if (index >= m_places.size()) return nullptr;
    Place& place = m_places[index];
    return place.feed != nullptr && HandleOf(index, place) == handle ? &place : nullptr;
}

std::shared_ptr<CFrameFeed> CFeedTable::Find(void* handle) {
    const CPlainGuard guard(m_lock);
    const Place* const place = PlaceOf(handle);
    return place == nullptr ? nullptr : place->feed;
}

std::shared_ptr<CFrameFeed> CFeedTable::TakeOut(void* handle) {
    const CPlainGuard guard(m_lock);
    Place* const place = PlaceOf(handle);
    return place == nullptr ? nullptr : std::exchange(place->feed, nullptr);
}
