// Requests and their replies.
#include <sys/mman.h>

#include <csignal>
#include <cstring>
#include <thread>

#include "Endpoint.h"

// The endpoint keeps its events to itself: a request that is over must have left none.
CSequenceEventSet& Events(CCommandServer& endpoint);
template <auto Member>
struct Opened {
    friend CSequenceEventSet& Events(CCommandServer& endpoint) { return endpoint.*Member; }
};
template struct Opened<&CCommandServer::m_events>;

// A requester's record, dirty from earlier use.
struct DirtyRecord : sPacket {
    DirtyRecord() { std::memset(static_cast<void*>(this), 0xCC, sizeof *this); }
    bool Is(const Bytes& image) const { return std::memcmp(this, image.data(), sizeof *this) == 0; }
};
static const Bytes kDirty(300008, 0xCC);

struct ReplyRow {
    const char* what;
    int type;
    Bytes payload;
    int kind;
    int length;
    Bytes data;
    Texts words = {}; // of a reply that is dropped

    Bytes Image() const { return Body().U16(kind, 0).U32(length).Put(data).Fill(300000 - data.size()).bytes; }
};

struct RequestTest : EndpointTest {
    void SetUp() override { ASSERT_EQ(Start(), 0); }

    // A request that waits for its reply.
    std::future<int> Ask(CCommandServer& from, sPacket* reply, unsigned int timeoutMs = 60000) {
        return InBackground([&from, reply, timeoutMs] { return from.Call(102, nullptr, 0, reply, timeoutMs); });
    }

    void ExpectNoneWaiting() TARVO_NO_THREAD_SAFETY { // when nobody else uses the table
        EXPECT_EQ(endpoint.GetSequenceNumber(), 0U);
        EXPECT_EQ(Events(endpoint).count(), 0U);
    }
};

// After longer messages have left their bytes in the areas, the record holds what was received and zeros.
TEST_F(RequestTest, EveryKindOfReplyFillsTheRecordUnlessItIsTooLong) {
    const Bytes version(265, 7);
    const Bytes most(300000, 3);
    const Bytes tooMuch(300001, 3);
    const Bytes closed = Body().Fill(299999, 'x').U8(0).bytes;
    const ReplyRow rows[]{
        {"version", 1, version, 1, 265, version},
        {"version cut short", 1, Bytes(10, 7), 1, 265, Bytes(10, 7)},
        {"version with more behind it", 1, Bytes(300, 7), 1, 265, version},
        {"raw", 7, Bytes(40, 3), 0, 0, Bytes(40, 3)},
        {"descriptions", 101, Bytes(4000, 9), 0, 0, Bytes(4000, 9)},
        {"server description", 102, Bytes(525, 5), 4, 0, Bytes(525, 5)},
        {"text", 104, Text({"pong\0", 5}), 104, 5, Text("pong")},
        {"text without its zero", 104, Text("pong"), 104, 4, Text("pong")},
        {"text with more behind its zero", 104, Text({"a\0b\0", 4}), 104, 4, Text("a")},
        {"media image cut short", 105, Body().U16(0x1234, 0).U32(9).U8(1, 2, 3).bytes, 0x1234, 9, {1, 2, 3}},
        {"media image", 105, Body().U16(77, 0).U32(300000).Put(most).bytes, 77, 300000, most},
        {"raw that just fits", 7, most, 0, 0, most},
        {"raw, a byte too long", 7, tooMuch, 0, 0, {}, {"300001."}},
        {"text, short but with too much behind it", 104, Bytes(374272), 0, 0, {}, {"374272."}},
        {"text that just fits", 104, closed, 104, 300000, closed},
        {"text that leaves room for its zero", 104, Bytes(299999, 'x'), 104, 299999, Bytes(299999, 'x')},
        {"text without room for its zero", 104, Bytes(300000, 'x'), 0, 0, {}, {"300000."}},
    };
    CCommandServer exact; // gets its replies in memory that ends with them
    ASSERT_EQ(exact.Start(nullptr, "127.0.0.1", server.Port(), true), 0);
    for (const ReplyRow& row : rows)
        for (const std::size_t pieces : {0U, 1U, 2U}) { // 0: without the socket, which may not hold so much
            if (pieces > 0 && row.payload.size() > 5000) continue;
            SCOPED_TRACE(testing::Message() << row.what << ", pieces: " << pieces);
            log.Clear();
            DirtyRecord record;
            auto call = Ask(pieces == 0 ? exact : endpoint, &record);
            const Request request = server.ExpectRequest(102);
            const std::size_t piece = pieces == 2 ? row.payload.size() / 2 + 1 : 1462;
            for (const auto& message :
                 {Cut(7, 0, Bytes(6000, 0xEE)), Cut(row.type, request.sequence, row.payload, piece)})
                pieces > 0 ? server.SendMessage(request.from, message) : Deliver(exact, message);
            EXPECT_EQ(log.Words(), row.words);
            if (!row.words.empty()) Deliver(exact, Cut(7, request.sequence, {}));
            EXPECT_EQ(call.get(), 0);
            EXPECT_TRUE(record.Is(row.Image()));
        }
}

TEST_F(RequestTest, OnlyItsOwnReplyCompletesARequest) {
    CCommandServer other;
    ASSERT_EQ(other.Start(nullptr, "127.0.0.1", server.Port(), true), 0);
    DirtyRecord record;
    auto call = Ask(endpoint, &record);
    const std::uint32_t own = server.ExpectRequest(102).sequence;
    Deliver(other, Cut(102, own, {1}));
    for (const std::uint32_t sequence : {std::uint32_t{0}, own + 1, own + 2, own ^ 0x80000000})
        Deliver(endpoint, Cut(102, sequence, {1}));
    for (const int type : {0, 2, 8, 100, 103, 106, 107, 200}) Deliver(endpoint, Cut(type, own, {1}));
    EXPECT_EQ(Events(endpoint).signal(own), 0) << "woken without an answer";
    EXPECT_TRUE(record.Is(kDirty));
    const ReplyRow answer{"of another type", 104, Text("yes"), 104, 3, Text("yes")};
    Deliver(endpoint, Cut(answer.type, own, answer.payload));
    EXPECT_EQ(call.get(), 0);
    Deliver(endpoint, Cut(104, own, Text("twice")));
    EXPECT_TRUE(record.Is(answer.Image()));
    call = Ask(endpoint, nullptr);
    Deliver(endpoint, Cut(104, server.ExpectRequest(102).sequence, Text("yes")));
    EXPECT_EQ(call.get(), 0) << "a request without a record";
    ExpectNoneWaiting();
}

// The thread that fills the record is held at its first byte, for longer than the request waits.
TEST_F(RequestTest, NoRequestIsOverWhileItsRecordIsBeingFilled) {
    static std::future<int> call;
    static bool early = true;
    static void* const record = mmap(nullptr, sizeof(sPacket), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    struct sigaction hold {};
    hold.sa_flags = static_cast<int>(SA_RESETHAND);
    hold.sa_handler = [](int) {
        early = call.wait_for(std::chrono::milliseconds(600)) == std::future_status::ready;
        mprotect(record, sizeof(sPacket), PROT_READ | PROT_WRITE);
    };
    sigaction(SIGSEGV, &hold, nullptr);
    call = Ask(endpoint, static_cast<sPacket*>(record), 300);
    Deliver(endpoint, Cut(104, server.ExpectRequest(102).sequence, Text("yes")));
    EXPECT_FALSE(early);
    EXPECT_EQ(call.get(), 0);
}

// NOLINTBEGIN(concurrency-mt-unsafe): the application's generator is the one that is not safe
TEST_F(RequestTest, ARequestWithoutAnAnswerFailsInTimeAndLeavesNothing) {
    std::srand(20240607);
    const int random = std::rand();
    const std::jthread waker([this](const std::stop_token& over) { // for six seconds, if nobody stops it
        for (int i = 0; i < 600 && !over.stop_requested(); usleep(10000), ++i) Events(endpoint).signal();
    });
    for (const unsigned int timeoutMs : {60U, 1U, 0U, 0x80000000U}) {
        SCOPED_TRACE(timeoutMs);
        const bool waits = timeoutMs - 1 < 1000;
        log.Clear();
        DirtyRecord record;
        std::srand(20240607);
        int result = 0;
        const long took = TimeOf([&] { result = endpoint.Call(102, nullptr, 0, &record, timeoutMs); });
        EXPECT_EQ(std::rand(), random) << "the application's numbers go on";
        EXPECT_EQ(result, waits ? 9 : 1);
        EXPECT_GE(took, waits ? timeoutMs - 1 : 0);
        EXPECT_LT(took, 5000);
        EXPECT_EQ(log.Words(), Texts{"Failed."});
        ExpectNoneWaiting();
        Deliver(endpoint, Cut(104, server.ExpectRequest(102).sequence, Text("late")));
        EXPECT_TRUE(record.Is(kDirty));
    }
}
// NOLINTEND(concurrency-mt-unsafe)

TEST_F(RequestTest, ARefusedRequestFailsWhenItNextWakes) {
    auto call = Ask(endpoint, nullptr);
    const std::uint32_t sequence = server.ExpectRequest(102).sequence;
    const auto refuse = [&]() TARVO_NO_THREAD_SAFETY { return endpoint.SetSequenceValid(sequence, 2); };
    endpoint.Send(8, nullptr, 0, 0); // passes through the table's lock, after the request
    EXPECT_EQ(refuse(), 0);
    endpoint.Send(8, nullptr, 0, 0);
    EXPECT_EQ(Events(endpoint).signal(sequence), 0);
    EXPECT_EQ(call.get(), 1);
    EXPECT_EQ(log.Words(), (Texts{"Failed.", "Failed."}));
}

// Which of them are inside a request when the endpoint stops is left to chance.
TEST_F(RequestTest, RequestsAndSendsMayMeetAStop) {
    alarm(kPatience.count()); // ends the process if a stop waits for ever
    std::atomic<bool> over{false};
    const auto use = [&] {
        while (!over) {
            EXPECT_EQ(endpoint.Call(102, nullptr, 0, nullptr, 2) & ~8, 1) << "neither 1 nor 9";
            endpoint.Send(8, nullptr, 0, 0);
            endpoint.SetUserData(CCommandServer::DataType_Stream, &over);
        }
    };
    const std::future<void> users[]{InBackground(use), InBackground(use), InBackground(use)};
    for (int round = 0; round < 30; ++round) {
        EXPECT_EQ(endpoint.Stop(), 0);
        EXPECT_EQ(Start(), 0);
    }
    over = true;
}
