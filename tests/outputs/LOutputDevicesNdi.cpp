// The output with an NDI sender as its device.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "quolsdk/LOutput.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/NdiStandin.h"
#include "support/NoThreads.h"
#include "support/PlainFrames.h"
#include "support/RunningOutput.h"

namespace {

using quol::ndi::fourCC;
using test::CapturedStream;
using test::levelPicture;
using test::NdiState;
using test::NdiVideo;
using test::statsOf;
using testing::HasSubstr;
using namespace std::chrono_literals;

constexpr auto outputStream = CapturedStream::Stream::output;
constexpr auto errorStream = CapturedStream::Stream::error;

constexpr int format576i = 1; // 720x576i50, the smallest with a plain rate

// The numbers of all threads of this process.
std::set<std::string> threadsOfThisProcess() {
    std::set<std::string> threads;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        threads.insert(entry.path().filename().string());
    return threads;
}

// How often the thread of that number has gone to sleep so far; -1 where there is none.
long sleepsOf(const std::string& thread) {
    const std::string key = "voluntary_ctxt_switches:";
    std::ifstream status("/proc/self/task/" + thread + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(key)) return std::stol(line.substr(key.size()));
    }
    return -1;
}

// How much processor time it has taken so far, in the kernel's ticks of 10 ms.
long ticksOf(const std::string& thread) {
    std::ifstream stat("/proc/self/task/" + thread + "/stat");
    std::string line;
    std::getline(stat, line);
    std::istringstream fields(line.substr(line.rfind(')') + 1)); // behind the name, field 3 follows
    std::vector<std::string> field(std::istream_iterator<std::string>(fields), {});
    return field.size() > 12 ? std::stol(field[11]) + std::stol(field[12]) : -1;
}

class LOutputNdi : public testing::Test {
protected:
    LOutputNdi() { ndi.reset(); }
    ~LOutputNdi() override {
        output.reset();
        const NdiState state = ndi.state();
        EXPECT_TRUE(state.allGivenBack());
        EXPECT_TRUE(state.misuses.empty());
    }

    bool waitForVideo(int count) {
        return ndi.wait([=](const NdiState& state) {
            return !state.senders.empty() && state.senders.back().videoSent >= count;
        });
    }
    bool waitForAudio(int count) {
        return ndi.wait([=](const NdiState& state) {
            return !state.senders.empty() && state.senders.back().audioSent >= count;
        });
    }
    // The picture worker stands inside the device.
    bool waitForHeld() {
        return ndi.wait([](const NdiState& state) {
            return !state.senders.empty() && state.senders.back().inVideoSend;
        });
    }
    NdiVideo latest() { return ndi.state().senders.back().video.back(); }
    void push(const quol::FramePtr& frame) { output->pushVideoFrame(frame.get()); }
    void pushSound(int pairs, std::int16_t left, std::int16_t right) {
        output->pushAudioFrame(test::plainSound(pairs, left, right).get());
    }

    test::NdiStandin& ndi = test::ndiStandin();
    std::unique_ptr<LOutput> output = std::make_unique<LOutput>();
};

TEST_F(LOutputNdi, StartMakesAClockedSenderOfTheName) {
    CapturedStream out(outputStream);
    EXPECT_TRUE(output->startNDI());
    EXPECT_TRUE(output->startNDI()) << "runs already";
    const NdiState state = ndi.state();
    ASSERT_EQ(state.senders.size(), 1U);
    EXPECT_EQ(state.initializeCalls, 1);
    EXPECT_EQ(state.senders[0].name, "NDI_Output");
    EXPECT_FALSE(state.senders[0].groups.has_value());
    EXPECT_TRUE(state.senders[0].clockVideo);
    EXPECT_TRUE(state.senders[0].clockAudio);
    EXPECT_THAT(out.text(), HasSubstr("[LOutput] NDI Started successfully! Name: NDI_Output\n"));
    output->stopNDI();
    EXPECT_FALSE(ndi.state().senders[0].alive);
    const std::string text = out.text();
    for (const char* line :
         {"[LOutput] Output thread started.\n", "[LOutput] Audio thread started.\n",
          "[LOutput] Output thread exiting.\n", "[LOutput] Audio thread exiting.\n"})
        EXPECT_THAT(text, HasSubstr(line));
    EXPECT_TRUE(text.ends_with("[LOutput] NDI Stopped.\n"));
    output->stopNDI();
    EXPECT_EQ(out.text(), text) << "nothing to stop";
}

TEST_F(LOutputNdi, FailingStartsAreToldAndLeaveNothing) {
    CapturedStream error(errorStream);
    test::NdiFailures failures;
    failures.initialize = true;
    ndi.setFailures(failures);
    EXPECT_FALSE(output->startNDI());
    EXPECT_EQ(error.text(), "NDIlib_initialize failed!\n");
    failures.initialize = false;
    failures.senderCreate = true;
    ndi.setFailures(failures);
    output->setEnabled(true);
    EXPECT_EQ(error.text(), "NDIlib_initialize failed!\nNDIlib_send_create failed!\n");
    push(levelPicture(1));
    EXPECT_EQ(statsOf(*output).framesQueued, 0);
}

TEST_F(LOutputNdi, WithoutAThreadItIsEnabledAndNothingRuns) {
    CapturedStream error(errorStream);
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        output->setEnabled(true);
        EXPECT_FALSE(output->startNDI());
    }
    EXPECT_THAT(error.text(), HasSubstr("[LOutput] No thread: "));
    push(levelPicture(1));
    EXPECT_EQ(statsOf(*output).framesQueued, 0);
    output->setEnabled(true); // which it is
    EXPECT_TRUE(output->startNDI());
    push(levelPicture(1));
    EXPECT_TRUE(waitForVideo(1));
}

TEST_F(LOutputNdi, StartedButNotEnabledItTakesNothing) {
    output->DeviceFormatVideoSet(format576i);
    ndi.holdVideoSends(true); // what were taken would be queued
    ASSERT_TRUE(output->startNDI());
    const auto early = levelPicture(9, 720, 576);
    for (int i = 0; i < 3; ++i)
        push(early);
    pushSound(1920, 5, 5);
    EXPECT_EQ(statsOf(*output).framesQueued, 0);
    EXPECT_EQ(statsOf(*output).framesSent, 0);
    EXPECT_EQ(statsOf(*output).framesDropped, 0);
    EXPECT_EQ(av_buffer_get_ref_count(early->buf[0]), 1);
    ndi.holdVideoSends(false);
    output->setEnabled(true);
    push(levelPicture(77, 720, 576));
    pushSound(1920, 16384, 16384);
    ASSERT_TRUE(waitForVideo(1));
    ASSERT_TRUE(waitForAudio(1));
    const NdiState state = ndi.state();
    ASSERT_EQ(state.senders.size(), 1U) << "it has run all the time";
    EXPECT_THAT(*state.senders.back().video.front().bytes, testing::Each(77));
    float first = 0.0F;
    std::memcpy(&first, state.senders.back().audio.front().bytes->data(), sizeof first);
    EXPECT_EQ(first, 0.5F);
}

TEST_F(LOutputNdi, PictureGoesOutAsTheRecordSays) {
    output->DeviceFormatVideoSet(8); // 1080p29
    output->setEnabled(true);
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    push(frame);
    ASSERT_TRUE(waitForVideo(1));
    const NdiVideo sent = latest();
    EXPECT_EQ(sent.record.xres, 1920);
    EXPECT_EQ(sent.record.yres, 1080);
    EXPECT_EQ(sent.record.FourCC, fourCC("UYVY"));
    EXPECT_EQ(sent.record.frame_rate_N, 29);
    EXPECT_EQ(sent.record.frame_rate_D, 1);
    EXPECT_EQ(sent.record.picture_aspect_ratio, 0.0F);
    EXPECT_EQ(sent.record.frame_format_type, quol::ndi::frame_format_progressive);
    EXPECT_EQ(sent.record.timecode, quol::ndi::timecode_synthesize);
    EXPECT_EQ(sent.record.line_stride_in_bytes, 1920 * 2);
    EXPECT_EQ(sent.record.p_metadata, nullptr);
    EXPECT_EQ(sent.record.timestamp, 0);
    EXPECT_EQ(*sent.bytes, test::convertedAlone(*frame, 1920, 1080, AV_PIX_FMT_UYVY422));
    EXPECT_TRUE(test::waitForSent(*output, 1));
}

TEST_F(LOutputNdi, ColorFormatChangesWhileItRuns) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    push(frame);
    ASSERT_TRUE(waitForVideo(1));
    output->setProps("NDI.color_format", "BGRA");
    push(frame);
    ASSERT_TRUE(waitForVideo(2));
    EXPECT_EQ(latest().record.FourCC, fourCC("BGRA"));
    EXPECT_EQ(latest().record.line_stride_in_bytes, 720 * 4);
    EXPECT_EQ(*latest().bytes, test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_BGRA));
    output->setProps("NDI.color_format", "RGBA"); // no such choice
    push(frame);
    ASSERT_TRUE(waitForVideo(3));
    EXPECT_EQ(latest().record.FourCC, fourCC("BGRA"));
    output->setProps("NDI.color_format", "UYVY");
    push(frame);
    ASSERT_TRUE(waitForVideo(4));
    EXPECT_EQ(*latest().bytes, test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_UYVY422));
}

TEST_F(LOutputNdi, QualityCountsFromTheNextScalerOn) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    const auto made = [&](int flags) {
        return test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_UYVY422, flags);
    };
    push(frame);
    ASSERT_TRUE(waitForVideo(1));
    output->setProps("scaling_quality", "lanczos");
    push(frame);
    ASSERT_TRUE(waitForVideo(2));
    EXPECT_EQ(*latest().bytes, made(SWS_BILINEAR)) << "the scaler is still there";
    output->DeviceFormatVideoSet(format576i);
    push(frame);
    ASSERT_TRUE(waitForVideo(3));
    EXPECT_EQ(*latest().bytes, made(SWS_LANCZOS));
    output->setProps("scaling_quality", "bicubic");
    output->setProps("scaling_quality", "best"); // no such choice
    output->setProps("NDI.color_format", "UYVY");
    push(frame);
    ASSERT_TRUE(waitForVideo(4));
    EXPECT_EQ(*latest().bytes, made(SWS_BICUBIC));
}

TEST_F(LOutputNdi, FormatChangeNeedsNoRestart) {
    CapturedStream out(outputStream);
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    const auto frame = test::makePicture(320, 180, AV_PIX_FMT_YUV420P);
    push(frame);
    ASSERT_TRUE(waitForVideo(1));
    output->DeviceFormatVideoSet(3); // 720p59
    push(frame);
    ASSERT_TRUE(waitForVideo(2));
    EXPECT_EQ(ndi.state().senders.size(), 1U);
    EXPECT_EQ(latest().record.xres, 1280);
    EXPECT_EQ(latest().record.yres, 720);
    EXPECT_EQ(latest().record.frame_rate_N, 59);
    EXPECT_EQ(*latest().bytes, test::convertedAlone(*frame, 1280, 720, AV_PIX_FMT_UYVY422));
    EXPECT_EQ(out.text().find("Stopped"), std::string::npos);
}

TEST_F(LOutputNdi, UnknownFormatSendsNothingUntilTheNext) {
    output->DeviceFormatVideoSet(200);
    output->setEnabled(true);
    push(levelPicture(1));
    ASSERT_TRUE(test::waitForSent(*output, 1));
    pushSound(1920, 1, 1);
    ASSERT_TRUE(waitForAudio(1)) << "sound needs no size";
    EXPECT_EQ(ndi.state().senders.back().videoSent, 0);
    output->DeviceFormatVideoSet(format576i);
    push(levelPicture(1));
    EXPECT_TRUE(waitForVideo(1));
}

TEST_F(LOutputNdi, FrameOfANewSizeKeepsTheOutputSize) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    int sent = 0;
    for (int width : {320, 640, 320}) {
        const auto frame = test::makePicture(width, 360, AV_PIX_FMT_YUV420P);
        push(frame);
        ASSERT_TRUE(waitForVideo(++sent));
        EXPECT_EQ(*latest().bytes, test::convertedAlone(*frame, 720, 576, AV_PIX_FMT_UYVY422));
    }
}

TEST_F(LOutputNdi, PictureThatCannotBeConvertedRepeatsTheOneBefore) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    push(levelPicture(77, 720, 576));
    ASSERT_TRUE(waitForVideo(1));
    const auto broken = levelPicture(1);
    broken->format = AV_PIX_FMT_NB + 3;
    push(broken);
    ASSERT_TRUE(waitForVideo(2));
    EXPECT_THAT(*latest().bytes, testing::Each(77));
}

TEST_F(LOutputNdi, QueueKeepsTheFiveLatestAndCountsTheRest) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    ndi.holdVideoSends(true);
    push(levelPicture(0, 720, 576));
    ASSERT_TRUE(waitForHeld());
    for (int i = 1; i <= 9; ++i)
        push(levelPicture(i, 720, 576));
    EXPECT_EQ(statsOf(*output).framesQueued, 5);
    EXPECT_EQ(statsOf(*output).framesDropped, 4);
    EXPECT_EQ(statsOf(*output).framesSent, 0);
    ndi.holdVideoSends(false);
    ASSERT_TRUE(test::waitForSent(*output, 6));
    std::vector<int> levels;
    const NdiState state = ndi.state();
    for (const NdiVideo& video : state.senders.back().video)
        levels.push_back(video.bytes->front());
    EXPECT_EQ(levels, (std::vector<int>{0, 5, 6, 7, 8, 9}));
    EXPECT_EQ(statsOf(*output).framesQueued, 0);
}

TEST_F(LOutputNdi, AtMostSixReferencesAreHeld) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    ndi.holdVideoSends(true);
    const auto frame = levelPicture(0, 720, 576);
    for (int i = 0; i < 20; ++i)
        push(frame);
    ASSERT_TRUE(waitForHeld());
    EXPECT_LE(av_buffer_get_ref_count(frame->buf[0]), 7);
    ndi.holdVideoSends(false);
    EXPECT_TRUE(test::waitUntil([&] { return av_buffer_get_ref_count(frame->buf[0]) == 1; }));
}

TEST_F(LOutputNdi, StopSendsWhatWaitsAndRefusesWhatComes) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    ndi.holdVideoSends(true);
    push(levelPicture(0, 720, 576));
    ASSERT_TRUE(waitForHeld());
    for (int i = 1; i <= 3; ++i)
        push(levelPicture(i, 720, 576));
    std::thread stopping([&] { output->setEnabled(false); });
    // From the moment the stop has begun nothing more is taken.
    const auto late = levelPicture(99, 720, 576);
    EXPECT_TRUE(test::waitUntil([&] {
        const int before = statsOf(*output).framesQueued + statsOf(*output).framesDropped;
        push(late);
        return statsOf(*output).framesQueued + statsOf(*output).framesDropped == before;
    }));
    const int accepted =
        1 + statsOf(*output).framesQueued; // the one in the device, and those that wait
    ndi.holdVideoSends(false);
    stopping.join();
    EXPECT_EQ(ndi.state().senders.back().videoSent, accepted);
    EXPECT_EQ(statsOf(*output).framesQueued, 0);
    EXPECT_EQ(av_buffer_get_ref_count(late->buf[0]), 1);
}

TEST_F(LOutputNdi, SoundGoesOutInPlanesOneBehindTheOther) {
    output->setEnabled(true);
    pushSound(1920, 16384, -32768);
    ASSERT_TRUE(waitForAudio(1));
    const test::NdiAudio sent = ndi.state().senders.back().audio.front();
    EXPECT_EQ(sent.record.sample_rate, 48000);
    EXPECT_EQ(sent.record.no_channels, 2);
    ASSERT_EQ(sent.record.no_samples, 1920);
    EXPECT_EQ(sent.record.channel_stride_in_bytes, 1920 * 4);
    EXPECT_EQ(sent.record.timecode, quol::ndi::timecode_synthesize);
    EXPECT_EQ(sent.record.p_metadata, nullptr);
    EXPECT_EQ(sent.record.timestamp, 0);
    std::vector<float> planes(sent.bytes->size() / sizeof(float));
    ASSERT_EQ(planes.size(), 3840U);
    std::memcpy(planes.data(), sent.bytes->data(), sent.bytes->size());
    EXPECT_TRUE(std::all_of(planes.begin(), planes.begin() + 1920,
                            [](float value) { return value == 0.5F; }));
    EXPECT_TRUE(std::all_of(planes.begin() + 1920, planes.end(),
                            [](float value) { return value == -1.0F; }));
}

TEST_F(LOutputNdi, SoundIsCutByTheWholeRate) {
    output->DeviceFormatVideoSet(13); // 1080p59
    output->setEnabled(true);
    for (int i = 0; i < 3; ++i)
        pushSound(813, 1, 1);
    ASSERT_TRUE(waitForAudio(2));
    const NdiState state = ndi.state();
    for (const test::NdiAudio& audio : state.senders.back().audio)
        EXPECT_LE(audio.record.no_samples, 813);
    EXPECT_EQ(state.senders.back().audio.front().record.no_samples, 813);
}

TEST_F(LOutputNdi, ShortSoundGoesOutAsShortAsItIs) {
    output->setEnabled(true);
    pushSound(100, 3, 3);
    ASSERT_TRUE(waitForAudio(1));
    EXPECT_EQ(ndi.state().senders.back().audio.front().record.no_samples, 100);
}

TEST_F(LOutputNdi, GainIsAPercentage) {
    output->setProps("audio_gain", "150");
    output->setEnabled(true);
    pushSound(1920, 1000, 1000);
    ASSERT_TRUE(waitForAudio(1));
    float first = 0.0F;
    std::memcpy(&first, ndi.state().senders.back().audio.front().bytes->data(), sizeof first);
    EXPECT_EQ(first, 1500.0F / 32768);
}

TEST_F(LOutputNdi, SoundGoesOutNoFasterThanItPlays) {
    output->setEnabled(true);
    const auto begun = std::chrono::steady_clock::now();
    for (int i = 0; i < 8; ++i)
        pushSound(1920, 1, 1);
    ASSERT_TRUE(waitForAudio(8));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(7 * 38));
}

TEST_F(LOutputNdi, SoundOfAnEarlierRunIsNotHeardAgain) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    for (int i = 0; i < 400; ++i)
        pushSound(1920, 1, 1);
    output->setEnabled(false);
    output->setEnabled(true);
    pushSound(1920, 16384, 16384);
    ASSERT_TRUE(waitForAudio(1));
    float first = 0.0F;
    std::memcpy(&first, ndi.state().senders.back().audio.front().bytes->data(), sizeof first);
    EXPECT_EQ(first, 0.5F);
}

TEST_F(LOutputNdi, PropertyNamesTheStream) {
    output->setProps("stream_name", "Studio 1");
    output->setEnabled(true);
    output->setProps("stream_name", "Studio 2");
    EXPECT_EQ(ndi.state().senders.back().name, "Studio 1") << "counts from the next start on";
    output->setEnabled(false);
    output->setEnabled(true);
    EXPECT_EQ(ndi.state().senders.back().name, "Studio 2");
}

TEST_F(LOutputNdi, NameOfTheHostsOwnStaysWithTheDevice) {
    output->setProps("stream_name", "Mine");
    output->setDevice(1);
    output->setDevice(0);
    output->setEnabled(true);
    EXPECT_EQ(ndi.state().senders.back().name, "Mine");
}

TEST_F(LOutputNdi, SwitchToNdiWhileEnabledStartsItUnderItsName) {
    output->setDevice(1);
    output->setProps("enabled", "true");
    EXPECT_TRUE(ndi.state().senders.empty());
    output->setDevice(0);
    ASSERT_EQ(ndi.state().senders.size(), 1U);
    EXPECT_EQ(ndi.state().senders.back().name, "NDI_Output");
    push(levelPicture(1));
    EXPECT_TRUE(waitForVideo(1));
    output->setDevice(5);
    EXPECT_FALSE(ndi.state().senders.back().alive);
}

TEST_F(LOutputNdi, AnotherDeviceIsNotStartedBesideIt) {
    ASSERT_TRUE(output->startNDI());
    EXPECT_FALSE(output->startVTP());
    EXPECT_FALSE(output->startDeckLink());
    output->stopVTP();
    output->stopDeckLink();
    EXPECT_TRUE(ndi.state().senders.back().alive);
}

TEST_F(LOutputNdi, ASourceThatStopsIsFollowedByNothingUntilItIsThereAgain) {
    output->DeviceFormatVideoSet(format576i);
    output->setEnabled(true);
    push(levelPicture(40, 720, 576));
    ASSERT_TRUE(waitForVideo(1));
    std::this_thread::sleep_for(300ms);
    EXPECT_EQ(ndi.state().senders.back().videoSent, 1);
    EXPECT_TRUE(ndi.state().senders.back().alive);
    push(levelPicture(80, 720, 576));
    ASSERT_TRUE(waitForVideo(2));
    EXPECT_THAT(*latest().bytes, testing::Each(80));
}

TEST_F(LOutputNdi, WithoutASourceItRunsIdle) {
    output->setEnabled(true);
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(statsOf(*output).framesSent, 0);
    EXPECT_EQ(ndi.state().senders.back().videoSent, 0);
    EXPECT_EQ(ndi.state().senders.back().audioSent, 0);
    output->setEnabled(false);
}

TEST_F(LOutputNdi, WithoutASourceItsSoundWakesEvery5MillisecondsAndItsPicturesSleep) {
    std::thread([] {}).join(); // with the first one, a sanitizer's own begins
    const std::set<std::string> before = threadsOfThisProcess();
    output->setEnabled(true);
    std::vector<std::string> workers;
    for (const std::string& thread : threadsOfThisProcess()) {
        if (!before.contains(thread)) workers.push_back(thread);
    }
    ASSERT_EQ(workers.size(), 2U);
    std::this_thread::sleep_for(100ms); // by then both have told that they are there
    const auto begin = std::chrono::steady_clock::now();
    const std::vector<long> first{sleepsOf(workers[0]), sleepsOf(workers[1])};
    const long ticks = ticksOf(workers[0]) + ticksOf(workers[1]);
    std::vector<long> slept;
    ASSERT_TRUE(test::waitUntil([&] {
        slept = {sleepsOf(workers[0]) - first[0], sleepsOf(workers[1]) - first[1]};
        return std::max(slept[0], slept[1]) >= 40;
    }));
    const auto passed = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(std::min(slept[0], slept[1]), 0);
    EXPECT_LE(std::max(slept[0], slept[1]), passed / 5ms + 5);
    EXPECT_LT(passed, 2s) << "a fortieth of it is far from 5 ms";
    EXPECT_LT(ticksOf(workers[0]) + ticksOf(workers[1]) - ticks, passed / 40ms + 2)
        << "who does not sleep works";
}

TEST_F(LOutputNdi, SourcesPicturesAndSoundGoThrough) {
    output->DeviceFormatVideoSet(format576i);
    test::LiveSource source;
    output->setSource(&source);
    output->setEnabled(true);
    source.start();
    EXPECT_TRUE(waitForVideo(5));
    EXPECT_TRUE(waitForAudio(5));
    output->setSource(nullptr);
    source.stop();
}

TEST_F(LOutputNdi, DestroyedWhileASourcePushes) {
    test::LiveSource source;
    output->DeviceFormatVideoSet(format576i);
    output->setSource(&source);
    output->setEnabled(true);
    source.start();
    ASSERT_TRUE(waitForVideo(2));
    output.reset();
    EXPECT_TRUE(source.waitForPictures(3)) << "the source never hears of it";
    source.stop();
}

TEST_F(LOutputNdi, EverythingAtOnce) {
    CapturedStream out(outputStream); // keeps the lines out of the test's own
    std::atomic<bool> running{true};
    const auto repeat = [&](const std::function<void(int)>& work) {
        return std::thread([&running, work] {
            for (int i = 0; running; ++i)
                work(i);
        });
    };
    const auto picture = test::makePicture(96, 54, AV_PIX_FMT_YUV420P);
    std::vector<std::thread> threads;
    threads.push_back(repeat([&](int) { push(picture); }));
    threads.push_back(repeat([&](int i) { pushSound(i % 2000 + 1, 5, 5); }));
    threads.push_back(repeat([&](int i) {
        output->setProps("NDI.color_format", i % 2 == 0 ? "BGRA" : "UYVY");
        output->setProps("scaling_quality", i % 3 == 0 ? "bicubic" : "bilinear");
        output->setProps("audio_gain", "90");
        output->DeviceFormatAudioSet({0, 16, i % 2 == 0 ? 48000 : 44100, 2});
        statsOf(*output);
    }));
    threads.push_back(repeat([&](int i) { output->DeviceFormatVideoSet(i % 2); }));
    for (int i = 0; i < 12; ++i) {
        output->setEnabled(i % 2 == 0);
        if (i % 2 == 0) {
            EXPECT_TRUE(waitForVideo(1));
        }
        if (i == 6) output->setDevice(3);
        if (i == 7) output->setDevice(0);
    }
    running = false;
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace
