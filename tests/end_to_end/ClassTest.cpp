// What only the class has beside the plain functions, and the settings that only a session has.
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

TEST_F(ClassTest, ADestroyedClientIsOneWithoutASession) {
    alignas(TarvoSDKClient) static unsigned char memory[sizeof(TarvoSDKClient)];
    auto* const object = new (memory) TarvoSDKClient;
    object->~TarvoSDKClient();
    sServerDescription description;
    for (const int result : {object->Initialize(host), object->Uninitialize(), object->WaitForForcePlateInit(1),
                             object->SetDataCallback(nullptr, nullptr), object->GetDataDescriptions(&list),
                             object->GetServerDescription(&description)})
        EXPECT_EQ(result, 2);
    EXPECT_EQ(object->GetLastFrameOfMocapData(), nullptr);
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
    static sFrameOfMocapData both[2];
    both[0].frameNumber = 7;
    EXPECT_EQ(object.TarvoCopyFrame(&both[0], &both[1]), 0);
    EXPECT_EQ(both[1].frameNumber, 7);
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
