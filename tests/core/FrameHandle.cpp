#include "quolsdk/FrameHandle.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "core/Handles.h"
#include "support/Frames.h"

namespace {

// A record that shows another frame's data in a host's own memory.
quol::FramePtr hostsOwn(const AVFrame& frame) {
    quol::FramePtr own = quol::makeFrame();
    own->format = frame.format;
    own->width = frame.width;
    own->height = frame.height;
    own->nb_samples = frame.nb_samples;
    own->sample_rate = frame.sample_rate;
    av_channel_layout_copy(&own->ch_layout, &frame.ch_layout);
    std::copy_n(frame.data, AV_NUM_DATA_POINTERS, own->data);
    std::copy_n(frame.linesize, AV_NUM_DATA_POINTERS, own->linesize);
    return own;
}

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
    const quol::FramePtr mute = hostsOwn(*test::makeSound(480, 48000, 2, AV_SAMPLE_FMT_FLTP));
    mute->data[1] = nullptr;
    EXPECT_EQ(quol::cloneFrame(mute.get()), nullptr);
}

} // namespace
