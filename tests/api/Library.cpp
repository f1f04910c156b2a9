#include <gtest/gtest.h>

#include <string>

#include "quolsdk/quolsdk_c_api.h"
#include "support/CapturedStream.h"

extern "C" {
#include <libavutil/log.h>
}

TEST(Library, TellsItsVersionAuthorAndCompany) {
    EXPECT_STREQ(quolsdk_get_version(), "0.1.1");
    EXPECT_STREQ(quolsdk_get_author(), "quolmedia");
    EXPECT_STREQ(quolsdk_get_company(), "quolmedia Broadcast Media Sdk Technologies");
}

TEST(Library, TextsAreStatic) {
    EXPECT_EQ(quolsdk_get_version(), quolsdk_get_version());
    EXPECT_EQ(quolsdk_get_author(), quolsdk_get_author());
    EXPECT_EQ(quolsdk_get_company(), quolsdk_get_company());
}

TEST(Library, LoadingItQuietsFFmpegWhichTheHostMayStillRaise) {
    quolsdk_get_version(); // nothing else of the library may be needed for it
    EXPECT_EQ(av_log_get_level(), AV_LOG_FATAL);
    test::CapturedStream error(test::CapturedStream::Stream::error);
    av_log(nullptr, AV_LOG_ERROR, "a fault\n");
    EXPECT_EQ(error.text(), "");
    av_log_set_level(AV_LOG_ERROR);
    av_log(nullptr, AV_LOG_ERROR, "a fault\n");
    EXPECT_EQ(error.text(), "a fault\n");
    av_log_set_level(AV_LOG_FATAL);
}
