// Recording, replaying and exporting from outside, and capture files that others made or that are damaged.
#include <fmt/format.h>

#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>
#include <regex>
#include <thread>

#include "ToolRun.h"
#include "support/CaptureFiles.h"

using testing::HasSubstr;
using namespace std::string_literals;

namespace {

// What a simulated server answers: its description, and that of everything in the frame of the tables.
std::vector<std::string> Answers() {
    Body server;
    Body list;
    server.Text("velmar simulated capture server", 256).Fill(269);
    list.U32(4, 0, 1).Text("Se\"t,1", 256).Text("Heel", 256).U32(1).Text("Stick", 256).U32(7, -1).Fill(28);
    list.U32(2).Text("Ann", 256).U32(15, 1).Text("Hips", 256).U32(1, -1).Fill(28).U32(3).Put(Plate());
    return {Packet(17, 0, Udp(server.bytes, 102, 5230)), Packet(17, 0, Udp(list.bytes, 101, 5230))};
}

// What is left of the sum of 16-bit numbers by which IP and UDP are checked: nothing when all arrived as it was.
std::size_t Unsound(const std::string& bytes, std::size_t sum = 0) {
    for (std::size_t i = 0; i < bytes.size(); ++i)
        sum += static_cast<unsigned char>(bytes[i]) * (i % 2 == 0 ? 256UL : 1UL);
    return sum % 65535;
}

// The datagrams of the stream and the seconds from the first to the last, in a recording whose packets are sound.
std::pair<std::string, double> StreamIn(const std::string& path) {
    std::ifstream input(path, std::ios::binary);
    const std::string file{std::istreambuf_iterator<char>(input), {}};
    std::string stream;
    std::vector<double> times;
    std::uint32_t record[3]; // seconds, nanoseconds, size
    for (std::size_t at = 24; at < file.size(); at += 16 + record[2]) {
        std::memcpy(record, &file[at], sizeof record);
        const std::string packet = file.substr(at + 16, record[2]);
        EXPECT_EQ(Unsound(packet.substr(0, 20)), 0);
        EXPECT_EQ(Unsound(packet.substr(12, 8) + packet.substr(20), 17 + packet.size() - 20), 0);
        EXPECT_NE(packet.substr(26, 2), "\0\0"s) << "sent without a checksum";
        if (packet.substr(22, 2) != Big(5231)) continue;
        stream += packet.substr(28);
        times.push_back(record[0] + record[1] / 1e9);
    }
    return {stream, times.back() - times.front()};
}

// The numbers of the frames, and whether the capture was found damaged.
std::pair<std::vector<int>, bool> Export(const std::string& path) {
    ToolRun run("export " + path + " --force --format json -o " + Path("frames"));
    const std::string said = run.Rest();
    const bool isDamaged = said.find(path + " is damaged") != std::string::npos;
    EXPECT_EQ(run.Wait(), isDamaged ? 3 : 0) << said;
    std::ifstream lines(Path("frames/frames.jsonl"));
    std::vector<int> frames;
    for (std::string line; std::getline(lines, line);)
        frames.push_back(nlohmann::json::parse(line)["frame_number"]);
    return {frames, isDamaged};
}

// A table, each row of frame 9 behind a bar and without what it begins with; those of frame 8 are left out.
std::string Table(const std::string& name) {
    static const std::regex others("\n8,[^\n]*");
    static const std::regex begin("\n9,0[.]375000000,0[.]125000,01:02:03:04[.]05,");
    std::ifstream file(Path(name) + ".csv");
    const std::string table{std::istreambuf_iterator<char>(file), {}};
    return std::regex_replace(std::regex_replace(table, others, ""), begin, "|");
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
        EXPECT_THAT(replay.Line() + replay.Line(), testing::ContainsRegex("serving.*over interface lo, 0 hops"));
        return Output(commandLine, 0);
    };
    EXPECT_THAT(whilePlayed("", "watch 127.0.0.1 --frames 50"), HasSubstr("50 frames received, 0 lost"));
    EXPECT_THAT(whilePlayed(" --loop", "watch 127.0.0.1 --frames 120"), testing::ContainsRegex("1[2-9]. frames"));
    EXPECT_EQ(whilePlayed(" --loop", "info 127.0.0.1 --json"), described);
    whilePlayed(" --speed 3", "record 127.0.0.1 --frames 50 -o " + Path("2.pcap"));
    EXPECT_EQ(StreamIn(Path("2.pcap")).first, StreamIn(Path("1.pcap")).first);
    EXPECT_THAT(Output("replay " + Path("1.pcap") + " --step <" + TemporaryFile("keys", "\n\n\n"), 0),
                HasSubstr("\n3 frames played"));
}

// Its first foot stands on a force plate when the part begins, which is taken for unloaded then.
TEST(Record, APartIsARecordingToo) {
    {
        Server server("--rate 100");
        Output("record 127.0.0.1 --frames 420 -o " + Path("all.pcap"), 0);
    }
    const std::string part = Path("part.pcap");
    EXPECT_THAT(Output("cut " + Path("all.pcap") + " --from 3s --to 4s -o " + part, 0), HasSubstr(": 101 frames"));
    const std::string stream = StreamIn(part).first;
    EXPECT_THAT(StreamIn(Path("all.pcap")).first, HasSubstr(stream));
    const nlohmann::json info = nlohmann::json::parse(Output("info " + part + " --json", 0));
    EXPECT_EQ(info["recording"]["frames"], 101);
    EXPECT_EQ(info["recording"]["rate_hz"], 100);
    EXPECT_EQ(info["recording"]["lost"], 0);
    EXPECT_EQ(info["server"]["name"], "velmar simulated capture server");
    const std::string pulls = "force plate 1 pulls with up to ";
    EXPECT_THAT(std::string(info["recording"]["concerns"][0]), testing::StartsWith(pulls));
    EXPECT_THAT(Output("info " + Path("all.pcap"), 0), testing::Not(HasSubstr(pulls)));
    EXPECT_THAT(Output("export " + part + " -o " + Path("part.d"), 0), HasSubstr(pulls));
    const int last = info["recording"]["last_frame_number"];
    const std::string unloaded = fmt::format(" --unloaded {}-{}", last - 20, last);
    EXPECT_THAT(Output("export " + part + unloaded + " -o " + Path("mended.d"), 0),
                testing::Not(HasSubstr(pulls)));
    {
        ToolRun replay("replay " + part + " --loop");
        EXPECT_THAT(replay.Line() + replay.Line(), HasSubstr("serving"));
        const std::string lines = Output("watch 127.0.0.1 --frames 220 --json", 0);
        EXPECT_THAT(lines, testing::ContainsRegex("\"force_plate_doubt\":\"force plate 1 .*\"final\":true"));
    }
    EXPECT_THAT(Output("cut " + part + " --from 1 -o " + Path("all.pcap"), 1), HasSubstr("all.pcap exists"));
    EXPECT_THAT(Output("cut " + part + " --from 1 --force -o " + part, 1), HasSubstr("is the recording itself"));
    EXPECT_THAT(Output("cut " + part + " --from 9s -o " + Path("none"), 1), HasSubstr("holds no frame from 9 s"));
    EXPECT_THAT(Output("cut " + part + " --from 2.5 -o " + Path("none"), 2), HasSubstr("such as 2.5s, not '2.5'"));
    std::filesystem::resize_file(part, std::filesystem::file_size(part) - 1);
    EXPECT_THAT(Output("cut " + part + " --from 1 -o " + Path("rest"), 3),
                testing::ContainsRegex("damaged.*100 frames in .* can be read"));
    EXPECT_THAT(Output("info " + part, 3), HasSubstr("\n  100 frames in "));
}

TEST(Record, WhatIsWrittenStaysReadable) {
    Server server("--rate 1000");
    for (const auto& [start, code] :
         {std::pair("timeout -s KILL 1", 128 + SIGKILL), {"ulimit -f 400; timeout 20", 1}}) {
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
        ToolRun longer("record 127.0.0.1 --seconds 6 -o " + Path("longer.pcap")); // has frames, and then no more
        const auto late = std::chrono::steady_clock::now() + kPatience;
        while (!std::filesystem::exists(Path("longer.pcap")) && std::chrono::steady_clock::now() < late)
            std::this_thread::yield();
        Output("send 127.0.0.1 pause", 0);
        EXPECT_THAT(Output("record 127.0.0.1 -o " + earlier, 1), HasSubstr("no frame arrived"));
        EXPECT_EQ((std::string{std::istreambuf_iterator<char>(std::ifstream(earlier).rdbuf()), {}}),
                  "a recording");
        EXPECT_THAT(Output("info 127.0.0.1 >/dev/full", 1), HasSubstr("output cannot be written: No space"));
        EXPECT_THAT(longer.Rest(), testing::ContainsRegex(" frames? in [6-9][.]"));
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
    Body frame;
    frame.U32(9, 1).Text("Se\"t,1", 256).U32(1).F32(1.F, 2.F, 3.F).U32(1).F32(4.F, 5.F, 6.5F);
    frame.U32(1, 7).F32(8.F, 9.F, 10.F, 0.5F, 0.25F, 0.75F, -1.F).U32(1).F32(11.F, 12.F, 13.F).U32(14);
    frame.F32(0.25F, 0.5F).U16(3).U32(1, 15, 1, 16).F32(17.F, 18.F, 19.F, 1.F, 2.F, 3.F, 4.F).U32(0);
    frame.F32(unknown).U16(65535).U32(1, 20).F32(21.F, 22.F, 23.F, 24.F).U32(-1);
    frame.U32(7).F32(1.F, 2.F, 4.F, 4.F, 8.F, 10.F, 0.3F);
    frame.U32(0x01020304, 5, -26, 27, 0).U16(28);
    for (const bool described : {true, false}) {
        std::vector<std::string> packets = described ? Answers() : std::vector(2, Packet(6));
        packets.push_back(Packet(17, 0, Udp(FrameBody(8, {0, 0, 0, 0, 0, 0})))); // of unloaded plates
        packets.push_back(Packet(17, 0, Udp(frame.bytes)));
        const std::string name = described ? "all" : "bare";
        Output("export --format csv " + TemporaryFile(name, Capture(228, packets)) + " -o " + Path(name + ".d"),
               0);
    }
    const std::string position = "position_x_m,position_y_m,position_z_m";
    const std::string pose =
        position + ",orientation_x,orientation_y,orientation_z,orientation_w,residual_m,flags";
    const std::string markers = "marker_set,marker_index,marker," + position + R"(|"Se""t,1",0,)";
    const std::string bones = "skeleton_id,skeleton,bone_id,bone," + pose + "|15,";
    const std::pair<const char*, std::string> rows[] = {
        {"bare.d/markers", markers + ",1.0,2.0,3.0|,0,,4.0,5.0,6.5"},
        {"all.d/markers", markers + "Heel,1.0,2.0,3.0|,0,,4.0,5.0,6.5"},
        {"bare.d/labeled_markers",
         "marker_index,word_0,word_1,word_2,word_3,word_4,word_5|0,20,1101529088,"
         "1102053376,1102577664,1103101952,4294967295"},
        {"all.d/labeled_markers", "marker_id," + position + ",diameter_m,skeleton_id|20,21.0,22.0,23.0,24.0,-1"},
        {"all.d/rigid_bodies",
         "rigid_body_id,rigid_body," + pose + "|7,Stick,8.0,9.0,10.0,0.5,0.25,0.75,-1.0,0.5,3"},
        {"bare.d/skeleton_bones", bones + ",16,,17.0,18.0,19.0,1.0,2.0,3.0,4.0,,65535"},
        {"all.d/skeleton_bones", bones + "Ann,16,Hips,17.0,18.0,19.0,1.0,2.0,3.0,4.0,,65535"},
        {"all.d/body_markers", "skeleton_id,rigid_body_id,marker_index,marker_id," + position +
                                   ",diameter_m|,7,0,14,11.0,12.0,13.0,0.25"},
        {"bare.d/analog", "channel_index,value|0,1.0|1,2.0|2,4.0|3,4.0|4,8.0|5,10.0|6,0.3"},
        {"all.d/analog", "channel_index,value|0,0.3"},
        {"all.d/force_plates",
         "plate_index,force_x_N,force_y_N,force_z_N,center_of_pressure_x_m,"
         "center_of_pressure_y_m,center_of_pressure_z_m,free_moment_Nm|"
         "0,1.0,2.0,4.0,-1990.0,1020.0,30.0,15000.0"},
        {"all.d/auxiliary", "auxiliary_32,auxiliary_64,flags|4294967270,27,28"}};
    for (const auto& [table, expected] : rows)
        EXPECT_EQ(Table(table), "frame_number,arrival_s,time_s,timecode," + expected + '\n');
}

TEST(Export, WhatCannotBeReadTwiceOrWrittenIsRefusedAndTheInputIsKept) {
    EXPECT_THAT(Output("export /dev/zero --format csv", 1), HasSubstr("is no regular file"));
    const std::string directory = Path("own");
    std::filesystem::create_directory(directory);
    std::ofstream(directory + "/frames.jsonl") << Capture(228, {Packet()});
    EXPECT_THAT(Output("export " + directory + "/frames.jsonl --format json -o " + directory, 1),
                HasSubstr("frames.jsonl is the recording itself"));
    const std::string input = TemporaryFile("many", Capture(228, std::vector(100, Packet())));
    EXPECT_THAT(Output("export " + input + " -o " + directory, 1, kOnAFullDisk),
                testing::ContainsRegex("\nvelmar: " + directory + "/[a-z]+.csv cannot be written: [^\n]*\n$"));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory), {}), 1) << "something is left behind";
    Output("export " + input + " -o " + directory, 0);
    EXPECT_THAT(Output("export " + input + " -o " + directory, 1), HasSubstr("markers.csv exists"));
    Output("export " + input + " -o " + directory + " --force", 0);
}

// A fragment that lost the others waits until its identification comes round.
TEST(Export, AFragmentOfLongAgoIsNotJoined) {
    std::string stale = Udp().substr(24, 32);
    stale[0] = 5; // the number of the frame
    std::vector<std::string> packets(24, Packet(6));
    packets[0] = Packet(17, 0x2003, stale);
    packets.push_back(Packet(17, 0x2000, Udp().substr(0, 24)));
    packets.push_back(Packet(17, 0x0007, Udp().substr(56)));
    packets.push_back(Packet(17, 0x2003, Udp().substr(24, 32)));
    EXPECT_EQ(Export(TemporaryFile("stale", Capture(228, packets))), std::pair(std::vector<int>{7}, false));
}

// The fragments in every order, one of them twice, and other traffic in between.
TEST(Export, CapturesOfAnalysersAreRead) {
    std::vector<std::string> parts{Packet(17, 0x2000, Udp().substr(0, 24)),
                                   Packet(17, 0x2003, Udp().substr(24, 32)), Packet(17, 0x0007, Udp().substr(56))};
    const std::string zeros(12, '\0');
    const std::pair<int, std::string> links[] = {{1, zeros + "\x08\0"s},
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

// Twelve eighths of a second, one of them from a clock that was set back by 1.25 s: that takes no time.
TEST(Replay, DistancesAreKeptAtItsSpeedAlsoWhenTheClockWasSetBack) {
    std::vector<std::string> packets = Answers();
    packets.resize(2 + 9, Packet());
    const std::string file = Capture(228, packets) + Capture(228, std::vector(5, Packet())).substr(24);
    ToolRun replay("replay " + TemporaryFile("set", file) + " --speed 3");
    EXPECT_THAT(replay.Line(), HasSubstr("14 frames in 14 datagrams, 1.00 s"));
    EXPECT_THAT(replay.Line(), HasSubstr("serving"));
    Output("record 127.0.0.1 --frames 14 -o " + Path("3.pcap"), 0);
    const double seconds = StreamIn(Path("3.pcap")).second;
    EXPECT_GT(seconds, 0.42) << "of 0.50";
    EXPECT_LT(seconds, 1.4);
}
