// The exported functions of the stream: every one checks what it is given and calls one method.
#include <algorithm>
#include <cstring>
#include <type_traits>

#include "TarvoStream.h"
#include "client/ClientCore.h"
#include "client/FeedTable.h"

namespace {

constexpr int kFailed = 1;
constexpr int kNull = 2;
constexpr int kTimedOut = 9;

// The session is all that a client holds.
ClientCore* Core(void* client) {
    static_assert(std::is_standard_layout_v<TarvoSDKClient> && sizeof(TarvoSDKClient) == sizeof(void*));
    return client == nullptr ? nullptr : *static_cast<ClientCore**>(client);
}

// Copies as much of a record as the caller's own covers, in whole values, and tells how much that was.
template <typename Record>
int Fill(Record& to, const Record& from) {
    constexpr std::uint32_t kHead = 8;
    const std::uint32_t size = std::min<std::uint32_t>(to.size, sizeof(Record)) / kHead * kHead;
    if (size < kHead) return kFailed;
    std::memcpy(&to, &from, size);
    to.size = size;
    return 0;
}

} // namespace

int Quorin_GetFrameTimes(void* hClient, sFrameTimes* times) {
    const ClientCore* const core = Core(hClient);
    if (core == nullptr || times == nullptr) return kNull;
    return core->GetFrameTimes(*times) ? 0 : kFailed;
}

int Quorin_OpenFeed(void* hClient, uint32_t capacity, void** feed) {
    ClientCore* const core = Core(hClient);
    if (core == nullptr || feed == nullptr) return kNull;
    *feed = nullptr;
    if (capacity < 1 || capacity > TARVO_MAX_FEED_FRAMES) return kFailed;
    std::shared_ptr<CFrameFeed> opened = core->Feeds().Open(capacity);
    if (opened == nullptr) return kFailed;
    *feed = CFeedTable::Instance().Add(opened);
    if (*feed != nullptr) return 0;
    opened->Close();
    return kFailed;
}

int Quorin_NextFrame(void* feed, uint32_t timeoutMs, sFrameOfMocapData* frame, sForcePlates* plates,
                     sFrameTimes* times) {
    const std::shared_ptr<CFrameFeed> open = CFeedTable::Instance().Find(feed);
    if (open == nullptr || frame == nullptr) return kNull;
    CFeedFrame* taken = nullptr;
    switch (open->Take(timeoutMs, taken)) {
        case CFrameFeed::Taken::kTimedOut: return kTimedOut;
        case CFrameFeed::Taken::kEnded: return kFailed;
        case CFrameFeed::Taken::kFrame: break;
    }
    const bool opened = taken->Open(*frame, plates, times);
    taken->Drop();
    if (opened) return 0;
    open->CountDropped();
    return kNull;
}

int Quorin_FeedDescriptor(void* feed) {
    const std::shared_ptr<CFrameFeed> open = CFeedTable::Instance().Find(feed);
    return open == nullptr ? -1 : open->Descriptor();
}

int Quorin_GetFeedStatistics(void* feed, sFeedStatistics* statistics) {
    const std::shared_ptr<CFrameFeed> open = CFeedTable::Instance().Find(feed);
    if (open == nullptr || statistics == nullptr) return kNull;
    return Fill(*statistics, open->Statistics());
}

int Quorin_CloseFeed(void* feed) {
    const std::shared_ptr<CFrameFeed> open = CFeedTable::Instance().TakeOut(feed);
    if (open == nullptr) return kNull;
    open->Close();
    return 0;
}

int Quorin_GetStreamStatistics(void* hClient, sStreamStatistics* statistics) {
    const ClientCore* const core = Core(hClient);
    if (core == nullptr || statistics == nullptr) return kNull;
    return Fill(*statistics, core->GetStreamStatistics());
}

int Quorin_SetStreamInterface(void* hClient, const char* nameOrAddress) {
    ClientCore* const core = Core(hClient);
    if (core == nullptr) return kNull;
    return core->SetStreamInterface(nameOrAddress == nullptr ? "" : nameOrAddress);
}
