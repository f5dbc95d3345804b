// The conversation with one page: what it is told and in which order, and which frames it gets.
#include "view/PageLink.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "view/CountedFrames.h"

struct Said {
    std::string happens; // "+3": frames come; "keep 2": the others go; what the page says
    std::string next;    // what goes to it then: "place skipped oldest-newest", a text, or nothing
};

struct PageLinkTest : testing::Test {
    std::string Next(PageLink& link) const {
        const auto next = link.Next(12.5);
        if (!next || !next->body) return next ? next->text : "";
        std::uint32_t words[2];
        double times[3];
        std::memcpy(words, next->prefix.data(), sizeof words);
        std::memcpy(times, next->prefix.data() + sizeof words, sizeof times);
        EXPECT_EQ(words[0], kFrameMagic);
        EXPECT_EQ(times[0], 12.5);
        return std::to_string(next->body->front()) + " " + std::to_string(words[1]) + " " +
               std::to_string(static_cast<int>(times[1])) + "-" + std::to_string(static_cast<int>(times[2]));
    }
    void Happen(PageLink& link, const std::string& what) {
        if (what[0] == '+')
            history.Add(std::stoul(what));
        else if (what.starts_with("keep "))
            history.Keep(std::stoul(what.substr(5)));
        else
            EXPECT_TRUE(what.empty() || link.Take(what)) << what;
    }
    void Converse(bool follows, const std::vector<Said>& steps) {
        PageLink link(board, history, follows);
        for (const Said& step : steps) {
            Happen(link, step.happens);
            EXPECT_EQ(Next(link), step.next) << "after " << step.happens;
        }
    }

    StateBoard board;
    CountedFrames history;
    const std::string taken = R"({"type":"taken"})", live = R"({"type":"live"})";
};

static std::string At(const std::string& what) { return R"({"type":"at",)" + what + "}"; }

TEST_F(PageLinkTest, OneFrameIsOnItsWayTheNewestFollowsAndWhatWasPassedOverIsCounted) {
    history.Add(3);
    Converse(true, {{"", "2 0 0-2"}, // earlier ones were not passed over
                    {"+1", ""},
                    {"+4", ""},
                    {taken, "7 4 0-7"},
                    {taken, ""},
                    {taken, ""},
                    {live, ""},
                    {"+1", "8 4 0-8"},
                    {"keep 0", ""},
                    {taken, ""},
                    {"+2", "10 5 9-10"}});
}

TEST_F(PageLinkTest, APageThatHoldsGetsTheFramesItAsksForAndThoseMeanwhileAreNotSkipped) {
    history.unreadable = {4, 5};
    Converse(false, {{"", ""},
                     {"+10", "0 0 0-9"},
                     {At(R"("index":5)"), ""},
                     {At(R"("index":3)"), ""}, // counts, as the newest
                     {taken, "3 0 0-9"},
                     {taken, ""},
                     {At(R"("index":4)"), "6 0 0-9"},
                     {live, ""},
                     {taken, "9 0 0-9"},
                     {taken, ""},
                     {"+3", "12 2 0-12"},
                     {At(R"("index":10)"), ""},
                     {live, ""},
                     {taken, "12 2 0-12"}});
    history.Keep(3);
    PageLink link(board, history, false);
    for (const auto& [place, nearest] : {std::pair(R"("index":2)", "10"),
                                         {R"("index":-1e300)", "10"},
                                         {R"("index":1e300)", "12"},
                                         {R"("ms":1119.9)", "11"},
                                         {R"("ms":0)", "10"}}) {
        Happen(link, At(place));
        EXPECT_EQ(Next(link).substr(0, 2), nearest) << place;
        Happen(link, taken);
    }
}

TEST_F(PageLinkTest, StateGoesFirstTheNewestOfEachAndListsBringWhatIsNew) {
    using Topic = StateBoard::Topic;
    using List = StateBoard::List;
    PageLink link(board, history, true);
    int told = 0;
    board.OnChange([&] { ++told; });
    board.Append(List::kLog, {{"text", "a\xFF"}});
    history.Add(1);
    for (const int version : {1, 2, 2}) board.Publish(Topic::kHello, {{"version", version}});
    Happen(link, R"({"type":"ping","id":1})");
    Happen(link, R"({"type":"ping","id":7.5})");
    EXPECT_EQ(told, 3) << "the same again is no news";
    EXPECT_EQ(Next(link), R"({"type":"hello","version":2})");
    EXPECT_EQ(Next(link), "{\"type\":\"log\",\"anew\":true,\"lines\":[{\"text\":\"a\uFFFD\"}]}");
    EXPECT_EQ(Next(link), R"({"type":"pong","id":7.5,"clock_ms":12.5})");
    EXPECT_EQ(Next(link), "0 0 0-0");
    board.Append(List::kLog, 1);
    board.Append(List::kLog, 2);
    EXPECT_EQ(Next(link), R"({"type":"log","anew":false,"lines":[1,2]})");
    for (std::size_t i = 0; i < StateBoard::kMostEntries; ++i) board.Append(List::kLosses, 5);
    EXPECT_TRUE(Next(link).starts_with(R"({"type":"losses","anew":true,"marks":[5,5,)"));
    for (std::size_t i = 0; i <= StateBoard::kMostEntries; ++i) board.Append(List::kLosses, 6);
    const std::string all = Next(link);
    EXPECT_TRUE(all.starts_with(R"({"type":"losses","anew":true,"marks":[6,)")) << "some have gone unseen";
    EXPECT_EQ(std::ranges::count(all, '6'), StateBoard::kMostEntries);
    EXPECT_EQ(Next(link), "");
}

TEST_F(PageLinkTest, WhatIsNoMessageOfAPageIsRefused) {
    PageLink link(board, history, true);
    const std::string padding(kMaxPageMessage - taken.size(), ' ');
    EXPECT_TRUE(link.Take(taken + padding));
    const std::string rubbish[] = {taken + padding + " ",
                                   taken + taken,
                                   std::string(kMaxPageMessage, '['),
                                   std::string(1, '\0'),
                                   At(R"("index":"1")"),
                                   At(R"("index":null)"),
                                   At(R"("index":1,"ms":2)"),
                                   At(R"("place":1)"),
                                   "",
                                   "null",
                                   "[]",
                                   "\"taken\"",
                                   "{}",
                                   R"({"type":"taken")",
                                   R"({"type":"Taken"})",
                                   R"({"type":["taken"]})",
                                   R"({"type":"taken","id":1})",
                                   R"({"type":"ping"})",
                                   R"({"type":"ping","id":"1"})",
                                   R"({"type":"ping","id":1e999})",
                                   R"({"type":"live","ms":1})",
                                   "{\"type\":\"taken\xFF\"}"};
    for (const std::string& text : rubbish) EXPECT_FALSE(link.Take(text)) << text;
}
