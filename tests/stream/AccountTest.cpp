// A client's statistics beside the frame log of a simulated server whose network has one fault.
#include <map>
#include <sstream>

#include "Streaming.h"
#include "tool/ToolRun.h"

// The sums of a frame log's columns, and what became of its frames.
struct FrameLog {
    explicit FrameLog(const std::string& path) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line); ++lines) {
            std::istringstream columns(line);
            std::string time, checksum, state;
            std::int32_t number = 0;
            columns >> time >> number >> checksum >> state;
            std::map<std::string, std::uint64_t> of;
            for (std::string column; columns >> column;)
                of[column.substr(0, column.find('='))] = std::stoul(column.substr(column.find('=') + 1));
            for (const auto& [name, count] : of) sums[name] += count;
            ++states[state];
            wentBack += number <= last ? 1 : 0;
            last = number;
            vanished += state == "broken" && of["lost"] == of["datagrams"] ? 1 : 0;
        }
    }
    std::map<std::string, std::uint64_t> sums, states;
    std::uint64_t lines = 0, vanished = 0, wentBack = 0;
    std::int32_t last = 0;
};

// A fault, and by which counts of the log it moves which counters.
struct Fault {
    const char* options;
    sStreamStatistics (*expected)(FrameLog& log);
    std::chrono::milliseconds callback{0};
};

// Frames that are whole, and the test's own two.
static sStreamStatistics Whole(FrameLog& log) {
    sStreamStatistics s{};
    s.framesDelivered = log.states["whole"] + 2;
    return s;
}

static sStreamStatistics Incomplete(FrameLog& log) {
    sStreamStatistics s = Whole(log);
    s.messagesIncomplete = log.states["broken"];
    s.missingIncomplete = log.states["broken"];
    return s;
}

static sStreamStatistics Vanished(FrameLog& log) {
    sStreamStatistics s = Whole(log);
    EXPECT_EQ(log.vanished, log.states["broken"]);
    s.missingNeverSeen = log.vanished;
    return s;
}

static sStreamStatistics Skipped(FrameLog& log) {
    sStreamStatistics s = Whole(log);
    s.missingNeverSeen = log.states["skipped"];
    return s;
}

static sStreamStatistics OutOfOrder(FrameLog& log) {
    sStreamStatistics s = Whole(log);
    s.messagesOutOfOrder = log.states["broken"];
    s.missingIncomplete = log.states["broken"];
    return s;
}

static sStreamStatistics Repeated(FrameLog& log) {
    sStreamStatistics s = Whole(log);
    s.fragmentsRepeated = log.sums["duplicated"];
    return s;
}

static sStreamStatistics Foreign(FrameLog& log) {
    sStreamStatistics s = Incomplete(log);
    s.rejectedForeign = log.sums["magic"];
    return s;
}

static sStreamStatistics Restarted(FrameLog& log) {
    sStreamStatistics s = Whole(log);
    s.numbersWentBack = log.wentBack;
    return s;
}

static const Fault kFaults[]{{"", Whole},
                             {"--lose-middle 0.2", Incomplete},
                             {"--lose-frames 0.1", Vanished},
                             {"--skip 0.1", Skipped},
                             {"--reorder 0.05", OutOfOrder},
                             {"--duplicate 0.1", Repeated},
                             {"--wrong-magic 0.02", Foreign},
                             {"--restart-every 97", Restarted},
                             {"", Whole, std::chrono::milliseconds(20)}};

struct AccountTest : Streaming, testing::WithParamInterface<std::size_t> {
    // The handshake is with the scripted server, which leaves the port before the simulated one takes it: so the
    // client hears that one's stream from the first frame on.
    AccountTest() {
        EXPECT_EQ(Start(client), 0);
        server.Leave();
    }
    void SendFrame(int number) const {
        const Bytes wire = Datagram{103, 0, 50, 0, FrameBody(number)}.Wire();
        const sockaddr_in group = ScriptedServer::Address("239.239.239.52", 5231);
        const int handle = socket(AF_INET, SOCK_DGRAM, 0);
        EXPECT_EQ(
            sendto(handle, wire.data(), wire.size(), 0, reinterpret_cast<const sockaddr*>(&group), sizeof group),
            std::ssize(wire));
        close(handle);
    }
    void AwaitQuiet() const {
        EXPECT_TRUE(Eventually([&, seen = ~std::uint64_t{0}]() mutable {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            return std::exchange(seen, Statistics().datagrams) == seen;
        }));
    }
    static inline std::chrono::milliseconds pause{0};
};

// Reads a feed to its end, in its own time.
static std::uint64_t ReadAll(void* feed, std::chrono::microseconds pause) {
    std::uint64_t read = 0;
    for (; Next(feed, TARVO_WAIT_FOREVER) >= 0; ++read) std::this_thread::sleep_for(pause);
    return read;
}

TEST_P(AccountTest, AFaultMovesItsCountersByWhatTheServerSays) {
    const Fault& fault = kFaults[GetParam()];
    pause = fault.callback;
    SetDataCallback(
        client, [](sFrameOfMocapData*, void*) { std::this_thread::sleep_for(pause); }, nullptr);
    std::vector<std::future<std::uint64_t>> readers;
    for (unsigned i = 0; i < 10; ++i)
        readers.push_back(InBackground([feed = Open(i % 2 == 0 ? 8 : TARVO_MAX_FEED_FRAMES), i] {
            return ReadAll(feed, std::chrono::microseconds(40 * i * i));
        }));
    const char* const load = std::getenv("VELMAR_ACCOUNT_LOAD"); // NOLINT(concurrency-mt-unsafe)
    const std::string path = Path("account.txt");
    SendFrame(0); // what comes before the first frame is nobody's loss
    Output(std::string("simulate ") + (load == nullptr ? "--rate 400 --skeletons 2 --frames 300" : load) +
               " --seed 7 --frame-log " + path + " " + fault.options,
           0);
    AwaitQuiet();
    FrameLog sent(path);
    SendFrame(sent.last + 1); // nor what comes behind the last
    AwaitQuiet();
    const sStreamStatistics seen = Statistics();
    sStreamStatistics expected = fault.expected(sent);
    if (fault.callback.count() > 0) { // by how much, the kernel alone knows
        EXPECT_GT(seen.kernelDropped, 0U);
        expected.kernelDropped = sent.sums["datagrams"] + 2 - seen.datagrams;
        expected.missingTooSlow = sent.lines + 2 - seen.framesDelivered;
        expected.framesDelivered = seen.framesDelivered;
        expected.messagesIncomplete = seen.messagesIncomplete;
    }
    EXPECT_EQ(Counters(seen), Counters(expected));

    EXPECT_EQ(Uninitialize(client), 0);
    for (std::size_t i = 0; i < readers.size(); ++i) {
        const std::uint64_t read = readers[i].get();
        const sFeedStatistics of = Of(feeds[i]);
        EXPECT_EQ(of.received, seen.framesDelivered);
        EXPECT_EQ(read + of.dropped, of.received) << "feed " << i;
        EXPECT_EQ(of.dropped > 0, i % 2 == 0 && of.dropped > 0) << "feed " << i << " has room for all";
    }
}

INSTANTIATE_TEST_SUITE_P(, AccountTest, testing::Range<std::size_t>(0, std::size(kFaults)));
