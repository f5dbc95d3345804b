// What the tool makes of numbers.
#include "Wording.h"

#include <gtest/gtest.h>

#include "motion/WalkingFigure.h"
#include "simulate/FrameComposer.h"

TEST(Wording, ThingsAgreeWithTheirNumber) {
    EXPECT_EQ(Counted(0, "frame"), "0 frames");
    EXPECT_EQ(Counted(1, "rigid body"), "1 rigid body");
    EXPECT_EQ(Counted(2, "rigid body"), "2 rigid bodies");
}

// 30 frames a second, hundredths of a frame.
TEST(Wording, ATimecodeIsTheTimeOfTheStream) {
    const WalkingFigure figure;
    const ForcePlateRig none({});
    FrameComposer composer(figure, none, Load{});
    const sFrameOfMocapData& frame = composer.ComposeAt(1, 3723 + 4.05 / 30);
    EXPECT_EQ(TimecodeText(frame.timecode, frame.timecodeSubframe), "01:02:03:04.05");
    EXPECT_EQ(TimecodeText(0x17FF0000, 1234), "23:255:00:00.1234");
}
