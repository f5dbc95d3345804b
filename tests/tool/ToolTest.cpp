// The tool from outside: what its users type, see and get as exit code.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ToolRun.h"

using testing::HasSubstr;

namespace {

// A root that walks one unit along x in 40 frames, in a Y-up file, with a joint ten units above it.
std::string TinyRecording() {
    std::string text =
        "HIERARCHY\nROOT Hips\n{\n OFFSET 0 0 0\n"
        " CHANNELS 6 Xposition Yposition Zposition Zrotation Yrotation Xrotation\n"
        " JOINT Head\n {\n  OFFSET 0 10 0\n  CHANNELS 3 Zrotation Yrotation Xrotation\n"
        "  End Site\n  {\n   OFFSET 0 1 0\n  }\n }\n}\nMOTION\nFrames: 41\nFrame Time: 0.01\n";
    for (int i = 0; i <= 40; ++i) text += std::to_string(i / 40.0) + " 20 -30 0 0 0 0 0 0\n";
    return TemporaryFile("tiny.bvh", text);
}

} // namespace

TEST(Tool, NamesTheMistakeInOneLine) {
    const std::string noMotion = TemporaryFile("none.bvh", "HIERARCHY\n");
    struct Row {
        std::string commandLine;
        const char* text;
    };
    for (const Row& row : {
             Row{"", "subcommand"},
             {"frob", "no command 'frob': it takes one of simulate, watch"},
             {"simulate --rate abc", "--rate: takes a number from 0.1 to 10000, not 'abc'"},
             {"simulate --rate 0", "--rate"},
             {"simulate --rate", "--rate"},
             {"simulate --frames 1.5", "--frames: takes a whole number"},
             {"simulate --skeletons 101", "--skeletons: takes a whole number from 0 to 100"},
             {"simulate --analog 19", "--analog (with the channels of the force plates): 33 are more than the 32"},
             {"simulate --force-plates nine", "--force-plates: nine not in {six,eight,both,none}"},
             {"simulate --server-version 1.2.3", "--server-version: takes four numbers"},
             {"simulate --server-version 1.2.3.256", "--server-version: takes four numbers"},
             {"simulate --motion /none", "--motion: File does not exist: /none"},
             {"simulate --motion " + noMotion, "--motion"},
             {"simulate --interface 10.1.2.3", "or its name, not '10.1.2.3'"},
             {"simulate --scale 0.1", "--scale requires --motion"},
             {"simulate --ttl 256", "--ttl: takes a whole number from 0 to 255"},
             {"simulate --skeletons 100 --marker-sets 200 --rigid-bodies 1000 --other-markers 1000 --markers 1000 "
              "--motion " +
                  TinyRecording() + " --scale x",
              "--scale"},
             {"simulate --colour red", "--colour"},
             {"watch", "SERVER"},
             {"watch 127.0.0.1 --seconds 0", "--seconds"},
             {"watch 127.0.0.1 --interface eth9",
              "--interface: takes the name or the IPv4 address of an interface"},
             {"send 127.0.0.1", "TEXT"},
#ifdef VELMAR_WITH_VIEW
             {"view", "SERVER|FILE"},
             {"view 127.0.0.1 --listen rubbish", "--listen: takes an IPv4 address of this machine, not 'rubbish'"},
             {"view 127.0.0.1 --interface eth9", "--interface: takes the name or the IPv4 address"},
             {"view 127.0.0.1 --history 0", "--history: takes a number from 1 to 3600"},
#endif
         }) {
        SCOPED_TRACE(row.commandLine);
        const std::string text = Output(row.commandLine, 2);
        EXPECT_THAT(text, HasSubstr(row.text));
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    }
}

TEST(Tool, AWatcherSeesEveryFrameOfAFullLoad) {
    Server server("--rate 250 --skeletons 10 --rigid-bodies 50 --other-markers 40 --marker-sets 12 --analog 9");
    const std::string text = Output("watch 127.0.0.1 --frames 300", 0);
    EXPECT_THAT(text, HasSubstr("12 marker sets (252 markers), 10 skeletons (210 bones), 50 rigid bodies, "
                                "210 labelled markers, 40 other markers, 9 analog channels\n"));
    EXPECT_THAT(text, HasSubstr("plate 2: "));
    EXPECT_THAT(text, HasSubstr(" 0 lost, 2"));
    EXPECT_THAT(server.Stop(), HasSubstr("0 of them not whole"));
}

TEST(Tool, PlaysARecordingInMetresWithZUp) {
    Server server("--motion " + TinyRecording() + " --scale 0.1 --rate 500");
    EXPECT_THAT(Output("watch 127.0.0.1 --frames 100", 0), HasSubstr("+3.000 +2.000 m"));
}

TEST(Tool, ListsWhatTheServerDescribes) {
    Server server("--rigid-bodies 1 --skeletons 2");
    const auto document = nlohmann::json::parse(Output("info 127.0.0.1 --json", 0));
    EXPECT_EQ(document["server"]["version"], "2.5.28.75");
    std::vector<std::string> types;
    for (const auto& entry : document["descriptions"]) types.push_back(entry["type"]);
    EXPECT_EQ(types, (std::vector<std::string>{"force plate", "force plate", "marker set", "marker set",
                                               "skeleton", "skeleton", "point group", "rigid body"}));
    EXPECT_EQ(document["descriptions"][5]["bones"][20]["name"], "RightToe");
    EXPECT_EQ(document["descriptions"][7]["name"], "Body1");
    EXPECT_EQ(document["descriptions"][6]["points"].size(), 42);
    Output("record 127.0.0.1 --frames 1 -o " + Path("one.pcap"), 0);
    Output("export " + Path("one.pcap") + " --format json -o " + Path("one"), 0);
    std::ifstream lines(Path("one/frames.jsonl"));
    EXPECT_TRUE(nlohmann::json::parse(lines)["arrival_s"].is_number());
}

TEST(Tool, AServerSaysWhatItDoesNotDescribe) {
    const struct {
        std::string options, said;
    } rows[] = {
        {"--skeletons 30", "leave out 13 skeletons (Figure18 to Figure30), 1 point group (Labelled markers): "},
        {"--rigid-bodies 500", "leave out 305 rigid bodies (Body196 to Body500): a reply holds 200 entries "},
        // The highest value of an option is one of its values.
        {"--skeletons 100 --rigid-bodies 0 --ttl 255 --rate 10000 --loss 1", "a frame holds 100 skeletons"}};
    for (const auto& [options, said] : rows)
        EXPECT_THAT(Output("simulate --frames 1 " + options, 0), HasSubstr(said));
}

TEST(Tool, CommandsChangeTheStream) {
    Server server("--rate 0.1");
    EXPECT_THAT(Output("send 127.0.0.1 'rate 10001'", 0), HasSubstr("not \"10001\""));
    for (const std::string text : {"rate 400", "'rate 400'"})
        EXPECT_EQ(Output("send 127.0.0.1 " + text, 0), "rate 400 Hz\n");
    EXPECT_THAT(Output("watch 127.0.0.1 --frames 50", 0), HasSubstr(" 0 lost"));
    EXPECT_EQ(Output("send 127.0.0.1 pause", 0), "paused\n");
    EXPECT_THAT(Output("send 127.0.0.1 status", 0), HasSubstr("paused at 400 Hz"));
    EXPECT_THAT(Output("watch 127.0.0.1", 1),
                testing::ContainsRegex("No frame arrived within [0-9.]+ s\\..*, on interface lo\\."));
    EXPECT_EQ(Output("send 127.0.0.1 resume", 0), "resumed\n");
    EXPECT_THAT(Output("watch 127.0.0.1 --frames 1", 0), testing::ContainsRegex("[1-9][0-9]* frames? received"));
}

TEST(Tool, ARefusedWatcherShowsTheServersVersion) {
    Server server("--refuse --server-version 3.0.1.7");
    EXPECT_THAT(Output("watch 127.0.0.1", 1), HasSubstr("Found the Server Version is:3.0.1.7"));
}

TEST(Tool, ASilentServerIsExplained) {
    const std::string text = Output("watch 127.0.0.1", 1);
    EXPECT_THAT(text, HasSubstr("port 5230 of 127.0.0.1, over interface lo"));
    EXPECT_THAT(text, HasSubstr("Check: velmar doctor 127.0.0.1"));
}
