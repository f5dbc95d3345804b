// Recording, replaying and exporting from outside, and capture files that others made or that are damaged.
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>

#include "ToolRun.h"

using testing::HasSubstr;
using namespace std::string_literals;

namespace {

std::string Big(std::size_t value) { return {static_cast<char>(value >> 8U), static_cast<char>(value)}; }
std::string Small(std::size_t value) { return {static_cast<char>(value), static_cast<char>(value >> 8U), 0, 0}; }

template <typename... T>
std::string Raw(T... values) {
    std::string bytes;
    (bytes.append(reinterpret_cast<const char*>(&values), sizeof values), ...);
    return bytes;
}

// A frame, as it follows the IP header: the one with number 7, which is empty, or another.
std::string Datagram(const std::string& frame = Small(7) + std::string(46, '\0')) {
    return Big(40000) + Big(5231) + Big(8 + 16 + frame.size()) + "\0\0\x51\xF9\0\0"s + Small(frame.size()) +
           "\x67\0"s + Small(frame.size()).substr(0, 2) + "\0\0\0\0"s + frame;
}

std::string Packet(int protocol = 17, std::size_t fragment = 0, const std::string& body = Datagram()) {
    return "\x45\0"s + Big(20 + body.size()) + "\0\x07"s + Big(fragment) + "\x40"s + static_cast<char>(protocol) +
           "\0\0\x0A\0\0\x01\xEF\xEF\xEF\x34"s + body;
}

// Eight packets a second.
std::string Capture(std::size_t linkType, const std::vector<std::string>& packets) {
    std::string file = "\xD4\xC3\xB2\xA1\x02\0\x04\0\0\0\0\0\0\0\0\0\0\0\1\0"s + Small(linkType);
    for (std::size_t i = 0; i < packets.size(); ++i) {
        const std::string size = Small(packets[i].size());
        file.append(Small(i / 8)).append(Small(0)).append(size).append(size).append(packets[i]);
    }
    return file;
}

// The datagrams of the stream.
std::string StreamIn(const std::string& path) {
    std::ifstream input(path, std::ios::binary);
    const std::string file{std::istreambuf_iterator<char>(input), {}};
    std::string stream;
    for (std::size_t at = 24, size = 0; at < file.size(); at += 16 + size) {
        std::memcpy(&size, &file[at + 8], 4);
        if (file.substr(at + 38, 2) == Big(5231)) stream += file.substr(at + 44, size - 28);
    }
    return stream;
}

// The numbers of the frames, and whether the capture was found damaged.
std::pair<std::vector<int>, bool> Export(const std::string& path) {
    const std::string said = Output("export " + path + " --format json -o " + Path("frames"), 0);
    std::ifstream lines(Path("frames/frames.jsonl"));
    std::vector<int> frames;
    for (std::string line; std::getline(lines, line);)
        frames.push_back(nlohmann::json::parse(line)["frame_number"]);
    return {frames, said.find(path + " is damaged") != std::string::npos};
}

} // namespace

TEST(Record, AReplayIsLikeTheRecordedServer) {
    std::string described;
    {
        Server server("--rate 250 --rigid-bodies 40");
        EXPECT_THAT(Output("record 127.0.0.1 --frames 50 -o " + Path("1.pcap"), 0), HasSubstr(": 50 frames in "));
        described = Output("info 127.0.0.1 --json", 0);
    }
    const auto whilePlayed = [](const std::string& options, const std::string& commandLine) {
        ToolRun replay("replay " + Path("1.pcap") + options);
        EXPECT_THAT(replay.Line() + replay.Line(), HasSubstr("serving"));
        return Output(commandLine, 0);
    };
    EXPECT_THAT(whilePlayed("", "watch 127.0.0.1 --frames 50"), HasSubstr("50 frames received, 0 lost"));
    EXPECT_THAT(whilePlayed(" --loop", "watch 127.0.0.1 --frames 120"), testing::ContainsRegex("1[2-9]. frames"));
    EXPECT_EQ(whilePlayed(" --loop", "info 127.0.0.1 --json"), described);
    whilePlayed(" --speed 3", "record 127.0.0.1 --frames 50 -o " + Path("2.pcap"));
    EXPECT_EQ(StreamIn(Path("2.pcap")), StreamIn(Path("1.pcap")));
    EXPECT_THAT(Output("replay " + Path("1.pcap") + " --step <" + TemporaryFile("keys", "\n\n\n"), 0),
                HasSubstr("\n3 frames played"));
}

TEST(Record, WhatIsWrittenStaysReadable) {
    Server server("--rate 1000");
    for (const auto& [start, code] : {std::pair("timeout -s KILL 1", 128 + SIGKILL), {"ulimit -f 400;", 1}}) {
        const std::string path = TemporaryFile("ended.pcap", "");
        const std::string shell = std::string(start) + " " VELMAR_BINARY " record 127.0.0.1 -o " + path;
        // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs
        EXPECT_EQ(WEXITSTATUS(std::system(shell.c_str())), code);
        EXPECT_THAT(Export(path), testing::Pair(testing::SizeIs(testing::Gt(20)), false));
    }
    EXPECT_THAT(Output("record 127.0.0.1 -o /dev/full", 1), HasSubstr("/dev/full cannot be written further: No"));
    // Nobody reads the pipe: the recorder cannot even open it.
    const std::string waiting =
        "mkfifo " + Path("pipe") +
        "; timeout --preserve-status -k 5 -s INT 1 " VELMAR_BINARY " record 127.0.0.1 -o " + Path("pipe");
    EXPECT_EQ(WEXITSTATUS(std::system(waiting.c_str())), 1); // NOLINT(concurrency-mt-unsafe): as above
}

TEST(Record, WhatRecordsNothingTouchesNoFile) {
    const std::string earlier = TemporaryFile("earlier.pcap", "a recording");
    {
        Server server("--rate 100");
        Output("send 127.0.0.1 pause", 0);
        EXPECT_THAT(Output("record 127.0.0.1 -o " + earlier, 1), HasSubstr("no frame arrived"));
        EXPECT_EQ((std::string{std::istreambuf_iterator<char>(std::ifstream(earlier).rdbuf()), {}}),
                  "a recording");
        EXPECT_THAT(Output("info 127.0.0.1 >/dev/full", 1), HasSubstr("output cannot be written: No space"));
    }
    Server server("--refuse --server-version 3.0.1.7");
    EXPECT_THAT(Output("record 127.0.0.1 -o /none/x", 1),
                HasSubstr("refuses this client: its version is 3.0.1.7"));
}

TEST(Export, EverythingBeforeTheDamageIsRead) {
    const std::string file = Capture(228, {4, Packet()}) + "SOMETHING ELSE" + std::string(200, 'x');
    const std::size_t record = 16 + Packet().size();
    for (const std::size_t count : {1UL, 3UL, 4UL})
        for (const std::size_t more : {0UL, 1UL, 15UL, 16UL, 17UL, record - 1}) {
            SCOPED_TRACE(testing::Message() << count << " whole records and " << more << " bytes");
            const std::size_t size = 24 + count * record + more;
            EXPECT_EQ(Export(TemporaryFile("cut", file.substr(0, size))),
                      std::pair(std::vector<int>(count, 7), more > 0));
        }
}

TEST(Export, WhatIsNoRecordingIsNamedInOneLine) {
    const std::pair<std::string, const char*> rows[] = {
        {"", "is not a capture file: it is empty"},
        {"HIERARCHY\nROOT Hips\n", "is not a capture file: unknown file format"},
        {Capture(228, {}).substr(0, 23), "is not a capture file: truncated"},
        {Capture(228, {Packet(6)}), "holds no frame sent to 239.239.239.52:5231"},
        {Capture(228, {Packet()}).substr(0, 44), "is damaged"},
        {Capture(228, {Packet().substr(0, 60)}), "captured only in part"},
        {Capture(105, {Packet()}), "was captured on a link of type 105"}};
    for (const auto& [content, text] : rows)
        for (const std::string command : {"replay ", "export --format csv "}) {
            SCOPED_TRACE(command + text);
            const std::string path = TemporaryFile("other", content);
            const std::string line = "velmar: " + path + ".*" + text + "[^\n]*\n";
            EXPECT_THAT(Output(command + path, 1), testing::MatchesRegex(line));
        }
}

TEST(Export, EveryValueOfAFrameStandsInItsTable) {
    const float unknown = std::numeric_limits<float>::quiet_NaN();
    const std::string name = "Se\"t,1" + std::string(250, '\0');
    const std::string frame =
        Raw(9, 1) + name + Raw(1, 1.F, 2.F, 3.F) + Raw(1, 4.F, 5.F, 6.5F) +                   // markers
        Raw(1, 7, 8.F, 9.F, 10.F, 0.F, 0.F, 0.F, 1.F, 1, 11.F, 12.F, 13.F, 14, 0.25F, 0.5F) + // a rigid body
        Raw(std::uint16_t{3}) + Raw(1, 15, 1, 16, 17.F, 18.F, 19.F, 1.F, 0.F, 0.F, 0.F, 0, unknown) + // a bone
        Raw(std::uint16_t{65535}) + Raw(1, 20, 21, 22, 23, 24, -1) + Raw(2, 0.3F, -1.F) +
        Raw(0x01020304, 5, -26, std::uint64_t{27}, std::uint16_t{28});
    Output("export --format csv " + TemporaryFile("one", Capture(228, {Packet(17, 0, Datagram(frame))})) + " -o " +
               Path("tables"),
           0);
    const std::pair<const char*, const char*> rows[] = {
        {"markers", R"("Se""t,1",0,,1.0,2.0,3.0|,0,,4.0,5.0,6.5)"},
        {"rigid_bodies", "7,,8.0,9.0,10.0,0.0,0.0,0.0,1.0,0.5,3"},
        {"skeleton_bones", "15,,16,,17.0,18.0,19.0,1.0,0.0,0.0,0.0,,65535"},
        {"body_markers", ",7,0,14,11.0,12.0,13.0,0.25"},
        {"labeled_markers", "0,20,21,22,23,24,4294967295"},
        {"analog", "0,0.3|1,-1.0"},
        {"force_plates", ""},
        {"auxiliary", "4294967270,27,28"}};
    for (const auto& [table, expected] : rows) {
        std::ifstream file(Path("tables/") + table + ".csv");
        std::string found;
        std::string line;
        std::getline(file, line); // the names of the columns
        const auto columns = std::count(line.begin(), line.end(), ',');
        while (std::getline(file, line)) {
            EXPECT_EQ(line.substr(0, 29), "9,0.000000000,01:02:03:04.05,");
            const bool quoted = line.find(",1\"") != std::string::npos; // with a comma that separates nothing
            EXPECT_EQ(std::count(line.begin(), line.end(), ','), columns + (quoted ? 1 : 0));
            found += (found.empty() ? "" : "|") + line.substr(29);
        }
        EXPECT_EQ(found, expected) << table;
    }
}

TEST(Export, WhatCannotBeReadTwiceIsRefusedAndTheInputIsKept) {
    EXPECT_THAT(Output("export /dev/zero --format csv", 1), HasSubstr("is no regular file"));
    const std::string directory = Path("own");
    std::filesystem::create_directory(directory);
    std::ofstream(directory + "/frames.jsonl") << Capture(228, {Packet()});
    EXPECT_THAT(Output("export " + directory + "/frames.jsonl --format json -o " + directory, 1),
                HasSubstr("frames.jsonl is the recording itself"));
}

// A fragment that lost the others waits until its identification comes round.
TEST(Export, AFragmentOfLongAgoIsNotJoined) {
    std::string stale = Datagram().substr(24, 32);
    stale[0] = 5; // the number of the frame
    std::vector<std::string> packets(24, Packet(6));
    packets[0] = Packet(17, 0x2003, stale);
    packets.push_back(Packet(17, 0x2000, Datagram().substr(0, 24)));
    packets.push_back(Packet(17, 0x0007, Datagram().substr(56)));
    packets.push_back(Packet(17, 0x2003, Datagram().substr(24, 32)));
    EXPECT_EQ(Export(TemporaryFile("stale", Capture(228, packets))), std::pair(std::vector<int>{7}, false));
}

// The fragments in every order, one of them twice, and other traffic in between.
TEST(Export, CapturesOfAnalysersAreRead) {
    std::vector<std::string> parts{Packet(17, 0x2000, Datagram().substr(0, 24)),
                                   Packet(17, 0x2003, Datagram().substr(24, 32)),
                                   Packet(17, 0x0007, Datagram().substr(56))};
    const std::string zeros(12, '\0');
    const std::pair<std::size_t, std::string> links[] = {{1, zeros + "\x08\0"s},
                                                         {1, zeros + "\x81\0\0\5\x08\0"s},
                                                         {113, zeros + "\0\0\x08\0"s},
                                                         {101, ""},
                                                         {228, ""},
                                                         {276, "\x08\0"s + zeros + "\0\0\0\0\0\0"s}};
    for (const auto& [type, head] : links)
        for (int order = 0; order < 6; ++order, std::next_permutation(parts.begin(), parts.end())) {
            SCOPED_TRACE(testing::Message() << "link type " << type << ", head of " << head.size());
            const auto file = Capture(
                type, {"x", head + parts[0], head + Packet(6), head + parts[1], head + parts[0], head + parts[2]});
            EXPECT_EQ(Export(TemporaryFile("analyser", file)).first, std::vector<int>{7});
        }
}

TEST(Replay, AcceptsClientsWithoutRecordedAnswers) {
    ToolRun replay("replay " + TemporaryFile("bare", Capture(228, {Packet(), Packet()})));
    EXPECT_THAT(replay.Line() + replay.Line() + replay.Line(), HasSubstr("has no descriptions"));
    EXPECT_THAT(Output("watch 127.0.0.1 --frames 2", 0), HasSubstr("2 frames received"));
}
