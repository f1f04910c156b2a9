// The flat interface on a system that has no thread left: a host in C can catch nothing.
#include <gtest/gtest.h>

#include "quolsdk/quolsdk_c_api.h"
#include "support/NoThreads.h"

namespace {

TEST(WithoutThreadsApi, WhatStartsOneWhenItIsMadeIsNull) {
    const test::NoThreads none;
    ASSERT_TRUE(none.works());
    EXPECT_EQ(quolsdk_mixer_create(), nullptr);
    EXPECT_EQ(quolsdk_switcher_create(), nullptr);
    EXPECT_EQ(quolsdk_character_create(), nullptr);
    EXPECT_EQ(quolsdk_multiview_create(), nullptr);
}

TEST(WithoutThreadsApi, ASignalDoesNotStartAndDoesSoLater) {
    quolsdk_handle signal = quolsdk_signal_create();
    {
        const test::NoThreads none;
        EXPECT_EQ(quolsdk_signal_start(signal), 0);
    }
    EXPECT_EQ(quolsdk_signal_start(signal), 1);
    quolsdk_signal_destroy(signal);
}

TEST(WithoutThreadsApi, AConversionDoesNotStart) {
    quolsdk_handle convert = quolsdk_convert_create();
    quolsdk_convert_set_file_path(convert, "never_made.mp4");
    quolsdk_convert_add_input_file(convert, "never_read.mp4");
    {
        const test::NoThreads none;
        EXPECT_EQ(quolsdk_convert_start(convert), 0);
    }
    int status = -7;
    quolsdk_convert_status_get(convert, &status);
    EXPECT_EQ(status, 0);
    quolsdk_convert_destroy(convert);
}

// What is made without one and does nothing by itself.
TEST(WithoutThreadsApi, TheOthersAreMade) {
    const test::NoThreads none;
    ASSERT_TRUE(none.works());
    quolsdk_handle recorder = quolsdk_recorder_create();
    quolsdk_handle stinger = quolsdk_stinger_create();
    quolsdk_handle animation = quolsdk_animation_create();
    EXPECT_NE(recorder, nullptr);
    EXPECT_NE(stinger, nullptr);
    EXPECT_NE(animation, nullptr);
    quolsdk_recorder_destroy(recorder);
    quolsdk_stinger_destroy(stinger);
    quolsdk_animation_destroy(animation);
}

} // namespace
