#include "quolsdk/FrameHandle.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/Frames.h"
#include "support/HostsOwnFrame.h"

namespace {

using test::hostsOwn;

TEST(CloneFrame, SharesDataThatReferencesAreCountedTo) {
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const quol::FramePtr clone = quol::cloneFrame(picture.get());
    ASSERT_TRUE(clone);
    EXPECT_EQ(clone->data[0], picture->data[0]);
}

TEST(CloneFrame, CopiesAHostsOwn) {
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    const quol::FramePtr clone = quol::cloneFrame(hostsOwn(*picture).get());
    ASSERT_TRUE(clone);
    EXPECT_NE(clone->data[0], picture->data[0]);
    EXPECT_TRUE(std::equal(clone->data[0], clone->data[0] + 64, picture->data[0]));
    const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16);
    const quol::FramePtr heard = quol::cloneFrame(hostsOwn(*sound).get());
    ASSERT_TRUE(heard);
    EXPECT_TRUE(
        std::equal(heard->data[0], heard->data[0] + std::ptrdiff_t{480} * 4, sound->data[0]));
}

// Copying them would read what is not there, or end the process.
TEST(CloneFrame, IsNullForAHostsOwnThatAreNotAllThere) {
    EXPECT_EQ(quol::cloneFrame(nullptr), nullptr);
    EXPECT_EQ(quol::cloneFrame(quol::makeFrame().get()), nullptr);
    const quol::FramePtr picture = test::makePicture(64, 36, AV_PIX_FMT_YUV420P);
    for (const int row : {0, 31, -31}) {
        const quol::FramePtr own = hostsOwn(*picture);
        own->linesize[1] = row;
        EXPECT_EQ(quol::cloneFrame(own.get()), nullptr) << row;
    }
    const quol::FramePtr blind = hostsOwn(*picture);
    blind->data[2] = nullptr;
    EXPECT_EQ(quol::cloneFrame(blind.get()), nullptr);
    const quol::FramePtr sound = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP);
    const quol::FramePtr mute = hostsOwn(*sound);
    mute->data[1] = nullptr;
    EXPECT_EQ(quol::cloneFrame(mute.get()), nullptr);
    // A record that was a picture's before: with its size it would be copied as one.
    const quol::FramePtr plain = test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_S16);
    const quol::FramePtr both = hostsOwn(*plain);
    both->width = 64;
    both->height = 36;
    both->linesize[0] = 0;
    EXPECT_EQ(quol::cloneFrame(both.get()), nullptr);
}

} // namespace
