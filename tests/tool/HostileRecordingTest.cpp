// Recordings that would become something else than their files say, or far more than they are.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <bit>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "capture/CaptureWriter.h"
#include "export/Sinks.h"
#include "gmock/gmock.h"
#include "gtest/gtest.h"
#include "simulate/ServerRecords.h"
#include "wire/Addresses.h"
#include "wire/Messages.h"

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

struct Body {
    Body& Words(auto... values) {
        const auto add = [this](auto word) {
            const auto bytes = std::bit_cast<std::array<unsigned char, 4>>(word);
            data.insert(data.end(), bytes.begin(), bytes.end());
        };
        (add(values), ...);
        return *this;
    }
    Body& Put(const std::vector<unsigned char>& more) {
        data.insert(data.end(), more.begin(), more.end());
        return *this;
    }
    Body& Fill(std::size_t count) { return Put(std::vector<unsigned char>(count)); }

    std::vector<unsigned char> data;
};

// A frame's body, of which the rest is empty.
Body Frame(int number, const Body& sets, int setCount, const Body& labeled = {}, int labeledCount = 0,
           int channels = 0) {
    Body body;
    body.Words(number, setCount).Put(sets.data).Words(0, 0, 0, labeledCount).Put(labeled.data).Words(channels);
    return body.Fill(sizeof(float) * static_cast<std::size_t>(channels) + 22);
}

Body Set(std::string name, int markers = 1, float coordinate = 0) {
    name.resize(TARVO_NAME_SIZE);
    Body set;
    set.Put({name.begin(), name.end()}).Words(markers);
    for (int i = 0; i < 3 * markers; ++i) set.Words(coordinate);
    return set;
}

} // namespace

class Hostile : public testing::Test {
protected:
    ~Hostile() override { fs::remove_all(m_folder); }

    // Of a simulated server.
    void States(float frameRate) {
        ServerRecord record{};
        std::copy_n(kServerName, sizeof kServerName, record.name);
        record.frameRate = frameRate;
        Write(PackageType_ServerDescription,
              {reinterpret_cast<const unsigned char*>(&record), TARVO_SERVER_DESCRIPTION_SIZE}, 0);
    }
    void Sends(const Body& frame, double seconds) { Write(PackageType_Frame, frame.data, seconds); }

    Take Taken() const { return Take({m_file, {}, {}, {}}); }

    // What the format's first file holds, or why there is none.
    std::string Exported(const char* format, bool wide = false) {
        const fs::path directory = m_folder / "out";
        try {
            Take take = Taken();
            OutputFolder folder(directory, m_file, true);
            m_notes = WriteTake(take, {format, wide}, folder);
            folder.Finish();
        } catch (const std::runtime_error& error) {
            EXPECT_FALSE(fs::exists(directory));
            return error.what();
        }
        const char* const name = std::string_view(format) == "c3d" ? "take.c3d"
                                 : wide                            ? "frames.csv"
                                                                   : "markers.csv";
        std::ifstream file(directory / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::vector<std::string> m_notes;

private:
    void Write(int type, Bytes body, double seconds) {
        const sockaddr_in server = MakeAddress({htonl(INADDR_LOOPBACK)}, kDefaultCommandPort);
        const std::chrono::nanoseconds time(static_cast<long long>((1000 + seconds) * 1e9));
        CutMessage(type, 0, body, [&](Bytes datagram) {
            m_writer.Write({time,
                            server,
                            type == PackageType_Frame ? GroupAddress() : server,
                            {datagram.begin(), datagram.end()}});
            return true;
        });
    }

    fs::path m_folder = fs::temp_directory_path() / ("hostile." + std::to_string(getpid()));
    std::string m_file = [this] { return fs::create_directories(m_folder), m_folder / "take.pcap"; }();
    CaptureWriter m_writer{m_file};
};

TEST_F(Hostile, FewFramesAreNotLetBecomeMillions) {
    States(100'000);
    for (int i = 0; i < 4; ++i) Sends(Frame(i * 5'900'000, Set("Ann"), 1), i * 59);
    for (const char* const format : {"c3d", "opensim", "bvh"})
        EXPECT_THAT(Exported(format),
                    ContainsRegex("take.pcap would become 17700001 rows.*times what was recorded"));
    EXPECT_THAT(Exported("csv"), HasSubstr("17700000,1177.000000000,177.000000,"));
}

TEST_F(Hostile, NamesThatAreOthersInEveryFrameMakeNoTable) {
    States(100);
    for (int i = 0; i < 600; ++i) Sends(Frame(i, Set(fmt::format("Set{}", i), 100), 1), 0.01 * i);
    for (const char* const format : {"csv", "c3d", "opensim"})
        EXPECT_THAT(Exported(format, format == std::string_view("csv")), HasSubstr("times what was recorded"));
    Body labeled;
    for (int i = 600; i < 610; ++i) {
        labeled = {};
        for (int k = 0; k < 1000; ++k) labeled.Words(1000 * i + k).Fill(20);
        Sends(Frame(i, {}, 0, labeled, 1000), 0.01 * i);
    }
    EXPECT_THAT(Exported("csv"), HasSubstr("up to frame 604, names and identifiers tell of more than 65535"));
}

TEST_F(Hostile, ARepeatedFrameMayHoldMoreThanTheOthers) {
    States(100);
    int channels = 1;
    for (const int number : {1, 2, 2, 3})
        Sends(Frame(number, Set("Ann"), 1, {}, 0, number == 2 ? ++channels : 1), 0.01 * number);
    EXPECT_THAT(Exported("csv", true), HasSubstr("z_m,analog 1,analog 2,analog 3\n1,"));
}

TEST_F(Hostile, PlacesAndNamesAreWrittenAsTheFormatsHaveThem) {
    States(1e-30F); // no rate: arrivals tell it
    for (int i = 0; i < 5; ++i) Sends(Frame(i, Set("A\xFF,", 1, 3e38F), 1), 0.01 * i);
    EXPECT_EQ(Taken().timeline.Rate(), 100);
    EXPECT_THAT(Exported("csv"),
                HasSubstr("4,1000.040000000,0.040000,00:00:00:00.00,\"A\xEF\xBF\xBD,\",0,,3e+38,"));
    const std::string c3d = Exported("c3d"); // in millimetres there is no such place
    EXPECT_EQ(c3d.substr(c3d.size() - 16), std::string("\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x80\xBF", 16));
}

TEST_F(Hostile, AsManyEventsAsAC3dFileHasRoomFor) {
    States(100);
    for (int i = 0; i < 5000; ++i) Sends(Frame(2 * i, Set("Ann"), 1), 0.02 * i);
    EXPECT_THAT(Exported("c3d"), HasSubstr("EVENT"));
    EXPECT_THAT(m_notes, testing::Contains("left out: 3999 events behind the first 1000"));
}
