// A client that is shut down in a log line of its own.
#include <atomic>
#include <functional>

#include "Client.h"
#include "client/ClientCore.h"

// Each compiler has its own way to say that it looks for leaks.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LOOKS_FOR_LEAKS
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define LOOKS_FOR_LEAKS
#endif
#ifdef LOOKS_FOR_LEAKS
#include <sanitizer/lsan_interface.h>
using MayStayBehind = __lsan::ScopedDisabler;
#else
struct MayStayBehind {
    ~MayStayBehind() {} // NOLINT(modernize-use-equals-default): a variable of it is used
};
#endif

namespace {

std::function<void()> onLine;     // what the application does at every line
std::atomic<bool> answers{false}; // while it does: threads that end have lines to write too
std::atomic<int> mistakes;        // that were reported

void SeeLine(int /*level*/, char* text) {
    if (std::string(text).find("shut down from its own callback") != std::string::npos) ++mistakes;
    if (answers) onLine();
}

} // namespace

struct OwnCallbackTest : ClientTest {
    OwnCallbackTest() { mistakes = 0; }
    ~OwnCallbackTest() override {
        answers = false;
        Application::CAppCallBack::SetLogMessageCB(nullptr);
    }

    static void AtEveryLine(std::function<void()> action) {
        onLine = std::move(action);
        answers = true;
        Application::CAppCallBack::SetLogMessageCB(SeeLine);
    }
    int Session(ClientCore& core) {
        const int result = Answer([&] { return core.Initialize(nullptr, host); }, 0, 1, kAccepted);
        if (result == 0) server.ExpectRequest(106);
        return result;
    }

    // Resolving a name writes a line before it succeeds.
    char byName[10] = "localhost";
};

TEST_F(OwnCallbackTest, AQueryWhoseLineShutsItsClientDownComesBackAndTheClientEndsLater) {
    ClientCore core(0);
    void* reply = nullptr;
    int length = 0;
    for (int session = 1; session < 4; ++session) {
        ASSERT_EQ(Session(core), 0);
        AtEveryLine([&] { EXPECT_EQ(core.Uninitialize(), 0); });
        auto query = InBackground([&] { return core.SendMessageAndWait(host, 1, 30, &reply, &length); });
        ASSERT_EQ(query.wait_for(kPatience), std::future_status::ready) << "it waits for itself";
        EXPECT_EQ(query.get(), 9);
        EXPECT_EQ(mistakes, session) << "once for each stop, though every line is answered";
        EXPECT_FALSE(core.CanBeDestroyed());
        answers = false;
        server.ExpectRequest(2);
    }
    EXPECT_EQ(core.Uninitialize(), 0);
    EXPECT_TRUE(core.CanBeDestroyed());
}

// Those behind it have been taken off the socket already, in the same call.
TEST_F(OwnCallbackTest, NoFrameComesAfterTheOneInWhichItsClientIsShutDown) {
    static std::atomic<bool> sent;
    static std::atomic<bool> ended;
    static Arrivals<int> frames;
    sent = ended = false;
    ASSERT_EQ(Start(client), 0);
    const auto see = [](sFrameOfMocapData* frame, void* self) {
        frames.Add(frame->frameNumber);
        sent.wait(false); // until the others wait in the socket
        if (frame->frameNumber != 2) return;
        Uninitialize(self);
        ended = true;
        ended.notify_all();
    };
    SetDataCallback(client, see, client);
    for (const int number : {1, 2, 3, 4}) server.Multicast(FrameBody(number));
    sent = true;
    sent.notify_all();
    frames.Take(2);
    ended.wait(false);
    EXPECT_EQ(Start(client), 0) << "a later start completes the end";
    EXPECT_EQ(log.Count("shut down from its own callback"), 1);
    EXPECT_EQ(frames.Take(0), std::vector<int>{});
}

TEST_F(OwnCallbackTest, AStartWhoseLineShutsItsClientDownFailsAndLeavesItIdle) {
    ClientCore core(0);
    AtEveryLine([&] { EXPECT_EQ(core.Uninitialize(), 0); });
    char unknown[] = "no-host.invalid";
    EXPECT_EQ(core.Initialize(nullptr, unknown), 1);
    EXPECT_EQ(core.Initialize(nullptr, byName), 1);
    EXPECT_TRUE(server.IsQuiet());
    EXPECT_EQ(mistakes, 2);
    EXPECT_FALSE(core.IsSDKSupport());
    EXPECT_TRUE(core.CanBeDestroyed());
    answers = false;
    EXPECT_EQ(Session(core), 0);
}

TEST_F(OwnCallbackTest, AStartWhoseLineDestroysItsClientComesBack) {
    std::atomic<TarvoSDKClient*> object = nullptr;
    {
        const MayStayBehind session;
        object = new TarvoSDKClient;
    }
    AtEveryLine([&] { delete object.exchange(nullptr); });
    EXPECT_EQ(object.load()->Initialize(byName), 1);
    EXPECT_EQ(mistakes, 1);
    answers = false;
    EXPECT_EQ(Start(client), 0) << "nothing of it holds the ports";
}
