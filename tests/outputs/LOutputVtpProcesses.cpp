// From a file player in one process to a recording in another: what comes out there is what is in
// the file, at the times that it was sent at. Within this machine, and over a bad cable.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <thread>

#include "core/Clock.h"
#include "platform/vtp/vtp.h"
#include "support/CapturedStream.h"
#include "support/ClipReceiver.h"
#include "support/ClipSender.h"
#include "support/CollectingSink.h"
#include "support/FilePlayer.h"
#include "support/Instrumented.h"
#include "support/LinkedMachines.h"
#include "support/MachineWatch.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/RunningOutput.h"
#include "support/VtpEnds.h"

namespace {

using namespace std::chrono_literals;
using test::ClipReceiver;
using test::ClipSender;
using test::MachineWatch;
using test::NumberedClip;
using test::SoundPiece;

constexpr double frame = NumberedClip::step;

double median(std::vector<double> values) {
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double largest(const std::vector<double>& values) {
    double result = 0.0;
    for (const double value : values)
        result = std::max(result, std::fabs(value));
    return result;
}

// A receiver without a live input around it: it gets the sender's own timestamps.
class Timestamps {
public:
    struct Picture {
        int number = 0;
        std::int64_t sent = 0;    // by the sender
        std::int64_t arrived = 0; // both steady nanoseconds, of the same clock
    };

    explicit Timestamps(const std::string& name) : receiver_(vtp_create_receiver()) {
        vtp_receiver_connect_by_name(receiver_.get(), name.c_str());
        thread_ = std::thread([this] { work(); });
    }
    ~Timestamps() { end(); }
    Timestamps(const Timestamps&) = delete;
    Timestamps& operator=(const Timestamps&) = delete;

    // All that came; nothing more comes.
    const std::vector<Picture>& end() {
        ending_ = true;
        if (thread_.joinable()) thread_.join();
        return pictures_;
    }

private:
    void work() {
        const quol::FramePtr picture = quol::makeFrame();
        picture->format = AV_PIX_FMT_BGR24;
        while (!ending_) {
            vtp_video_frame record{};
            if (!vtp_receiver_receive_frame(receiver_.get(), &record)) {
                quol::sleepFor(quol::nanosPerMilli);
                continue;
            }
            const std::int64_t now = quol::steadyNow();
            picture->width = record.width;
            picture->height = record.height;
            picture->linesize[0] = record.width * 3;
            picture->data[0] = const_cast<std::uint8_t*>(record.data);
            pictures_.push_back({NumberedClip::numberOf(*picture), record.timestamp, now});
        }
        picture->data[0] = nullptr;
    }

    test::VtpReceiver receiver_;
    std::vector<Picture> pictures_; // the thread's until it is joined
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

// Mean and largest difference of the bytes of what came from what swscale makes of the clip.
struct Difference {
    int compared = 0;
    double mean = 0.0;
    int largest = 0;
};

Difference differenceFromClip(const std::map<int, quol::FramePtr>& pictures) {
    Difference result;
    double sum = 0.0;
    int number = 0;
    test::decodeEach(NumberedClip::path(), AVMEDIA_TYPE_VIDEO, [&](const quol::FramePtr& original) {
        const auto found = pictures.find(number++);
        if (found == pictures.end()) return;
        const AVFrame& came = *found->second;
        const auto expected = test::convertedAlone(*original, NumberedClip::width,
                                                   NumberedClip::height, AV_PIX_FMT_BGR24);
        constexpr int rowBytes = NumberedClip::width * 3;
        std::int64_t differences = 0;
        for (int i = 0; i < static_cast<int>(expected.size()); ++i) {
            const int byte = came.data[0][i / rowBytes * came.linesize[0] + i % rowBytes];
            const int difference = std::abs(byte - expected[static_cast<std::size_t>(i)]);
            differences += difference;
            result.largest = std::max(result.largest, difference);
        }
        ++result.compared;
        sum += static_cast<double>(differences) / static_cast<double>(expected.size());
    });
    result.mean = result.compared > 0 ? sum / result.compared : 1e9;
    return result;
}

// From the push in the one process to the push in the other, seconds, of the pictures numbered
// `first` to `last`.
std::vector<double> latencies(const ClipSender& sender, const ClipReceiver& receiver, int first = 0,
                              int last = NumberedClip::pictures) {
    std::vector<double> result;
    for (const auto& picture : receiver.sink.pictures()) {
        if (picture.number >= first && picture.number <= last)
            result.push_back(static_cast<double>(picture.arrived - sender.pushed(picture.number)) /
                             1e9);
    }
    return result;
}

// Of this process, and of this time: what was heard of is known for a while.
std::string uniqueName(const std::string& name) {
    static int made = 0;
    return name + " " + std::to_string(getpid()) + " " + std::to_string(++made);
}

class LOutputVtpProcesses : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(std::filesystem::exists(NumberedClip::path()))
            << "tests/make_media.sh makes it";
    }

    void recordElsewhere(MachineWatch& watch);

    // A disturbance as long as that costs so many pictures, beyond those that queues hold.
    static int explained(double lateness) { return static_cast<int>(lateness / frame); }

    void expectTheClipsSound(const std::vector<SoundPiece>& pieces, double seconds) {
        ASSERT_FALSE(pieces.empty()) << "there is something in it that is not in the clip";
        double pairs = 0.0;
        for (const SoundPiece& piece : pieces)
            pairs += static_cast<double>(piece.pairs);
        EXPECT_GE(pairs / NumberedClip::soundRate, seconds);
    }

    // The way from the push in the one process to that in the other leaves sound and picture as
    // far apart as the player pushed them, which is as far as its decoder is behind. The output's
    // sound worker waits by pictures. `atMedian` and `atMost`, of a single one, are in seconds;
    // where a sanitizer looks on, both ends take longer for a picture than it lasts, and it is only
    // told.
    void expectTogether(const ClipSender& sender, const std::map<int, double>& received,
                        std::size_t atLeast, double atMedian, double atMost) {
        std::vector<double> pushed;
        std::vector<double> added;
        for (const auto& [number, behind] : received) {
            const auto before = sender.soundBehind(number);
            ASSERT_TRUE(before);
            pushed.push_back(*before);
            added.push_back(behind - *before);
        }
        std::printf(
            "%zu flashes: the player pushed the sound %.1f ms behind by the median; on the "
            "way came %.1f by the median, %.1f at most\n",
            added.size(), median(pushed) * 1e3, median(added) * 1e3, largest(added) * 1e3);
        EXPECT_GE(added.size(), atLeast);
        if (test::isInstrumented) return;
        EXPECT_LE(std::fabs(median(added)), atMedian);
        EXPECT_LE(largest(added), atMost);
    }
};

TEST_F(LOutputVtpProcesses, WhatIsRecordedInAnotherProcessIsTheFile) {
    test::measured([this](MachineWatch& watch) { recordElsewhere(watch); });
}

void LOutputVtpProcesses::recordElsewhere(MachineWatch& watch) {
    const std::string name = uniqueName("clip");
    const std::string path = test::temporaryPath("received.mov");
    constexpr int wanted = 130;
    ClipSender sender(name);
    ASSERT_TRUE(sender.isReady());
    watch.begin();
    ClipReceiver receiver(5);
    LRecorder recorder;
    ASSERT_TRUE(receiver.start(name));
    Timestamps timestamps(name);
    // Twice the rate, so that hardly a picture finds its tick taken.
    test::configure(recorder, path, {"mov", "mpeg4", "pcm_s16le", "qscale=3"});
    test::setPictures(recorder, NumberedClip::width, NumberedClip::height, 50);
    recorder.source = &receiver.live;
    ASSERT_TRUE(recorder.Record());
    sender.play();
    ASSERT_TRUE(receiver.waitFor(wanted));
    recorder.Stop();
    const auto stamps = timestamps.end();
    receiver.live.Stop();
    ASSERT_TRUE(sender.stop());
    const double late = sender.lateness() + watch.lateness();

    const auto pictures = receiver.sink.pictures();
    ASSERT_TRUE(receiver.isInOrder());
    const std::vector<double> delays = latencies(sender, receiver);
    // A picture that came late stands late beside its sound.
    const double apartAtMost = frame + 0.01 + largest(delays) - median(delays);
    std::printf(
        "pictures %d to %d, %d lost; push to push %.1f ms by the median, %.1f at most; "
        "sender up to %.1f ms late, this process %.1f\n",
        pictures.front().number, pictures.back().number, receiver.lost(), median(delays) * 1e3,
        largest(delays) * 1e3, sender.lateness() * 1e3, watch.lateness() * 1e3);
    EXPECT_LE(receiver.lost(), explained(late));
    EXPECT_LT(median(delays), 0.2 + late);
    const Difference difference = differenceFromClip(receiver.sink.keptPictures());
    EXPECT_GE(difference.compared, 15);
    EXPECT_EQ(difference.largest, 0);

    const NumberedClip clip;
    const auto pieces = piecesOf(clip, receiver.sink.sound());
    expectTheClipsSound(pieces, 4.0);
    EXPECT_EQ(test::missingPairs(pieces), 0U);
    expectTogether(sender, receiver.soundBehind(pieces), 4, frame + late, apartAtMost + late);

    ASSERT_GE(stamps.size(), 100U);
    std::vector<double> spacing;
    for (std::size_t i = 0; i < stamps.size(); ++i) {
        ASSERT_GE(stamps[i].number, 0);
        EXPECT_GE(stamps[i].sent, sender.pushed(stamps[i].number));
        EXPECT_LE(stamps[i].sent, stamps[i].arrived);
        if (i == 0) continue;
        EXPECT_GT(stamps[i].sent, stamps[i - 1].sent);
        const int steps = stamps[i].number - stamps[i - 1].number;
        spacing.push_back(static_cast<double>(stamps[i].sent - stamps[i - 1].sent) / 1e9 -
                          steps * frame);
    }
    std::printf("timestamps: %.2f ms off by the median, %.1f ms at most\n", median(spacing) * 1e3,
                largest(spacing) * 1e3);
    EXPECT_LT(std::fabs(median(spacing)), 0.005 + late);
    EXPECT_LT(largest(spacing), frame + late);

    // And the file.
    const test::RecordedFile file = test::readRecordedFile(path, test::Keep::pictures);
    EXPECT_EQ(file.error, "");
    EXPECT_LT(file.soundHoles, 1e-4);
    int before = -1;
    for (const auto& picture : file.pictures) {
        const int number = NumberedClip::numberOf(*picture.frame);
        EXPECT_GT(number, before);
        before = number;
    }
    int sharedTicks = 0;
    for (std::size_t i = 1; i < pictures.size(); ++i)
        sharedTicks += pictures[i].arrived - pictures[i - 1].arrived < 25 * quol::nanosPerMilli;
    EXPECT_GE(static_cast<int>(file.pictures.size()),
              static_cast<int>(pictures.size()) - sharedTicks - 2);
    std::vector<std::int16_t> recorded;
    for (const float sample : file.sound)
        recorded.push_back(static_cast<std::int16_t>(std::lround(sample * 32768.0F)));
    const auto recordedPieces = piecesOf(clip, recorded);
    expectTheClipsSound(recordedPieces, 4.0);
    const auto apart = test::distances(test::flashes(file), test::beeps(file));
    std::printf(
        "recorded: %zu pictures of %zu, %zu pieces of sound, %zu pairs missing; "
        "%zu flashes, beeps at most %.1f ms apart\n",
        file.pictures.size(), pictures.size(), recordedPieces.size(),
        test::missingPairs(recordedPieces), apart.size(), largest(apart) * 1e3);
    EXPECT_GE(apart.size(), 4U);
    // The recorder begins with what the player is ahead by.
    double ahead = 0.0;
    for (int number = 0; number < wanted; number += NumberedClip::flashEvery)
        ahead = std::max(ahead, std::fabs(sender.soundBehind(number).value_or(0.0)));
    EXPECT_LE(largest(apart), apartAtMost + ahead + late);
}

// ------------------------------------------------------------------------------ another machine

class LOutputVtpMachines : public LOutputVtpProcesses {
protected:
    void SetUp() override {
        LOutputVtpProcesses::SetUp();
        if (!test::Machine("10.78.0.1").isThere())
            GTEST_SKIP() << "no network namespaces or tap devices to be made here";
    }

    void cutTheCable(MachineWatch& watch);
};

TEST_F(LOutputVtpMachines, TheClipSurvivesDelayAndLossAndACutOfFiveSeconds) {
    test::measured([this](MachineWatch& watch) { cutTheCable(watch); });
}

void LOutputVtpMachines::cutTheCable(MachineWatch& watch) {
    const test::Machine here("10.78.0.1");
    test::Machine there("10.78.0.2");
    const std::string name = uniqueName("across");
    ClipSender sender(name, &here);
    ASSERT_TRUE(sender.isReady());
    test::Cable cable(here, there);
    cable.setDelay(20ms);
    cable.setLoss(0.005);
    watch.begin();
    std::unique_ptr<ClipReceiver> receiver;
    bool started = false;
    there.run([&] {
        receiver = std::make_unique<ClipReceiver>(5);
        receiver->live.setProps("vtp_interface", test::Machine::interfaceName);
        started = receiver->start(name);
    });
    ASSERT_TRUE(started);
    sender.play();
    ASSERT_TRUE(receiver->waitFor(60));
    // What is judged of the time before the cut is there: sound may be further behind than
    // pictures.
    ASSERT_TRUE(receiver->waitForSound(50 + test::SoundClock::window));
    const int lostBefore = receiver->lost();

    cable.cut(true);
    std::this_thread::sleep_for(5s);
    const int atEnd = receiver->sink.latest();
    // The first attempt behind the cut is let through: each that fails doubles TCP's pause.
    cable.setLoss(0.0);
    cable.cut(false);
    const std::int64_t joined = quol::steadyNow();
    const int atJoin = sender.latest();
    ASSERT_TRUE(receiver->waitFor(atEnd + 1));
    const auto outage = static_cast<double>(quol::steadyNow() - joined) / 1e9;
    cable.setLoss(0.005);
    // Of the cut all the sound comes, before what is live.
    ASSERT_TRUE(receiver->waitForSound(atJoin));
    const double soundOutage = static_cast<double>(quol::steadyNow() - joined) / 1e9;
    // Three seconds of what is live by now.
    const int live = sender.latest();
    ASSERT_TRUE(receiver->waitFor(live + 75));
    receiver->live.Stop();
    ASSERT_TRUE(sender.stop());
    const double late = sender.lateness() + watch.lateness();

    const auto pictures = receiver->sink.pictures();
    ASSERT_TRUE(receiver->isInOrder());
    const std::vector<double> before = latencies(sender, *receiver, 0, 60);
    const std::vector<double> behind = latencies(sender, *receiver, live + 10);
    std::printf(
        "pictures %d to %d: %d lost before the cut, %d in all; pictures go on %.1f s behind "
        "the cut, sound is live %.1f s behind it; push to push %.1f ms by the median before, %.1f "
        "behind; sender up to "
        "%.1f ms late, this process %.1f\n",
        pictures.front().number, pictures.back().number, lostBefore, receiver->lost(), outage,
        soundOutage, median(before) * 1e3, median(behind) * 1e3, sender.lateness() * 1e3,
        watch.lateness() * 1e3);
    EXPECT_LT(median(before), 0.3 + late);
    EXPECT_LT(median(behind), 0.3 + late); // nobody sees the past for good
    EXPECT_LT(soundOutage, outage + (test::isInstrumented ? 3.0 : 1.0) + late);
    // A lost packet costs some 100 ms, which the queues hold.
    EXPECT_LE(lostBefore, 6 + explained(late));
    EXPECT_GE(receiver->lost(), 50); // there was a cut
    EXPECT_LE(receiver->lost(), 25 * (6.0 + outage) + 2 * explained(late));

    // The sender never noticed.
    EXPECT_EQ(sender.dropped(), 0);
    EXPECT_EQ(sender.sent(), sender.pictures());
    EXPECT_LT(sender.lateness(), 1.0 + watch.lateness());

    const NumberedClip clip;
    const auto pieces = piecesOf(clip, receiver->sink.sound());
    expectTheClipsSound(pieces, 5.0);
    std::printf("sound: %zu pieces, %.2f s missing\n", pieces.size(),
                static_cast<double>(test::missingPairs(pieces)) / NumberedClip::soundRate);
    EXPECT_LE(static_cast<double>(test::missingPairs(pieces)) / NumberedClip::soundRate,
              6.0 + outage + late);

    const Difference difference = differenceFromClip(receiver->sink.keptPictures());
    std::printf("%d pictures compared: %.2f of 255 off by the mean, %d at most\n",
                difference.compared, difference.mean, difference.largest);
    EXPECT_GE(difference.compared, 10);
    EXPECT_LT(difference.mean, 3.0);
    auto received = receiver->soundBehind(pieces);
    received.erase(received.upper_bound(50), received.upper_bound(live)); // about the cut
    // A lost packet holds the sound up, and there are some in each third of a second.
    expectTogether(sender, received, 3, 0.1 + late, 0.3 + late);
}

} // namespace
