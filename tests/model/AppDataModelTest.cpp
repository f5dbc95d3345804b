// Message bodies and copies of frames: the bytes, every limit, what is shared, and what happens without memory.
#include <climits>
#include <cstddef>
#include <cstring>

#include "support/Bodies.h"

#define MEMBER(name) offsetof(sFrameOfMocapData, name)

const Bytes kFrame(R"(
    D2040000 02000000 'Left 01000000 0000803F 000000C0 00004040 # frame 1234; two marker sets, a marker at 1, -2, 3
    'Bare 00000000 01000000 0000003F 0000803E 0000003E          # other marker at 0.5, 0.25, 0.125
    01000000 07000000 0000803F 00000040 00004040                # rigid body 7 at 1, 2, 3
    0000E040 00000041 0000003F 000080BF 01000000                # turned 7, 8, 0.5, -1
    00008040 0000A040 0000C040 FEFFFFFF 00006041 0000803D 0180  # marker -2 at 4, 5, 6, size 14; residual 0.0625
    02000000 03000000 01000000 09000000 j28 01000000 j20 0000003E 3412 # skeleton 3: bone 9, residual 0.125
    04000000 00000000 01000000 01000000 j16 06000080            # skeleton 4 without bones; labeled marker
    02000000 00002041 0000A0C1 04030201 05000000 EFBEADDE 8877665544332211 CDAB # analog 10, -20; timecodes, others
)");

// Every list at its limit, by its count or by the elements of its first entry.
const Bytes kLargest = [] {
    Bytes body = Bytes("j4 C8000000 'Full C8000000 j2400").Add("j256 01000000 j12", 199).Add("E8030000 j12000");
    body.Add("E8030000 j32 C8000000 j4006").Add("j32 02000000 j46", 999);
    body.Add("64000000 j4 C8000000 j32 C8000000 j4006").Add("j32 03000000 j66", 199).Add("j4 00000000", 99);
    return body.Add("E8030000 j24000 20000000 j150");
}();

// One description of each type and one of none; a marker set has its count before its name.
const Bytes kList(R"(
    06000000 00000000 02000000 'Arm 'Elbow 'Wrist 01000000 j288 0B000000 09000000
    02000000 'Spine 05000000 01000000 0A000000 j288
    03000000 02000000 FDFFFFFF j8 0000803F 00000040 00004040 00008040 z8 # plate 2, scale -3, origin 1 to 3
    000080BF 0000003F z28 0000E040 z248 00000041 j48 04000000 j8200      # rotation -1, 0.5, calibration 7 to 8
    04000000 01000000 'Wand 01000000 02000000 03000080
)");

struct FrameCopy : AppDataModel {
    ~FrameCopy() override {
        EXPECT_EQ(Quorin_FreeFrame(&copy), 0);
        EXPECT_TRUE(ZeroFrom(copy, 0));
    }
    sFrameOfMocapData copy{};
};

template <typename... T>
std::vector<double> Numbers(T... values) {
    return {static_cast<double>(values)...};
}

TEST_F(AppDataModel, FramesHaveTheirLayout) {
    const DecodedFrame f(kFrame);
    ASSERT_EQ(DecodedFrame::Encoded(f.record, kFrame.size()), kFrame);
    const sRigidBodySample& body = f->rigidBodies[0];
    const sSkeletonSample& skeleton = f->skeletons[0];
    EXPECT_EQ(
        Numbers(f.length, f->frameNumber, f->markerSets[0].markers[0].y, f->otherMarkers[0].z, body.id,
                body.position[2], body.orientation[3], body.markerPositions[0].x, body.markerIds[0],
                body.markerSizes[0], body.residual, body.flags, skeleton.id, skeleton.rigidBodies[0].residual,
                f->skeletons[1].id, f->labeledMarkers[0].words[5], f->analogValues[1], f->timecode,
                f->timecodeSubframe, f->auxValue32, f->auxValue64 >> 32, f->flags),
        Numbers(766, 1234, -2, 0.125, 7, 3, -1, 4, -2, 14, 0.0625, 0x8001, 3, 0.125, 4, 0x80000006, -20,
                0x01020304, 5, 0xDEADBEEF, 0x11223344, 0xABCD));
}

TEST_F(AppDataModel, FramesOfEverySizeSurviveTheWireAndTheirFree) {
    for (const Bytes& body : {Bytes("z50"), Bytes("z12 E8030000 z42034"), kLargest}) {
        const DecodedFrame f(body);
        EXPECT_EQ(Numbers(f.result, f.length), Numbers(0, body.size()));
        EXPECT_NE(f->otherMarkers, nullptr);
        EXPECT_EQ(f->skeletons[99].rigidBodies, nullptr);
        EXPECT_TRUE(DecodedFrame::Encoded(f.record, body.size()) == body);
        const sRigidBodySample& last = f->rigidBodies[999];
        const bool full = f->rigidBodyCount == 1000;
        EXPECT_EQ(Numbers(last.markerPositions != nullptr, last.markerIds != nullptr, last.markerSizes != nullptr),
                  Numbers(full, full, full));
        // As an application does with the last frame that it read.
        EXPECT_EQ(Quorin_FreeFrame(f.record), 0);
        EXPECT_TRUE(ZeroFrom(*f.record, 0));
    }
}

TEST_F(AppDataModel, TruncatedFramesLeaveNothingAfterTheCut) {
    using Row = std::pair<std::size_t, std::size_t>; // with fewer bytes everything from a member on is zero
    for (std::size_t size = 0; size < kFrame.size(); ++size) {
        const DecodedFrame decoded({kFrame.data(), size});
        ASSERT_EQ(decoded.RefusedAndEmpty(), std::pair(true, false)) << size;
        for (const auto& [needed, member] :
             {Row{4, MEMBER(frameNumber)}, Row{280, MEMBER(markerSets[1])}, Row{544, MEMBER(otherMarkerCount)},
              Row{560, MEMBER(rigidBodyCount)}, Row{620, MEMBER(rigidBodies[0].residual)},
              Row{634, MEMBER(skeletons[0].rigidBodyCount)}, Row{704, MEMBER(labeledMarkerCount)},
              Row{732, MEMBER(analogCount)}, Row{744, MEMBER(timecode)}, Row{752, MEMBER(auxValue32)},
              Row{766, MEMBER(flags)}}) {
            if (size >= needed) continue;
            EXPECT_TRUE(ZeroFrom(*decoded.record, member)) << size << " of " << needed;
            break;
        }
    }
}

TEST_F(FrameCopy, FrameCountsBeyondTheirBoundsOrTheBytesAreRefused) {
    // What leads to a count, its bound, and its member of the frame; 0 when it is not inline.
    using Row = std::tuple<const char*, int, std::size_t>;
    for (const auto& [before, bound, member] :
         {Row{"z4", 200, MEMBER(markerSetCount)}, Row{"z4 01000000 z256", 200, MEMBER(markerSets[0].markerCount)},
          Row{"z8", 1000, MEMBER(otherMarkerCount)}, Row{"z12", 1000, MEMBER(rigidBodyCount)},
          Row{"z12 01000000 z32", 200, MEMBER(rigidBodies[0].markerCount)}, Row{"z16", 100, MEMBER(skeletonCount)},
          Row{"z16 01000000 z4", 200, MEMBER(skeletons[0].rigidBodyCount)},
          Row{"z16 01000000 z4 01000000 z32", 200, 0}, Row{"z20", 1000, MEMBER(labeledMarkerCount)},
          Row{"z24", 32, MEMBER(analogCount)}}) {
        for (const int count : {bound, bound + 1, -1, INT_MIN, INT_MAX}) {
            Bytes body = Bytes(before).Add("z4");
            std::memcpy(&*body.end() - 4, &count, 4);
            const DecodedFrame cut(body);
            EXPECT_TRUE(cut.Refused()) << before << ' ' << count;
            EXPECT_LT(cut.taken, sizeof copy + 200) << before << ' ' << count;
            const DecodedFrame decoded(body.Add("z60000"));
            const bool accepted = count == bound || (count < 0 && member == MEMBER(skeletonCount));
            EXPECT_EQ(decoded.Refused(), !accepted) << before << ' ' << count;
            const auto* const stored = reinterpret_cast<const char*>(decoded.record) + member;
            EXPECT_EQ(member == 0 ? 0 : std::memcmp(stored, &count, 4), 0) << before << ' ' << count;
            EXPECT_EQ(Quorin_CopyFrame(decoded.record, &copy), 0);
            EXPECT_EQ(Quorin_FreeFrame(&copy), 0);
        }
    }
}

TEST_F(FrameCopy, StandsAfterItsSourceIsReleased) {
    for (const Bytes& body : {kLargest, Bytes("z12 E8030000 z42034")}) {
        auto source = std::make_unique<DecodedFrame>(body);
        EXPECT_EQ(Quorin_CopyFrame(source->record, &copy) + Quorin_CopyFrame(source->record, source->record), 0);
        EXPECT_TRUE(DecodedFrame::Encoded(source->record, body.size()) == body);
        source.reset();
        EXPECT_TRUE(DecodedFrame::Encoded(&copy, body.size()) == body);
        EXPECT_EQ(Quorin_FreeFrame(&copy), 0);
    }
    EXPECT_EQ(Quorin_CopyFrame(nullptr, &copy) + Quorin_CopyFrame(&copy, nullptr), 4);
    EXPECT_EQ(Quorin_FreeFrame(nullptr) + Quorin_FreeDescriptions(nullptr), 4);
}

TEST_F(FrameCopy, SharesArraysWithoutElementsAndNeverReleasesThem) {
    sFrameOfMocapData source{};
    sTriple triple{};
    sRigidBodySample bone;
    for (const int count : {0, -1}) {
        source.markerSetCount = source.rigidBodyCount = source.skeletonCount = 1;
        source.otherMarkerCount = source.markerSets[0].markerCount = count;
        source.rigidBodies[0].markerCount = source.skeletons[0].rigidBodyCount = count;
        source.otherMarkers = source.markerSets[0].markers = source.rigidBodies[0].markerPositions = &triple;
        source.skeletons[0].rigidBodies = &bone;
        EXPECT_EQ(Quorin_CopyFrame(&source, &copy), 0);
        for (const auto* array :
             {copy.otherMarkers, copy.markerSets[0].markers, copy.rigidBodies[0].markerPositions})
            EXPECT_EQ(array, &triple);
        EXPECT_EQ(copy.skeletons[0].rigidBodies, &bone);
        EXPECT_EQ(Quorin_FreeFrame(&copy), 0);
    }
}

TEST_F(FrameCopy, RunningOutOfMemoryLeavesWhatCanBeReleased) {
    const DecodedFrame whole(kFrame);
    for (int n = 0; n < 10; ++n) { // the record, and an array of each list with elements
        const DecodedFrame decoded(kFrame, n);
        EXPECT_EQ(decoded.RefusedAndEmpty(), std::pair(true, n == 0)) << n;
        Heap::untilFailure = n < 9 ? n : -1;
        EXPECT_EQ(Quorin_CopyFrame(whole.record, &copy), n < 9 ? 2 : 0);
        EXPECT_TRUE(n == 9 || ZeroFrom(copy, 0)) << n;
    }
}

TEST_F(AppDataModel, ListsHaveTheirLayout) {
    sDataDescriptions* list = nullptr;
    int length = 0;
    ASSERT_EQ(CAppDataModel().DecodeDescription(kList.data(), length, list), 0);
    ASSERT_EQ(DecodedList::Encoded(list, kList.size()), kList);
    const auto data = [&](int index) { return list->descriptions[index].data; };
    const auto& set = *static_cast<sMarkerSetInfo*>(data(0));
    const auto& skeleton = *static_cast<sSkeletonInfo*>(data(3));
    const auto& plate = *static_cast<sForcePlateInfo*>(data(4));
    const auto& group = *static_cast<sPointGroupInfo*>(data(5));
    EXPECT_EQ(set.name + std::string(set.markerNames[1]) + skeleton.name + group.name, "ArmWristSpineWand");
    EXPECT_EQ(Numbers(length, static_cast<sRigidBodyInfo*>(data(1))->words[72], skeleton.id,
                      skeleton.rigidBodies[0].words[0], plate.id, plate.scaleFactor, plate.origin[2],
                      plate.sensorOffset[0], plate.rotation[0][1], plate.calibration[7][7], plate.channelLayout,
                      group.points[0].words[2]),
              Numbers(kList.size(), 11, 5, 10, 2, -3, 3, 4, 0.5, 8, 4, 0x80000003));
    EXPECT_EQ(Quorin_FreeDescriptions(list), 0);
}

TEST_F(AppDataModel, EntriesWithoutARecordAreWrittenAsEmptyOnes) {
    char name[256] = "Toe";
    char* names[2] = {nullptr, name};
    sMarkerSetInfo sets[] = {{"Foot", 0, names}, {"Foot", 2, nullptr}, {"Foot", 2, names}};
    sPointGroupInfo pointless{"Wand", 0, nullptr};
    sDataDescriptions list{10, {}};
    for (int i = 0; const int type : {0, 0, 0, 0, 1, 2, 3, 4, 4, 9}) list.descriptions[i++].type = type;
    for (int i = 0; i < 3; ++i) list.descriptions[i + 1].data = &sets[i];
    list.descriptions[8].data = &pointless;
    list.descriptions[9].data = name;
    const Bytes body(
        "0A000000 00000000 z260 00000000 z260 00000000 02000000 'Foot z512 00000000 02000000 'Foot z256 'Toe "
        "01000000 z292 02000000 z264 03000000 z8584 04000000 z260 04000000 00000000 'Wand 09000000");
    EXPECT_EQ(DecodedList::Encoded(&list, body.size()), body);
}

TEST_F(AppDataModel, ListCountsBeyondTheirBoundsOrTheBytesAreRefused) {
    for (const auto* full :
         {"00000000", "FFFFFFFF", "C8000000 z52800", "01000000 02000000 z260 C8000000 z58400"}) {
        EXPECT_EQ(DecodedList(Bytes{full}).length, std::ssize(Bytes(full))) << full;
    }
    // One entry or bone too many; a byte short; a count of -1; a size that wraps in 32 bits.
    for (const auto* words : {"C9000000 z53064", "01000000 02000000 z260 C9000000 z58692",
                              "01000000 00000000 02000000 z767", "01000000 02000000 z260 03000000 z875",
                              "01000000 04000000 02000000 z279", "01000000 00000000 FFFFFFFF z512",
                              "01000000 02000000 z260 FFFFFFFF z292", "01000000 04000000 FFFFFFFF z268",
                              "01000000 00000000 01000001 z512", "01000000 04000000 56555515 z268"}) {
        const DecodedList decoded(Bytes{words});
        EXPECT_EQ(decoded.RefusedAndEmpty(), std::pair(true, true)) << words;
        EXPECT_LT(decoded.taken, 100000) << words;
    }
    for (std::size_t size = 0; size < kList.size(); ++size) {
        const DecodedList decoded({kList.data(), size});
        ASSERT_EQ(decoded.RefusedAndEmpty(), std::pair(true, true)) << size;
    }
}

TEST_F(AppDataModel, AnEntryWithoutMemoryHasNoRecordAndTheRestDecodes) {
    EXPECT_TRUE(DecodedList(kList, 0).Refused());
    const int entryOf[] = {0, 0, 0, 0, 1, 3, 4, 5, 5}; // the entry that each allocation after the list's is for
    for (int n = 0; n < 9; ++n) {
        const DecodedList list(kList, n + 1);
        ASSERT_EQ(list.length, std::ssize(kList)) << n;
        for (const int i : {0, 1, 3, 4, 5}) EXPECT_EQ(list->descriptions[i].data == nullptr, i == entryOf[n]) << n;
    }
}

TEST_F(AppDataModel, MediaCarryTheImageAndZeroesWhereItIsMissing) {
    Bytes image("04000000 E0930400 j300000");
    EXPECT_TRUE(DecodedMedia(image, 0).Refused());
    for (const std::size_t size : {300008U, 300007U, 7U, 0U}) {
        const DecodedMedia packet({image.data(), size});
        std::fill(image.begin() + static_cast<std::ptrdiff_t>(size), image.end(), 0);
        EXPECT_EQ(Numbers(packet.length, packet->length), Numbers(300008, size > 6 ? 300000 : 0)) << size;
        EXPECT_TRUE(DecodedMedia::Encoded(packet.record, 300008) == image) << size;
    }
}
