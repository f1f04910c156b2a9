// The NDI runtime's operations as the library calls them, and that the stand-in tells of mistakes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "platform/ndi/Ndi.h"
#include "support/NdiStandin.h"

namespace {

using namespace quol::ndi;
using test::NdiState;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class NdiDevices : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(ndi, nullptr);
        standin.reset();
    }

    // A receiver that is connected, as the library makes one.
    Handle receiver() {
        NDIlib_recv_create_v3_t settings;
        settings.color_format = color_format_fastest;
        settings.p_ndi_recv_name = "Receiver";
        const Handle made = ndi->recv_create_v3(&settings);
        const NDIlib_source_t source{"STUDIO (Camera 1)", nullptr};
        ndi->recv_connect(made, &source);
        return made;
    }

    std::int32_t capture(Handle from, NDIlib_video_frame_v2_t& video,
                         NDIlib_audio_frame_v2_t& audio) {
        return ndi->recv_capture_v2(from, &video, &audio, nullptr, 10000);
    }

    test::NdiStandin& standin = test::ndiStandin();
    const Runtime* const ndi = runtime();
    NDIlib_video_frame_v2_t video;
    NDIlib_audio_frame_v2_t audio;
};

TEST_F(NdiDevices, EveryThreadGetsTheSameRuntime) {
    std::vector<const Runtime*> found(8);
    {
        std::vector<std::jthread> threads;
        for (const Runtime*& one : found)
            threads.emplace_back([&one] { one = runtime(); });
    }
    EXPECT_THAT(found, Each(Eq(ndi)));
}

TEST_F(NdiDevices, InitializingIsCountedAndMayFail) {
    EXPECT_TRUE(ndi->initialize());
    standin.setFailures({.initialize = true});
    EXPECT_FALSE(ndi->initialize());
    ndi->destroy();
    EXPECT_EQ(standin.state().initializeCalls, 2);
    EXPECT_EQ(standin.state().destroyCalls, 1);
}

TEST_F(NdiDevices, AFinderListsTheNetworkInItsOrder) {
    const NDIlib_find_create_t settings;
    const Handle finder = ndi->find_create_v2(&settings);
    ASSERT_NE(finder, nullptr);
    std::uint32_t count = 7;
    EXPECT_EQ(ndi->find_get_current_sources(finder, &count), nullptr);
    EXPECT_EQ(count, 0U);

    standin.setSources({"B (2)", "A (1)"});
    EXPECT_TRUE(ndi->find_wait_for_sources(finder, 5));
    const NDIlib_source_t* const sources = ndi->find_get_current_sources(finder, &count);
    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(sources[0].p_ndi_name, "B (2)");
    EXPECT_STREQ(sources[1].p_ndi_name, "A (1)");
    EXPECT_FALSE(ndi->find_wait_for_sources(finder, 5));

    const NdiState state = standin.state();
    ASSERT_EQ(state.finders.size(), 1U);
    EXPECT_TRUE(state.finders[0].showLocalSources);
    EXPECT_EQ(state.finders[0].groups, std::nullopt);
    EXPECT_EQ(state.finders[0].extraIps, std::nullopt);
    EXPECT_THAT(state.finders[0].waits, ElementsAre(5U, 5U));
    EXPECT_FALSE(state.allGivenBack());
    ndi->find_destroy(finder);
    EXPECT_TRUE(standin.state().allGivenBack());
    EXPECT_THAT(standin.state().misuses, IsEmpty());
}

TEST_F(NdiDevices, CreatingMayFail) {
    standin.setFailures({.findCreate = true, .receiverCreate = true, .senderCreate = true});
    EXPECT_EQ(ndi->find_create_v2(nullptr), nullptr);
    EXPECT_EQ(ndi->recv_create_v3(nullptr), nullptr);
    EXPECT_EQ(ndi->send_create(nullptr), nullptr);
    EXPECT_TRUE(standin.state().allGivenBack());
}

TEST_F(NdiDevices, AReceiverHasTheSettingsThatWereGiven) {
    const Handle made = receiver();
    const NdiState state = standin.state();
    ASSERT_EQ(state.receivers.size(), 1U);
    EXPECT_EQ(state.receivers[0].colorFormat, 100);
    EXPECT_EQ(state.receivers[0].bandwidth, 100);
    EXPECT_TRUE(state.receivers[0].allowVideoFields);
    EXPECT_EQ(state.receivers[0].name, "Receiver");
    EXPECT_EQ(state.receivers[0].source, "STUDIO (Camera 1)");
    EXPECT_EQ(state.receivers[0].url, std::nullopt);
    ndi->recv_destroy(made);
}

TEST_F(NdiDevices, FramesArriveInTheirOrderAndAreCounted) {
    const test::NdiVideo picture = test::ndiPicture(64, 4, "UYVY", 5, 160);
    standin.give(picture);
    standin.give(frame_type_metadata);
    standin.give(test::ndiSound(480, 2));
    standin.give(frame_type_error);
    const Handle from = receiver();

    ASSERT_EQ(capture(from, video, audio), frame_type_video);
    EXPECT_EQ(video.xres, 64);
    EXPECT_EQ(video.yres, 4);
    EXPECT_EQ(video.FourCC, fourCC("UYVY"));
    EXPECT_EQ(video.line_stride_in_bytes, 160);
    EXPECT_EQ(std::vector<std::uint8_t>(video.p_data, video.p_data + 160 * 4), *picture.bytes);
    EXPECT_EQ(capture(from, video, audio), frame_type_metadata);
    ASSERT_EQ(capture(from, video, audio), frame_type_audio);
    EXPECT_EQ(audio.no_samples, 480);
    EXPECT_EQ(audio.channel_stride_in_bytes, 480 * 4);
    EXPECT_EQ(audio.p_data[480 + 3], 1003.0F / 65536.0F);
    EXPECT_EQ(capture(from, video, audio), frame_type_error);
    EXPECT_EQ(ndi->recv_capture_v2(from, &video, &audio, nullptr, 1), frame_type_none);

    EXPECT_EQ(standin.state().receivers[0].outstanding(), 2);
    EXPECT_FALSE(standin.state().allGivenBack());
    ndi->recv_free_video_v2(from, &video);
    ndi->recv_free_audio_v2(from, &audio);
    ndi->recv_destroy(from);
    EXPECT_TRUE(standin.state().allGivenBack());
    EXPECT_THAT(standin.state().misuses, IsEmpty());
}

TEST_F(NdiDevices, ACaptureWaitsForWhatComes) {
    const Handle from = receiver();
    std::jthread giver([this] {
        ASSERT_TRUE(standin.wait([](const NdiState& s) { return s.receivers[0].captures > 0; }));
        standin.give(test::ndiPicture(16, 2, "BGRA"));
    });
    EXPECT_EQ(capture(from, video, audio), frame_type_video);
    ndi->recv_free_video_v2(from, &video);
    ndi->recv_destroy(from);
}

TEST_F(NdiDevices, AReceiverThatIsNotConnectedGetsNothing) {
    standin.give(test::ndiPicture(16, 2, "BGRA"));
    const NDIlib_recv_create_v3_t settings;
    const Handle from = ndi->recv_create_v3(&settings);
    EXPECT_EQ(ndi->recv_capture_v2(from, &video, &audio, nullptr, 5), frame_type_none);
    EXPECT_EQ(standin.state().queued, 1U);
    ndi->recv_destroy(from);
}

TEST_F(NdiDevices, AFrameThatIsOutWhenItsReceiverGoesIsSeen) {
    standin.give(test::ndiPicture(16, 2, "BGRA"));
    const Handle from = receiver();
    ASSERT_EQ(capture(from, video, audio), frame_type_video);
    ndi->recv_destroy(from);
    EXPECT_THAT(standin.state().misuses, ElementsAre(HasSubstr("frames of it are out")));
    ndi->recv_free_video_v2(from, &video);
    EXPECT_THAT(standin.state().misuses,
                ElementsAre(HasSubstr("frames of it are out"),
                            HasSubstr("NDIlib_recv_free_video_v2: destroyed before")));
    EXPECT_FALSE(standin.state().allGivenBack());
}

TEST_F(NdiDevices, AFrameThatIsGivenBackTwiceIsSeen) {
    standin.give(test::ndiPicture(16, 2, "BGRA"));
    const Handle from = receiver();
    ASSERT_EQ(capture(from, video, audio), frame_type_video);
    ndi->recv_free_video_v2(from, &video);
    ndi->recv_free_video_v2(from, &video);
    EXPECT_THAT(standin.state().misuses, ElementsAre(HasSubstr("no such frame is out")));
    ndi->recv_destroy(from);
}

TEST_F(NdiDevices, AFrameThatIsGivenBackToAnotherReceiverIsSeen) {
    standin.give(test::ndiPicture(16, 2, "BGRA"));
    const Handle from = receiver();
    const Handle other = receiver();
    ASSERT_EQ(capture(from, video, audio), frame_type_video);
    ndi->recv_free_video_v2(other, &video);
    EXPECT_THAT(standin.state().misuses, ElementsAre(HasSubstr("no such frame is out")));
    ndi->recv_free_video_v2(from, &video);
    ndi->recv_destroy(from);
    ndi->recv_destroy(other);
    EXPECT_TRUE(standin.state().allGivenBack());
}

TEST_F(NdiDevices, EveryHandleUsedAfterItsEndIsSeen) {
    const NDIlib_send_create_t settings{"Out", nullptr, true, true};
    const Handle sender = ndi->send_create(&settings);
    const Handle finder = ndi->find_create_v2(nullptr);
    ndi->send_destroy(sender);
    ndi->find_destroy(finder);
    ndi->send_send_video_v2(sender, &video);
    ndi->send_send_audio_v2(sender, &audio);
    ndi->send_destroy(sender);
    ndi->find_wait_for_sources(finder, 1);
    ndi->find_destroy(finder);
    ndi->recv_destroy(nullptr);
    EXPECT_THAT(standin.state().misuses, ::testing::SizeIs(6));
}

TEST_F(NdiDevices, ASenderKeepsWhatWasSent) {
    const NDIlib_send_create_t settings{"Program", nullptr, true, false};
    const Handle sender = ndi->send_create(&settings);
    test::NdiVideo picture = test::ndiPicture(32, 3, "UYVY", 9);
    picture.record.p_data = picture.bytes->data();
    ndi->send_send_video_v2(sender, &picture.record);
    test::NdiAudio sound = test::ndiSound(100, 2);
    sound.record.p_data = reinterpret_cast<float*>(sound.bytes->data());
    ndi->send_send_audio_v2(sender, &sound.record);

    const NdiState state = standin.state();
    ASSERT_EQ(state.senders.size(), 1U);
    const test::NdiSender& sent = state.senders[0];
    EXPECT_EQ(sent.name, "Program");
    EXPECT_EQ(sent.groups, std::nullopt);
    EXPECT_TRUE(sent.clockVideo);
    EXPECT_FALSE(sent.clockAudio);
    ASSERT_EQ(sent.video.size(), 1U);
    EXPECT_EQ(sent.video[0].record.xres, 32);
    EXPECT_EQ(*sent.video[0].bytes, *picture.bytes);
    ASSERT_EQ(sent.audio.size(), 1U);
    EXPECT_EQ(*sent.audio[0].bytes, *sound.bytes);
    ndi->send_destroy(sender);
}

TEST_F(NdiDevices, AHeldSenderHoldsItsCaller) {
    const NDIlib_send_create_t settings{"Program", nullptr, true, true};
    const Handle sender = ndi->send_create(&settings);
    standin.holdVideoSends(true);
    test::NdiVideo picture = test::ndiPicture(32, 3, "UYVY");
    picture.record.p_data = picture.bytes->data();
    std::jthread caller([&] { ndi->send_send_video_v2(sender, &picture.record); });
    EXPECT_TRUE(standin.wait([](const NdiState& s) { return s.senders[0].inVideoSend; }));
    EXPECT_EQ(standin.state().senders[0].videoSent, 0);
    standin.holdVideoSends(false);
    EXPECT_TRUE(standin.wait([](const NdiState& s) { return s.senders[0].videoSent == 1; }));
    caller.join();
    ndi->send_destroy(sender);
}

TEST_F(NdiDevices, APacedSenderKeepsToItsRate) {
    const NDIlib_send_create_t settings{"Program", nullptr, true, true};
    const Handle sender = ndi->send_create(&settings);
    standin.paceVideoSends(true);
    test::NdiVideo picture = test::ndiPicture(32, 3, "UYVY");
    picture.record.p_data = picture.bytes->data();
    picture.record.frame_rate_N = 100;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 6; ++i)
        ndi->send_send_video_v2(sender, &picture.record);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(50));
    ndi->send_destroy(sender);
}

} // namespace
