// A client's statistics, and what its feeds get, beside the frame log of a simulated server with one fault.
#include <map>
#include <sstream>

#include "Streaming.h"
#include "tool/ToolRun.h"

// The sums of a frame log: its columns, and how many frames were "whole", "broken", "skipped" or wholly
// "vanished", how often numbers went "back", and of datagrams with and without a whole header, those that were
// "cut".
struct FrameLog {
    explicit FrameLog(const std::string& path) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) {
            std::istringstream columns(line);
            std::string time, checksum, state;
            std::int32_t number = 0;
            columns >> time >> number >> checksum >> state;
            std::map<std::string, std::uint64_t> of;
            for (std::string column; columns >> column;)
                of[column.substr(0, column.find('='))] = std::stoul(column.substr(column.find('=') + 1));
            for (const auto& [name, count] : of) sums[name] += count;
            ++sums[state];
            sums["back"] += number <= last ? 1 : 0;
            sums["vanished"] += state == "broken" && of["lost"] == of["datagrams"] ? 1 : 0;
            last = number;
        }
        sums["cut"] = sums["truncated"] - sums["truncated_header"];
    }
    std::map<std::string, std::uint64_t> sums;
    std::int32_t last = 0;
};

// A fault, and which sum of the log each counter is that it moves. Where several faults meet in a frame, what was
// given up and is missing can be read in more than one way, but not what is delivered.
struct Fault {
    const char* options;
    std::vector<std::pair<std::uint64_t sStreamStatistics::*, const char*>> moved{};
    bool isManifold = false;
    std::chrono::milliseconds callback{0};
};
using S = sStreamStatistics;
static const Fault kFaults[]{
    {""},
    {"--lose-middle 0.2", {{&S::messagesIncomplete, "broken"}, {&S::missingIncomplete, "broken"}}},
    {"--lose-frames 0.1", {{&S::missingNeverSeen, "vanished"}}},
    {"--skip 0.1", {{&S::missingNeverSeen, "skipped"}}},
    {"--duplicate 0.1", {{&S::fragmentsRepeated, "duplicated"}}},
    {"--foreign 0.1", {{&S::rejectedWrongLength, "foreign"}}},
    {"--restart-every 97", {{&S::numbersWentBack, "back"}}},
    {"--reorder 0.05", {{&S::messagesOutOfOrder, "broken"}, {&S::missingIncomplete, "broken"}}},
    {"--wrong-magic 0.02",
     {{&S::rejectedForeign, "magic"}, {&S::messagesIncomplete, "broken"}, {&S::missingIncomplete, "broken"}}},
    {"", {}, false, std::chrono::milliseconds(20)},
    {"--loss 0.2 --burst 2", {}, true},
    {"--reorder 0.9", {}, true}, // the last datagram of all is held back too
    {"--truncate 0.3", {{&S::rejectedTooShort, "truncated_header"}, {&S::rejectedWrongLength, "cut"}}, true},
    {"--loss 0.1 --reorder 0.1 --duplicate 0.1 --foreign 0.1 --lose-frames 0.1 --lose-middle 0.1 --skip 0.1",
     {{&S::rejectedWrongLength, "foreign"}},
     true}};

// Reads a feed to its end, in its own time.
static std::uint64_t ReadAll(void* feed, std::chrono::microseconds pause) {
    std::uint64_t read = 0;
    for (; Next(feed, TARVO_WAIT_FOREVER) >= 0; ++read) std::this_thread::sleep_for(pause);
    return read;
}

struct AccountTest : Streaming, testing::WithParamInterface<std::size_t> {
    // The handshake is with the scripted server, which leaves the port before the simulated one takes it: so the
    // client hears that one's stream from the first frame on.
    AccountTest() {
        EXPECT_EQ(Start(client), 0);
        server.LeavePort();
        pause = fault.callback;
        SetDataCallback(
            client, [](sFrameOfMocapData*, void*) { std::this_thread::sleep_for(pause); }, nullptr);
        for (unsigned i = 0; i < 10; ++i)
            readers.push_back(InBackground([feed = Open(i % 2 == 0 ? 8 : TARVO_MAX_FEED_FRAMES), i] {
                return ReadAll(feed, std::chrono::microseconds(40 * i * i));
            }));
    }
    // What comes before the first frame and behind the last is nobody's loss: a frame of the test's own ends both.
    FrameLog StreamBetween() {
        const char* const load = std::getenv("VELMAR_ACCOUNT_LOAD"); // NOLINT(concurrency-mt-unsafe)
        server.Multicast(FrameBody(0));
        Output(std::string("simulate --seed 7 --frame-log ") + Path("account.txt") + " " + fault.options + " " +
                   (load == nullptr ? "--rate 400 --skeletons 2 --frames 300" : load),
               0);
        EXPECT_TRUE(Eventually(IsDry))
            << "there is room for one more, with which the kernel tells what it dropped";
        FrameLog sent(Path("account.txt"));
        server.Multicast(FrameBody(sent.last + 1));
        sent.sums["arrived"] =
            sent.sums["datagrams"] - sent.sums["lost"] + sent.sums["duplicated"] + sent.sums["foreign"] + 2;
        EXPECT_TRUE(Eventually([&, arrived = sent.sums["arrived"]] {
            const sStreamStatistics now = Statistics();
            return now.datagrams + now.kernelDropped == arrived;
        }));
        return sent;
    }
    // Whether no socket of the stream has anything that waits.
    static bool IsDry() {
        std::ifstream table("/proc/self/net/udp");
        bool isDry = true;
        for (std::string line; std::getline(table, line);) {
            auto [port, waiting] = std::pair(0U, 0UL);
            std::sscanf(line.c_str(), "%*d: %*x:%x %*s %*x %*x:%lx", &port, &waiting);
            isDry = isDry && (port != 5231 || waiting == 0);
        }
        return isDry;
    }

    const Fault& fault = kFaults[GetParam()];
    std::vector<std::future<std::uint64_t>> readers;
    static inline std::chrono::milliseconds pause{0};
};

TEST_P(AccountTest, AFaultMovesItsCountersByWhatTheServerSays) {
    FrameLog sent = StreamBetween();
    EXPECT_EQ(Uninitialize(client), 0); // what has arrived is counted then
    const S seen = Statistics();
    S expected = fault.isManifold ? seen : S{};
    expected.framesDelivered = sent.sums["whole"] + sent.sums["torn"] + 2 - seen.messagesUndecodable;
    for (const auto& [counter, sum] : fault.moved) EXPECT_GT(expected.*counter = sent.sums[sum], 0U) << sum;
    if (pause.count() > 0) { // by how much, the kernel alone knows
        EXPECT_GT(seen.kernelDropped, 0U);
        expected.kernelDropped = sent.sums["arrived"] - seen.datagrams;
        expected.missingTooSlow = expected.framesDelivered - seen.framesDelivered;
        expected.framesDelivered = seen.framesDelivered;
        expected.messagesIncomplete = seen.messagesIncomplete;
        EXPECT_TRUE(seen.receiveBufferFullest > seen.receiveBufferGranted / 2) << seen.receiveBufferFullest;
    }
    EXPECT_LE(sent.sums["broken"],
              sent.sums["lost"] + sent.sums["reordered"] + sent.sums["magic"] + sent.sums["truncated"])
        << "a frame is not broken by nothing";
    EXPECT_EQ(Counters(seen), Counters(expected));

    for (std::size_t i = 0; i < readers.size(); ++i) {
        const std::uint64_t read = readers[i].get();
        const sFeedStatistics of = Of(feeds[i]);
        EXPECT_EQ(of.received, seen.framesDelivered);
        EXPECT_EQ(read + of.dropped, of.received) << "feed " << i;
        EXPECT_TRUE(i % 2 == 0 || of.dropped == 0) << "feed " << i << " has room for all";
    }
}

INSTANTIATE_TEST_SUITE_P(, AccountTest, testing::Range<std::size_t>(0, std::size(kFaults)));
