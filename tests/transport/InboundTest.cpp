// What an endpoint makes of datagrams: whole messages of good ones, a report of the others.
#include "Endpoint.h"

static const Bytes kFrame = FrameBody(8); // 50 bytes
enum { kWhole = 4, kUnknown, kRubbish, kFifth };

struct InboundTest : EndpointTest {};

// By index, the four fragments of frame 7, and other datagrams that may come between them.
static std::vector<Datagram> Pick(const std::vector<std::size_t>& order) {
    std::vector<Datagram> pool = Cut(103, 0, FrameBody(7, {}, 400));
    pool.insert(pool.end(), {{103, 0, 50, 0, kFrame}, {200, 0, 0, 0, {}}});
    pool.insert(pool.end(), {{103, 0, 50, 0, kFrame, 50, 0x51F9}, {103, 0, 51, 4, kFrame}});
    std::vector<Datagram> picked;
    for (const std::size_t index : order) picked.insert(picked.end(), pool[index]);
    return picked;
}

// Every row is followed by another message in fragments, which arrives whatever came before.
TEST_F(InboundTest, OnlyWholeMessagesArriveAndRubbishIsReported) {
    const Bytes longest = Body().Put(kFrame).Fill(256 * 1462 - 50).bytes;
    const Bytes endless = Body().Put(longest).Fill(1462).bytes;
    const std::tuple<const char*, std::vector<Datagram>, Texts, std::vector<int>> rows[]{
        {"one byte fewer than stated", {{103, 0, 51, 0, kFrame, 51}}, {"51."}, {}},
        {"one byte more than stated", {{103, 0, 49, 0, kFrame, 49}}, {"49."}, {}},
        {"magic swapped", Pick({kRubbish}), {"20985."}, {}},
        {"length and magic wrong", {{103, 0, 50, 0, kFrame, 9, 9}}, {"9."}, {}},
        {"total below the fragment", {{103, 0, 49, 0, kFrame}}, {}, {}},
        {"whole, with an index other than 0", {{103, 0, 50, 3, kFrame}}, {}, {8}},
        {"unknown type", Pick({kUnknown}), {"error command : 200."}, {}},
        {"a greeting", Cut(106, 0, {}), {}, {}},
        {"a frame without its last byte", Cut(103, 0, Bytes(49)), {}, {}},
        {"an empty frame message", Cut(103, 0, {}), {}, {}},
        {"in order", Pick({0, 1, 2, 3}), {}, {7}},
        {"the first lost", Pick({1, 2, 3}), {"1.", "2.", "3."}, {}},
        {"one lost", Pick({0, 2, 3}), {"2.", "3."}, {}},
        {"swapped", Pick({0, 2, 1, 3}), {"2.", "1.", "3."}, {}},
        {"doubled", Pick({0, 1, 1, 2, 3}), {"1."}, {7}},
        {"trebled", Pick({0, 1, 2, 2, 2, 3}), {"2.", "2."}, {7}},
        {"the last doubled", Pick({0, 1, 2, 3, 3}), {"3."}, {7}},
        {"one behind the last", Pick({0, 1, 2, 3, kFifth}), {"4."}, {7}},
        {"one from further back again", Pick({0, 1, 2, 1, 3}), {"1.", "3."}, {}},
        {"begun again", Pick({0, 1, 0, 0, 1, 2, 3}), {}, {7}},
        {"a whole message between", Pick({0, 1, kWhole, 2, 3}), {"2.", "3."}, {8}},
        {"an unknown one between", Pick({0, 1, kUnknown, 2, 3}), {"error command : 200.", "2.", "3."}, {}},
        {"rubbish between", Pick({0, 1, kRubbish, 2, 3}), {"20985."}, {7}},
        {"256 fragments", Cut(103, 0, longest), {}, {8}},
        {"257 fragments", Cut(103, 0, endless), {}, {}},
        {"more than can be joined", Cut(103, 0, Bytes(540000), 60000), {}, {}},
    };
    ASSERT_EQ(Start(), 0);
    for (unsigned int size = 0; size < 16; ++size) {
        const auto datagram = std::make_unique<unsigned char[]>(size);
        EXPECT_EQ(endpoint.DisposeStream("127.0.0.1", 5230, datagram.get(), size), 1);
        EXPECT_EQ(log.Words().back(), std::to_string(size) + ".");
    }
    for (const auto& [what, datagrams, reports, arrived] : rows) {
        SCOPED_TRACE(what);
        log.Clear();
        Deliver(endpoint, datagrams);
        EXPECT_EQ(log.Words(), reports);
        Deliver(endpoint, Cut(103, 0, FrameBody(9, {}, 300)));
        std::vector<int> expected = arrived;
        expected.push_back(9);
        EXPECT_EQ(frames.Take(1), expected);
    }
}
