// Starting and ending a session, and what holds without one.
#include <array>

#include "Client.h"

struct SessionTest : ClientTest {};

TEST_F(SessionTest, ARefusedVersionIsReportedAndLeavesTheClientIdle) {
    for (const auto& [record, version] :
         {std::pair{Body().Fill(260).U8(3, 0, 1, 7, 0).bytes, "3.0.1.7"}, std::pair{Bytes(10, 1), "0.0.0.0"}}) {
        log.Clear();
        EXPECT_EQ(Answer([&] { return Initialize(client, host); }, 0, 1, record), 10);
        const std::string text = "[Error] Current SDKVersion is Not Supported, Found the Server Version is:";
        EXPECT_EQ(std::ranges::count(log.Lines(), LogLines::Line{3, text + version + "\n"}), 1);
        EXPECT_EQ(std::ranges::count(log.Lines(), 3, &LogLines::Line::level), 1);
        EXPECT_EQ(GetDataDescriptions(client, &list), 10);
    }
    EXPECT_EQ(Start(client), 0);
}

TEST_F(SessionTest, AFailedStartAllowsNoQueriesAndCanBeTriedAgain) {
    char unknown[] = "no-host.invalid";
    EXPECT_EQ(Initialize(client, unknown), 1);
    auto* const object = static_cast<TarvoSDKClient*>(client);
    for (const int result : {GetDataDescriptions(client, &list), WaitForForcePlateInit(client, 0),
                             object->GetDataDescriptionsEx(&list), object->WaitForForcePlateInit(0)})
        EXPECT_EQ(result, 10);
    sDataDescriptions storage;
    EXPECT_EQ(GetDataDescriptionsEx(client, &storage, &list), 2);
    {
        const ScriptedServer taken(5231);
        EXPECT_EQ(Answer([&] { return Initialize(client, host); }, 0, 1, kAccepted), 1);
    }
    EXPECT_EQ(GetDataDescriptions(client, &list), 1) << "accepted, but not running";
    EXPECT_EQ(Uninitialize(client), 0);
    EXPECT_EQ(GetDataDescriptions(client, &list), 10);
    EXPECT_EQ(Start(client), 0);
}

// What a receive thread writes at its end follows the line of the socket that ended it.
TEST_F(SessionTest, AnEndBeginsWithTheLineThatClosesTheStream) {
    std::ptrdiff_t ends = 0;
    for (int session = 0; session < 10; ++session) {
        ASSERT_EQ(Start(client), 0);
        log.Clear();
        EXPECT_EQ(Uninitialize(client), 0);
        ASSERT_FALSE(log.Words().empty());
        EXPECT_EQ(log.Words().front().substr(0, 7), "Close h") << log.Words().front();
        ends += log.Count(" Failed.\n");
    }
    EXPECT_GT(ends, 0) << "of threads that were waiting for a datagram";
}

TEST_F(SessionTest, ASilentServerIsGivenUpAfterFiveSeconds) {
    const long took = TimeOf([&] { EXPECT_EQ(Initialize(client, host), 1); });
    EXPECT_GE(took, 4990);
    EXPECT_LT(took, 9000);
    server.ExpectRequest(0);
    EXPECT_EQ(Start(client), 0);
}

TEST_F(SessionTest, ANullHandleDoesNothingAndGivesTwo) {
    static sDataDescriptions storage; // was not allocated: must not be released
    list = &storage;
    for (const int result :
         {DestroyClient(nullptr), Initialize(nullptr, host), Uninitialize(nullptr), TarvoVersion(nullptr, nullptr),
          SetVerbosityLevel(nullptr, 0), SetDataCallback(nullptr, nullptr, nullptr),
          SetMessageCallback(nullptr, nullptr), SetForcePlateCallback(nullptr, nullptr, nullptr),
          GetServerDescription(nullptr, nullptr), GetDataDescriptions(nullptr, &list),
          FreeDataDescriptions(nullptr, list), GetDataDescriptionsEx(nullptr, list, &list),
          FreeDataDescriptionsEx(nullptr, list), TimecodeStringify(nullptr, 0, 0, nullptr, 0),
          DecodeTimecode(nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr, nullptr),
          WaitForForcePlateInit(nullptr, 0), TarvoFreeFrame(nullptr, nullptr)})
        EXPECT_EQ(result, 2);
    EXPECT_EQ(GetLastFrameOfMocapData(nullptr), nullptr);
}

TEST_F(SessionTest, TimecodesAreSplitAndPrinted) {
    const std::tuple<unsigned int, unsigned int, int, int, const char*> rows[]{
        {0x01020304, 5, 32, 1, "01:02:03:04.5"},
        {0xFF000000, 0, 32, 1, "255:00:00:00.0"},
        {0x170A3B1D, ~0U, 32, 1, "23:10:59:29.-1"},
        {0x01020304, 5, 6, 1, "01:02"},
        {0x01020304, 5, 1, 1, ""},
        {0, 0, 0, 0, "as before"},
        {0, 0, -1, 0, "as before"}};
    for (const auto& [timecode, subframe, size, result, expected] : rows) {
        char text[32] = "as before";
        EXPECT_EQ(TimecodeStringify(client, timecode, subframe, text, size), result);
        EXPECT_STREQ(text, expected);
    }
    for (std::size_t null = 0; null < 6; ++null) { // the last is none of the five
        std::array<int, 5> out{};
        std::array<int*, 6> to{&out[0], &out[1], &out[2], &out[3], &out[4]};
        to[null] = nullptr;
        EXPECT_EQ(DecodeTimecode(client, 0x01FE0304, ~0U, to[0], to[1], to[2], to[3], to[4]), null == 5 ? 1 : 0);
        EXPECT_TRUE(out == (null == 5 ? std::array{1, 254, 3, 4, -1} : std::array<int, 5>{}));
    }
}

TEST(SessionDeathTest, NullRecordsAreAgainstTheContract) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const char* const record = "ManagedTarvoSDKClient.*pDataDescriptions";
    EXPECT_DEATH(CreateClient(nullptr), "ManagedTarvoSDKClient.*phClient");
    EXPECT_DEATH(GetDataDescriptions(nullptr, nullptr), record);
    EXPECT_DEATH(FreeDataDescriptions(nullptr, nullptr), record);
    EXPECT_DEATH(GetDataDescriptionsEx(nullptr, nullptr, nullptr), record);
    EXPECT_DEATH(FreeDataDescriptionsEx(nullptr, nullptr), record);
}
