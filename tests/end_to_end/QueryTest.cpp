// What a client asks of the server.
#include <cstring>
#include <set>

#include "AppDataModel.h"
#include "Client.h"
#include "client/ClientCore.h"

struct QueryTest : ClientTest {
    void SetUp() override { ASSERT_EQ(Start(client), 0); }
};

TEST_F(QueryTest, AServerDescriptionIs525Bytes) {
    for (const std::size_t size : {600U, 525U, 100U}) {
        const auto caller = std::make_unique<sServerDescription>(); // ends where its memory ends
        Bytes bytes = Body().Fill(size - 1, 7).U8(9).bytes;
        EXPECT_EQ(Answer([&] { return GetServerDescription(client, caller.get()); }, 102, 102, bytes), 0);
        bytes.resize(525);
        EXPECT_EQ(std::memcmp(caller.get(), bytes.data(), 525), 0);
    }
}

TEST_F(QueryTest, DescriptionsOfEveryTypeAreWhatTheServerLaidOut) {
    Body body;
    body.U32(6, 0, 2).Text("set", 256).Text("m1", 256).Text("m2", 256).U32(9, 1).Fill(292, 0x11);
    body.U32(2).Text("skeleton", 256).U32(77, 2).Fill(292, 0x22).Fill(292, 0x33).U32(3).Put(Plate());
    body.U32(4, 2).Text("group", 256).U32(1, 2, 3, 4, 5, 6);
    EXPECT_EQ(Answer([&] { return GetDataDescriptions(client, &list); }, 101, 101, body.bytes), 0);
    Bytes encoded(body.bytes.size());
    int length = 0;
    EXPECT_EQ(CAppDataModel().EncodeDescription(list, encoded.data(), length), 0);
    EXPECT_EQ(encoded, body.bytes);
    EXPECT_EQ(FreeDataDescriptions(client, list), 0);

    sDataDescriptions storage;
    EXPECT_EQ(Answer([&] { return GetDataDescriptionsEx(client, &storage, &list); }, 101, 101, body.bytes), 0);
    EXPECT_EQ(std::memcmp(static_cast<void*>(&storage), static_cast<void*>(list), sizeof storage), 0);
    EXPECT_EQ(FreeDataDescriptionsEx(client, list), 0);
    auto* const object = static_cast<TarvoSDKClient*>(client);
    EXPECT_EQ(Answer([&] { return object->GetDataDescriptionsEx(&list); }, 107, 7, body.bytes), 0);
    EXPECT_EQ(list->descriptionCount, 6);
    EXPECT_EQ(object->FreeDataDescriptions(list), 0);
    // An image states what it likes about its length.
    const Bytes image = Body().U32(0, 0).Put(body.bytes).bytes;
    EXPECT_EQ(Answer([&] { return GetDataDescriptions(client, &list); }, 101, 105, image), 0);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->descriptionCount, 6);
    EXPECT_EQ(FreeDataDescriptions(client, list), 0);
}

TEST_F(QueryTest, DescriptionsThatTheReplyDoesNotHoldAreNone) {
    const std::pair<const char*, Bytes> rows[]{
        {"two of which one is there", Body().U32(2, 1).Fill(292, 1).bytes},
        {"none is there", Body().U32(1).bytes},
        {"more than can be", Body().U32(201).Fill(2000, 9).bytes},
        {"points that wrap around", Body().U32(1, 4, 0x15555556).Fill(264).bytes},
    };
    for (const auto& [what, body] : rows) {
        SCOPED_TRACE(what);
        sDataDescriptions storage;
        const Bytes image = Body().U16(0, 0).U32(300000).Put(body).bytes; // states more than it brings
        for (const auto& [type, reply] : {std::pair{101, body}, {105, image}}) {
            list = &storage;
            EXPECT_EQ(Answer([&] { return GetDataDescriptions(client, &list); }, 101, type, reply), 0);
            EXPECT_EQ(list, nullptr) << type;
        }
        EXPECT_EQ(Answer([&] { return GetDataDescriptionsEx(client, &storage, &list); }, 101, 101, body), 2);
    }
}

TEST_F(QueryTest, QueriesAtOnceGetAnAnswerEachOrEndWithTheSession) {
    for (const bool answered : {true, false}) {
        std::vector<sDataDescriptions*> lists(8);
        std::vector<std::future<int>> calls(8);
        for (std::size_t i = 0; i < 8; ++i)
            calls[i] = InBackground([&, i] {
                if (!answered && i % 2 == 0) return WaitForForcePlateInit(client, 0);
                return GetDataDescriptions(client, &lists[i]);
            });
        std::set<std::uint32_t> numbers{0};
        std::vector<Request> requests(8);
        for (Request& request : requests) {
            request = server.ExpectRequest(101);
            EXPECT_EQ(request.sequence % 2, 0U);
            EXPECT_TRUE(numbers.insert(request.sequence).second) << request.sequence;
        }
        for (std::size_t i = 0; answered && i < 8; ++i)
            server.Reply(requests[7 - i], 7, Body().U32(1, 9 + i).bytes);
        if (!answered) Uninitialize(client);
        for (auto& call : calls) EXPECT_EQ(call.get(), answered ? 0 : 1);
        EXPECT_GE(log.Count(" Failed.\n"), answered ? 0 : 16) << "two lines of each";
        std::set<int> types;
        for (auto* const got : lists) types.insert(got == nullptr ? 0 : got->descriptions[0].type);
        EXPECT_EQ(types.size(), answered ? 8U : 1U);
        for (auto* const got : lists) Quorin_FreeDescriptions(got);
    }
    EXPECT_EQ(Start(client), 0);
}

TEST_F(QueryTest, ForcePlateInitAsksAgainWithinItsLimitButAlwaysOnce) {
    auto limited = InBackground([&] { return WaitForForcePlateInit(client, 1000); });
    server.ExpectRequest(101);
    auto unlimited = InBackground([&] { return WaitForForcePlateInit(client, 0); });
    server.ExpectRequest(101);
    Request again;
    EXPECT_GT(TimeOf([&] { again = server.ExpectRequest(101); }), 4500);
    server.Reply(again, 101, Body().U32(0).bytes);
    EXPECT_EQ(std::pair(limited.get(), unlimited.get()), std::pair(1, 0));
    EXPECT_TRUE(server.IsQuiet());
}

TEST_F(QueryTest, TextsAreExchangedWithTheServer) {
    ClientCore core(0);
    EXPECT_EQ(Answer([&] { return core.Initialize(nullptr, host); }, 0, 1, kAccepted), 0);
    server.ExpectRequest(106);
    char text[] = "hi";
    const Bytes message{0x51, 0xF9, 0, 0, 3, 0, 0, 0, 8, 0, 3, 0, 0, 0, 0, 0, 'h', 'i', 0};
    EXPECT_EQ(std::pair(core.SendMessage(text), core.SendMessage1(text)), std::pair(0, 0));
    for (int i = 0; i < 2; ++i) EXPECT_EQ(server.ExpectRequest(8).wire, message);

    void* reply = nullptr;
    int length = -1;
    const auto answered = [&] { return std::string(static_cast<const char*>(reply), std::size_t(length)); };
    const Bytes answer = Text({"answer\0more", 11});
    EXPECT_EQ(Answer([&] { return core.SendMessageAndWait(text, &reply, &length); }, 104, 104, answer), 0);
    EXPECT_EQ(asked.payload, (Bytes{'h', 'i', 0}));
    EXPECT_EQ(core.SendMessageAndWait(text, 0, 60000, &reply, &length), 1);
    EXPECT_EQ(core.SendMessageAndWait(text, 2, 30, &reply, &length), 9);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(server.ExpectRequest(2).payload, Text("hi"));
    EXPECT_EQ(answered(), "answer") << "still the last one";

    const auto request = [&] { return core.SendMessageAndWait(text, 3, 500, &reply, &length); };
    auto asking = InBackground(request);
    server.ExpectRequest(2);
    server.Reply(server.ExpectRequest(2), 104, Text("second"));
    EXPECT_EQ(asking.get(), 0);
    EXPECT_EQ(answered(), "second");
    const void* const record = reply;
    EXPECT_EQ(Answer(request, 2, 104, Text("next")), 0);
    EXPECT_EQ(answered(), "next");
    EXPECT_EQ(reply, record);
    EXPECT_TRUE(server.IsQuiet());
}
