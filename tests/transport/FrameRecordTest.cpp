// Records are used again and again: one shows what its own message said and nothing of those before it.
#include <random>
#include <utility>

#include "AppDataModel.h"
#include "Endpoint.h"
#include "client/GlobalObject.h"
#include "support/SameRecord.h"

namespace {

// Bodies of frames with some of everything, or much, or nothing, and every fourth not whole.
struct RandomBodies {
    int Below(int bound) { return static_cast<int>(random() % static_cast<unsigned int>(bound)); }
    int Count(int most) { return Below(3) == 0 ? 0 : Below(4) == 0 ? Below(most + 1) : Below(std::min(most, 4)); }

    Body& Bytes32(Body& body, int words) {
        for (int i = 0; i < words; ++i) body.U32(random());
        return body;
    }
    void RigidBody(Body& body, int mostMarkers) {
        const int markers = Count(mostMarkers);
        Bytes32(body, 8).U32(markers);
        Bytes32(body, 5 * markers + 1).U16(random());
    }
    Bytes Next() {
        Body body;
        body.U32(random(), Count(200));
        const int sets = body.bytes[4];
        for (int i = 0; i < sets; ++i) {
            const int markers = Count(20);
            Bytes32(body, 64).U32(markers);
            Bytes32(body, 3 * markers);
        }
        const int others = Count(1000);
        Bytes32(body.U32(others), 3 * others);
        const int bodies = Count(1000);
        body.U32(bodies);
        for (int i = 0; i < bodies; ++i) RigidBody(body, 6);
        const int skeletons = Count(100);
        body.U32(skeletons);
        for (int i = 0; i < skeletons; ++i) {
            const int bones = Count(20);
            body.U32(random(), bones);
            for (int k = 0; k < bones; ++k) RigidBody(body, 3);
        }
        const int labeled = Count(1000);
        Bytes32(body.U32(labeled), 6 * labeled);
        const int analog = Count(32);
        Bytes32(body.U32(analog), analog + 5).U16(random());
        const bool broken = Below(4) == 0;
        if (broken) body.bytes.resize(static_cast<std::size_t>(Below(static_cast<int>(body.bytes.size()))));
        if (broken && body.bytes.size() > 8 && Below(2) == 0) body.bytes[7] = 1; // far too many marker sets
        return body.bytes;
    }

    std::mt19937 random{20240607};
};

struct Decoded {
    explicit Decoded(const Bytes& body) {
        int length = 0;
        good = model.DecodeMocap(body.data(), static_cast<unsigned int>(body.size()), length, frame) == 0;
    }
    ~Decoded() { model.ReleaseMocap(frame); }
    Decoded(const Decoded&) = delete;
    sFrameOfMocapData* Take() { return std::exchange(frame, nullptr); }

    CAppDataModel model;
    sFrameOfMocapData* frame = nullptr;
    bool good;
};

int seen;
const Bytes* sent;

void Compare(sFrameOfMocapData* frame, void* /*userData*/) {
    ++seen;
    EXPECT_TRUE(SameRecord(*frame, *Decoded(*sent).frame)) << "frame " << frame->frameNumber;
    if (frame->frameNumber % 8 != 0) return;
    // What an application does to its counts makes nobody forget what is in the record.
    frame->markerSetCount = frame->rigidBodyCount = frame->labeledMarkerCount = 0;
    for (int i = 0; i < frame->skeletonCount; ++i) frame->skeletons[i].rigidBodyCount = 0;
    frame->skeletonCount = -5;
}

// Releases all arrays that the frame came with, through a copy of its record: the read slot stays as it is for the
// next frame.
void Release(const sFrameOfMocapData& frame, const sFrameOfMocapData& asDecoded) {
    const auto copy = std::make_unique<sFrameOfMocapData>();
    std::memcpy(static_cast<void*>(copy.get()), &frame, sizeof frame);
    copy->markerSetCount = asDecoded.markerSetCount;
    copy->rigidBodyCount = asDecoded.rigidBodyCount;
    copy->skeletonCount = asDecoded.skeletonCount;
    for (int i = 0; i < copy->skeletonCount; ++i)
        copy->skeletons[i].rigidBodyCount = asDecoded.skeletons[i].rigidBodyCount;
    Quorin_FreeFrame(copy.get());
}

} // namespace

struct FrameRecordTest : EndpointTest {
    // The next frame of the feed, in a record that had other bytes before.
    void CompareFed(const Decoded& fresh) {
        const auto record = std::make_unique<sFrameOfMocapData>();
        std::memset(static_cast<void*>(record.get()), 0xA5, sizeof *record);
        CFeedFrame* taken = nullptr;
        ASSERT_EQ(feed->Take(0, taken), CFrameFeed::Taken::kFrame);
        EXPECT_TRUE(taken->Open(*record, nullptr, nullptr));
        taken->Drop();
        EXPECT_EQ(record->frameNumber, fresh.frame->frameNumber);
        EXPECT_TRUE(record->skeletonCount == -5 || SameRecord(*record, *fresh.frame)) << "in the feed";
        Quorin_FreeFrame(record.get());
    }

    CFeedList feeds;
    CCommandServer fed{&feeds};
    std::shared_ptr<CFrameFeed> feed = feeds.Open(1);
};

TEST_F(FrameRecordTest, ShowsItsOwnMessageAndNothingElse) {
    ASSERT_EQ(fed.Start(nullptr, "127.0.0.1", server.Port(), true), 0);
    auto& global = CommonKit::TSingletons<CGlobalObject>::Instance();
    RandomBodies bodies;
    std::vector<Bytes> queued;
    for (int round = 0; round < 600; ++round) {
        const Bytes body = bodies.Next();
        if (body.size() > kMaxMessageSize) continue;
        sent = &body;
        const int before = seen;
        const bool heard = bodies.Below(4) > 0; // by a callback
        const Decoded whole(body);
        CAppCallBack::SetStreamFunc(heard ? Compare : nullptr);
        Deliver(fed, Cut(103, 0, body));
        EXPECT_EQ(seen - before, heard && whole.good ? 1 : 0);
        if (whole.good) queued.push_back(body);
        if (whole.good) CompareFed(whole);
        if (bodies.Below(8) == 0 && !queued.empty()) {
            global.writeCache(Decoded(queued.back()).Take()); // one that somebody else has made
            queued.push_back(queued.back());
        }
        if (bodies.Below(40) > 0) continue;
        if (queued.size() > 32) queued.erase(queued.begin(), queued.end() - 32);
        for (const Bytes& expected : queued) {
            sFrameOfMocapData* const frame = global.readCache();
            ASSERT_NE(frame, nullptr);
            const Decoded fresh(expected);
            EXPECT_TRUE(frame->skeletonCount == -5 || SameRecord(*frame, *fresh.frame)) << "in the queue";
            Release(*frame, *fresh.frame);
        }
        queued.clear();
    }
    EXPECT_GT(seen, 200);
}
