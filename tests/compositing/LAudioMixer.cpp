// Channels of an audio mixer: which there are, and what a new one is like.
#include "quolsdk/LAudioMixer.h"

#include <gtest/gtest.h>

#include <string>

#include "support/CapturedStream.h"
#include "support/RefusingSource.h"
#include "support/RunningAudioMixer.h"
#include "support/RunningMixer.h"

namespace {

using test::CapturedStream;
using test::longSound;
using test::push;
using test::RunningAudioMixer;
using test::WatchedSource;

std::string channelLines(const std::string& text) {
    std::string lines;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find('\n', start);
        const std::string line = text.substr(start, end - start);
        if (line.rfind("[LAudioMixer]", 0) == 0) lines += line + "\n";
        if (end == std::string::npos) break;
        start = end + 1;
    }
    return lines;
}

} // namespace

TEST(LAudioMixer, AChannelIsAttachedToItsSource) {
    WatchedSource source;
    LAudioMixer mixer;
    mixer.addChannel("a", &source);
    EXPECT_EQ(source.sinkCount(), 1U);
    mixer.removeChannel("a");
    EXPECT_EQ(source.sinkCount(), 0U);
    EXPECT_EQ(source.added, 1);
    EXPECT_EQ(source.removed, 1);
}

TEST(LAudioMixer, TheDestructorLetsGoOfAllSources) {
    WatchedSource first;
    WatchedSource second;
    {
        LAudioMixer mixer;
        mixer.addChannel("a", &first);
        mixer.addChannel("b", &second);
        mixer.addChannel("c", &second);
        EXPECT_EQ(second.sinkCount(), 2U);
    }
    EXPECT_EQ(first.sinkCount(), 0U);
    EXPECT_EQ(second.sinkCount(), 0U);
}

TEST(LAudioMixer, AChannelReplacesTheOneOfItsName) {
    WatchedSource first;
    WatchedSource second;
    RunningAudioMixer running;
    running.addHeard("a", first);
    running.mixer.setChannelGain("a", 50);
    push(first, longSound(1000, 1000));
    ASSERT_TRUE(running.isSteady(500, 500));

    running.mixer.addChannel("a", &second);
    EXPECT_EQ(first.sinkCount(), 0U);
    EXPECT_EQ(second.sinkCount(), 1U);
    push(second, longSound(3000, 3000));
    EXPECT_TRUE(running.isSteady(0, 0)) << "muted anew, and what the first had is gone";
    running.mixer.setChannelMute("a", false);
    EXPECT_TRUE(running.isSteady(3000, 3000)) << "at gain 100 anew";
}

TEST(LAudioMixer, AChannelMayBeReplacedByItsOwnSource) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    running.addHeard("a", source);
    EXPECT_EQ(source.sinkCount(), 1U);
    push(source, longSound(1000, 1000));
    EXPECT_TRUE(running.isSteady(1000, 1000)) << "heard once";
}

TEST(LAudioMixer, ASourceMayFeedSeveralChannels) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    running.addHeard("b", source);
    EXPECT_EQ(source.sinkCount(), 2U);
    push(source, longSound(1000, -1000));
    EXPECT_TRUE(running.isSteady(2000, -2000));
}

TEST(LAudioMixer, ANullSourceRemovesThatChannelAndAddsNone) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    push(source, longSound(1000, 1000));
    ASSERT_TRUE(running.isSteady(1000, 1000));

    CapturedStream output(CapturedStream::Stream::output);
    running.mixer.addChannel("a", nullptr);
    EXPECT_EQ(source.sinkCount(), 0U);
    EXPECT_TRUE(running.isSteady(0, 0));
    running.mixer.removeChannel("a");
    EXPECT_EQ(channelLines(output.text()), "[LAudioMixer] Channel Removed: a\n")
        << "there is none to remove any more";
}

TEST(LAudioMixer, ANullSourceForANewNameAddsNone) {
    RunningAudioMixer running;
    CapturedStream output(CapturedStream::Stream::output);
    running.mixer.addChannel("a", nullptr);
    running.mixer.setChannelMute("a", false);
    running.mixer.removeChannel("a");
    EXPECT_EQ(channelLines(output.text()), "");
    EXPECT_TRUE(running.isSteady(0, 0));
}

TEST(LAudioMixer, AMixerIsNoChannelOfItsOwn) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    running.mixer.addChannel("a", &running.mixer);
    EXPECT_EQ(source.sinkCount(), 0U) << "as a null source it removes";
    running.mixer.setChannelMute("a", false);
    EXPECT_TRUE(running.isSteady(0, 0));
    CapturedStream output(CapturedStream::Stream::output);
    running.mixer.removeChannel("a");
    EXPECT_EQ(channelLines(output.text()), "");
}

TEST(LAudioMixer, RemovingAChannelWritesOneLineWithItsName) {
    WatchedSource source;
    LAudioMixer mixer;
    CapturedStream output(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    mixer.addChannel("Studio 1", &source);
    EXPECT_EQ(channelLines(output.text()), "") << "nothing to replace";
    mixer.removeChannel("Studio 1");
    EXPECT_EQ(channelLines(output.text()), "[LAudioMixer] Channel Removed: Studio 1\n");
    EXPECT_EQ(error.text(), "");
}

TEST(LAudioMixer, ReplacingAndDestroyingWriteTheLineToo) {
    WatchedSource source;
    CapturedStream output(CapturedStream::Stream::output);
    {
        LAudioMixer mixer;
        mixer.addChannel("a", &source);
        mixer.addChannel("a", &source);
        EXPECT_EQ(channelLines(output.text()), "[LAudioMixer] Channel Removed: a\n");
    }
    EXPECT_EQ(channelLines(output.text()),
              "[LAudioMixer] Channel Removed: a\n[LAudioMixer] Channel Removed: a\n");
}

TEST(LAudioMixer, UnknownNamesAreIgnored) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("a", source);
    push(source, longSound(1000, 1000));
    CapturedStream output(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    for (const char* name : {"", "b", "A", "a "}) {
        running.mixer.setChannelGain(name, 20);
        running.mixer.setChannelMute(name, true);
        running.mixer.removeChannel(name);
    }
    EXPECT_TRUE(running.isSteady(1000, 1000));
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(error.text(), "");
}

TEST(LAudioMixer, WhatWasSetForAnUnknownNameDoesNotWaitForIt) {
    WatchedSource source;
    RunningAudioMixer running;
    running.mixer.setChannelGain("a", 20);
    running.mixer.setChannelMute("a", false);
    running.mixer.addChannel("a", &source);
    push(source, longSound(1000, 1000));
    EXPECT_TRUE(running.isSteady(0, 0));
    running.mixer.setChannelMute("a", false);
    EXPECT_TRUE(running.isSteady(1000, 1000));
}

TEST(LAudioMixer, AnEmptyNameIsANameLikeAnother) {
    WatchedSource source;
    RunningAudioMixer running;
    running.addHeard("", source);
    push(source, longSound(1000, 1000));
    EXPECT_TRUE(running.isSteady(1000, 1000));
    running.mixer.removeChannel("");
    EXPECT_EQ(source.sinkCount(), 0U);
}

TEST(LAudioMixer, AChannelJustAddedIsSilentUntilItIsUnmuted) {
    WatchedSource source;
    RunningAudioMixer running;
    running.mixer.addChannel("a", &source);
    push(source, longSound(1000, 1000));
    ASSERT_TRUE(running.passBlocks());
    EXPECT_TRUE(running.heard().empty());
    EXPECT_EQ(running.mixer.getChannelLevel("a"), 0.0F);

    running.mixer.setChannelMute("a", false);
    EXPECT_TRUE(running.isSteady(1000, 1000));
    EXPECT_EQ(running.mixer.getChannelLevel("a"), 1000.0F / 32768.0F);
}

TEST(LAudioMixer, ASourceThatCouldNotBeHadIsNotLeftEither) {
    test::RefusingSource source;
    {
        LAudioMixer mixer;
        EXPECT_THROW(mixer.addChannel("one", &source), std::bad_alloc);
        source.refuses = false;
        mixer.addChannel("one", &source);
        mixer.removeChannel("one");
        EXPECT_EQ(source.left, 1);
    }
    EXPECT_EQ(source.left, 1);
}
