// The class beside the plain functions, and the settings that only a session has.
#include <array>

#include "Client.h"
#include "client/ClientCore.h"

namespace {

Arrivals<int> frames;
Arrivals<std::pair<int, std::string>> lines;

void SeeFrame(sFrameOfMocapData* frame, void*) { frames.Add(frame->frameNumber); }
void SeeLine(int level, char* text) { lines.Add({level, text}); }

} // namespace

using ClassTest = ClientTest;

TEST_F(ClassTest, TheClassServesAsTheFunctionsDo) {
    TarvoSDKClient object;
    EXPECT_EQ(object.SetDataCallback(SeeFrame, nullptr) + object.SetForcePlateCallback(nullptr, nullptr), 0);
    EXPECT_EQ(Answer([&] { return object.Initialize(host); }, 0, 1, kAccepted), 0);
    server.ExpectRequest(106);
    sServerDescription description;
    EXPECT_EQ(Answer([&] { return object.GetServerDescription(&description); }, 102, 102, Bytes(525, 8)), 0);
    EXPECT_EQ(Answer([&] { return object.GetDataDescriptions(&list); }, 101, 101, Body().U32(1, 77).bytes), 0);
    EXPECT_EQ(object.FreeDataDescriptions(list), 0);
    const auto wait = [&] { return object.WaitForForcePlateInit(1); };
    EXPECT_EQ(Answer(wait, 101, 101, Body().U32(0).bytes), 0);
    server.Multicast(FrameBody(4, {}, 2));
    EXPECT_EQ(frames.Take(1), std::vector<int>{4});
    EXPECT_EQ(object.Uninitialize(), 0);
    sFrameOfMocapData* const frame = object.GetLastFrameOfMocapData();
    static sFrameOfMocapData copy;
    ASSERT_NE(frame, nullptr);
    ASSERT_EQ(object.TarvoCopyFrame(frame, &copy), 0);
    EXPECT_EQ(object.TarvoFreeFrame(frame), 0);
    EXPECT_EQ(copy.otherMarkers[1].x, 1.0F);
    EXPECT_EQ(object.TarvoFreeFrame(&copy) + object.FreeDataDescriptions(nullptr), 2);
}

TEST_F(ClassTest, HelpersNeedNoServer) {
    TarvoSDKClient object;
    ClientCore core(1);
    EXPECT_FALSE(core.IsMulticast());
    std::array<unsigned char, 12> version{};
    object.TarvoSDKVersion(version.data());
    Quorin_GetVersion(version.data() + 4);
    EXPECT_EQ(TarvoVersion(client, version.data() + 8), 0);
    EXPECT_EQ(version, (std::array<unsigned char, 12>{2, 5, 28, 75, 2, 5, 28, 75, 2, 5, 28, 75}));
    char text[16];
    std::array<int, 5> t{};
    EXPECT_EQ(object.DecodeTimecode(0x01020304, 5, &t[0], &t[1], &t[2], &t[3], &t[4]), 1);
    EXPECT_EQ(core.DecodeTimecode(0x01020304, 5, &t[0], &t[1], &t[2], &t[3], &t[4]), 1);
    EXPECT_EQ(t, (std::array<int, 5>{1, 2, 3, 4, 5}));
    EXPECT_EQ(object.TimecodeStringify(1, 2, text, sizeof text) + core.TimecodeStringify(1, 2, text, 12), 2);
    EXPECT_STREQ(text, "00:00:00:01");
}

TEST_F(ClassTest, TheLevelDecidesWhatTheMessageCallbackGets) {
    EXPECT_EQ(SetMessageCallback(client, SeeLine), 0);
    char unknown[] = "no-host.invalid";
    for (const int level : {0, -5, 1}) {
        EXPECT_EQ(SetVerbosityLevel(client, level), 0);
        EXPECT_EQ(Initialize(client, unknown), 1);
    }
    for (const auto& [kind, line] : lines.Take(5)) EXPECT_EQ(kind, 1) << line;
    TarvoSDKClient object;
    object.SetVerbosityLevel(4);
    EXPECT_EQ(object.SetMessageCallback(nullptr), 0);
}

TEST_F(ClassTest, TheStreamComesFromTheGroupThatIsSet) {
    ClientCore core(0);
    core.SetDataCallback(SeeFrame, nullptr);
    for (const char* const group : {"239.1.2.3", "239.239.239.52"}) { // the second is the default
        char address[] = "239.1.2.3";
        if (address == std::string(group)) core.SetMulticastAddress(address);
        EXPECT_EQ(Answer([&] { return core.Initialize(nullptr, host); }, 0, 1, kAccepted), 0);
        server.ExpectRequest(106);
        server.SendMessage(ScriptedServer::Address(group, 5231), Cut(103, 0, FrameBody(6)));
        EXPECT_EQ(frames.Take(1), std::vector<int>{6});
        EXPECT_TRUE(core.IsSDKSupport());
        EXPECT_EQ(core.Uninitialize(), 0);
        EXPECT_FALSE(core.IsSDKSupport());
    }
}
