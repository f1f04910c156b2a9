#include "core/ScalingQuality.h"

#include <gtest/gtest.h>

extern "C" {
#include <libswscale/swscale.h>
}

namespace {

using quol::LanczosNumber;
using quol::scalerFlags;

TEST(ScalingQuality, OneIsPointAndTwoBilinearForAll) {
    for (const LanczosNumber lanczos : {LanczosNumber::three, LanczosNumber::four}) {
        EXPECT_EQ(scalerFlags(1, lanczos), SWS_POINT);
        EXPECT_EQ(scalerFlags(2, lanczos), SWS_BILINEAR);
    }
}

TEST(ScalingQuality, LanczosIsThreeOfSomeAndFourOfOthers) {
    EXPECT_EQ(scalerFlags(3, LanczosNumber::three), SWS_LANCZOS);
    EXPECT_EQ(scalerFlags(4, LanczosNumber::four), SWS_LANCZOS);
}

TEST(ScalingQuality, AllOthersAreBicubic) {
    EXPECT_EQ(scalerFlags(4, LanczosNumber::three), SWS_BICUBIC);
    EXPECT_EQ(scalerFlags(3, LanczosNumber::four), SWS_BICUBIC);
    for (const int other : {0, -1, 5, 100}) {
        EXPECT_EQ(scalerFlags(other, LanczosNumber::three), SWS_BICUBIC) << other;
        EXPECT_EQ(scalerFlags(other, LanczosNumber::four), SWS_BICUBIC) << other;
    }
}

} // namespace
