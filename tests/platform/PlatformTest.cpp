// The log, the byte buffer, the locks and the utilities.
#include <unistd.h>

#include <chrono>
#include <future>

#include "platform/Buffer.h"
#include "platform/Mutex.h"
#include "platform/PlatformResource.h"
#include "platform/Signal.h"
#include "platform/Utility.h"
#include "support/Said.h"

using namespace std::chrono;
using namespace System;

// Logged before any test sets a level.
static int earlyKind = 0;
static const int kEarly = (Application::CAppCallBack::SetLogMessageCB([](int kind, char*) { earlyKind = kind; }),
                           COutputMessage::Debug("early"));

TEST(OutputMessage, LevelDecidesWhichKindsPass) {
    EXPECT_EQ(std::pair(kEarly, earlyKind), std::pair(0, 4));
    const LogLines log;
    for (const int level : {-1, 0, 1, 2, 3, 4, 99}) {
        COutputMessage::SetLevel(static_cast<Verbosity>(level));
        COutputMessage::Debug("D%d ", level), COutputMessage::Error("E%d ", level);
        COutputMessage::Warning("W%d ", level), COutputMessage::Info("I%d ", level);
    }
    std::string seen;
    for (const LogLines::Line& line : log.Lines()) seen += std::to_string(line.level) + line.text;
    EXPECT_EQ(seen, "1I1 2W2 1I2 3E3 2W3 1I3 4D4 3E4 2W4 1I4 4D99 3E99 2W99 1I99 ");
}

TEST(OutputMessage, TextsAreCutAt1023CharactersAndOutputIsVerbatim) {
    const std::string text = "100%s %n" + std::string(2000, 'x');
    const LogLines log;
    testing::internal::CaptureStdout();
    for (const int size : {1022, 1023, 1024}) COutputMessage::Error("%.*s", size, text.c_str());
    COutputMessage::Output("%s", text.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), text.substr(0, 1023));
    EXPECT_EQ(log.Words(), std::vector({text.substr(0, 1022), text.substr(0, 1023), text.substr(0, 1023)}));
}

TEST(Buffer, OperationsKeepToTheBlock) {
    Said said;
    CBuffer four, none, empty, copy;
    unsigned char bytes[] = "abcdefgh";
    EXPECT_EQ(said(four.Create(4) || none.Create(0) || four.AddPosition(3) || four.Copy(bytes, 4)), "0");
    EXPECT_EQ(said(four.Paste(bytes + 4, 4) || four.CheckValid(four.Buffer() + 4) || four.Clone(&copy)), "0");
    EXPECT_EQ(said(four.Copy(bytes + 1, 5) + four.Paste(bytes, 5)), "2 Failed.|Failed.");
    EXPECT_EQ(said(empty.Copy(bytes, 0) + four.CheckValid(nullptr)), "2 Failed.|Failed.");
    EXPECT_EQ(said(four.CheckValid(four.Buffer() + 5) + four.CheckValid(four.Buffer() - 1)), "2 Failed.|Failed.");
    EXPECT_EQ(said(four.Clone(&four) + four.Clone(nullptr)), "2 Failed.|Failed.");
    EXPECT_EQ(std::string(bytes, bytes + 8), "abcdabcd");
    EXPECT_EQ(std::pair(four.Position(), copy.Position()), std::pair(3U, 0U));
    EXPECT_TRUE(copy == four);
    EXPECT_FALSE(none.BufferNull());
    copy.Buffer()[3] = 'x';
    EXPECT_EQ(said(copy == four || four == none), "0");
    EXPECT_EQ(said(empty == empty) + said(empty.Clone(&none, &copy)), "0 Failed.1 Failed.");
    EXPECT_EQ(said(copy.BufferNull() && CBuffer(empty).BufferNull()), "1 Failed.|Failed.");
    EXPECT_EQ(said(four.Consign(new unsigned char[2], 2) || four.Recreate(3) || four.Destroy()), "0");
    EXPECT_EQ(none.Destroy(), 0);
    EXPECT_EQ(std::pair(four.BufferNull(), four.Length()), std::pair(true, 0U));
}

TEST(Locks, OperationsOnWhatIsNotCreatedReportAndFail) {
    Said said;
    CMutex mutexes[3]; // never created, destroyed, a copy
    CSignal signals[3];
    EXPECT_EQ(said(mutexes[1].create() || signals[1].create()), "0");
    EXPECT_EQ(said(mutexes[1].create() || signals[1].create()), "0 Warning.|Warning.");
    mutexes[2] = mutexes[1], signals[2] = signals[1];
    EXPECT_EQ(said(mutexes[1].destroy() || signals[1].destroy()), "0");
    for (CMutex& mutex : mutexes) {
        for (const auto act : {&CMutex::lock, &CMutex::trylock, &CMutex::unlock, &CMutex::destroy}) {
            EXPECT_EQ(said((mutex.*act)()), act == &CMutex::destroy ? "0" : "1 Failed.");
        }
    }
    for (CSignal& signal : signals) {
        EXPECT_EQ(said(signal.signal() + signal.wait(0) + signal.destroy()), "2 Failed.|Failed.");
    }
}

TEST(Locks, MutexBelongsToOneThreadUntilEveryLockIsUndone) {
    Said said;
    CMutex mutex;
    EXPECT_EQ(said(mutex.create()), "0");
    const auto elsewhere = [&] { return said(std::async(std::launch::async, &CMutex::trylock, &mutex).get()); };
    {
        const CGuard guard(&mutex);
        std::make_unique<CGuard>(&mutex).reset(); // locked twice, unlocked once
        EXPECT_EQ(elsewhere(), "9");
    }
    EXPECT_EQ(elsewhere(), "0");
}

TEST(Locks, SignalServesOneWaitAndWaitsEndInTime) {
    CSignal signal;
    for (const int result : {signal.create(), signal.signal(), signal.signal(), signal.wait(0)})
        EXPECT_EQ(result, 0);
    for (const unsigned int timeoutMs : {0U, 100U, 999U}) {
        const auto start = steady_clock::now();
        EXPECT_EQ(signal.wait(timeoutMs), 9);
        const auto late = steady_clock::now() - start - milliseconds(timeoutMs);
        EXPECT_GT(late, -5ms) << timeoutMs;
        EXPECT_LT(late, 2s) << timeoutMs;
    }
    std::future<int> waiters[] = {std::async(std::launch::async, &CSignal::wait, &signal, kWaitForever),
                                  std::async(std::launch::async, &CSignal::wait, &signal, 60000)};
    for (int signals = 0; signals <= 2; ++signals) {
        const auto awake = [&](auto& w) { return w.wait_for(seconds(2 * signals)) == std::future_status::ready; };
        EXPECT_EQ(std::ranges::count_if(waiters, awake), signals);
        signal.signal();
    }
    for (const int result : {waiters[0].get(), waiters[1].get(), signal.destroy()}) EXPECT_EQ(result, 0);
}

TEST(Utility, FilesTimesAndTheResourceAreThoseOfTheSystem) {
    Said said;
    const std::string link = testing::TempDir() + "velmar_link" + std::to_string(getpid());
    unsigned long long size = 0;
    ASSERT_EQ(symlink("/proc/self/exe", link.c_str()), 0);
    EXPECT_EQ(said(CUtility::GetFileSize(link.c_str(), size) || CUtility::RemoveFile(link.c_str())), "0");
    EXPECT_EQ(size, 14U);
    EXPECT_EQ(CUtility::GetFileSize(nullptr, size), 1);
    EXPECT_EQ(CUtility::RemoveFile(link.c_str()), 1);
    EXPECT_EQ(said.log.Words(),
              std::vector<std::string>({"Failed.", "Failed syserr:2 No such file or directory"}));

    tagAbsoluteTime time{};
    EXPECT_EQ(CUtility::GetSystemTime(time), 0);
    const sys_days day = year(time.year) / time.month / time.day;
    const auto ago = system_clock::now() - day - hours(time.hour) - minutes(time.minute) - seconds(time.second);
    EXPECT_GE(ago, day - day);
    EXPECT_LT(ago, 3s);
    EXPECT_EQ(weekday(day).c_encoding(), time.dayOfWeek);

    CPlatformResource resource;
    for (const int result : {resource.Initialize(), resource.Destroy(), resource.Initialize()})
        EXPECT_EQ(result, 0);
    EXPECT_NE(resource.Initialize(), 0);
    EXPECT_EQ(said.log.Lines().back(), (LogLines::Line{2, "Already Initialized"}));
}
