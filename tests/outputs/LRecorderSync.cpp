// Whether sound and pictures stay together in the file, whatever the source does.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <thread>

#include "quolsdk/LFile.h"
#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LiveSource.h"
#include "support/MachineWatch.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"

namespace {

using namespace std::chrono_literals;
using test::Encoding;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::statsOf;
using test::temporaryPath;

constexpr double frame = 0.04; // seconds, of all sources here

// What a picture and the sound that belongs to it may be apart: one frame. Where the machine
// brought a picture late, the picture stands late in the file; that is taken off.
double allowed(double lateness) {
    return frame + lateness;
}

// How far each beep in [from, to) of the file is from its flash. A flash whose picture found its
// tick taken is not there, and its beep then has none.
std::vector<double> pairs(const RecordedFile& file, double from = 0.0, double to = 1e9) {
    std::vector<double> beeps;
    for (const double beep : test::beeps(file)) {
        if (beep >= from && beep < to) beeps.push_back(beep);
    }
    std::vector<double> found;
    for (const double apart : test::distances(beeps, test::flashes(file))) {
        constexpr double another = 0.25; // the flash of another beep
        if (std::fabs(apart) < another) found.push_back(apart);
    }
    return found;
}

double largest(const std::vector<double>& distances) {
    double result = 0.0;
    for (const double one : distances)
        result = std::max(result, std::fabs(one));
    return result;
}

// A recording of the live source, at twice its rate so that no picture finds its tick taken.
struct LiveRecording {
    void begin() {
        test::configure(recorder, path, {"mov", "mpeg4", "pcm_s16le", ""});
        test::setPictures(recorder, 160, 90, 50);
        recorder.source = &source;
        source.start();
        ASSERT_TRUE(recorder.Record());
    }

    // Lets that many seconds go by in the source's pictures.
    void pass(double seconds) { ASSERT_TRUE(source.waitForPictures(std::lround(seconds / frame))); }

    RecordedFile finish() {
        recorder.Stop();
        source.stop();
        RecordedFile file = readRecordedFile(path);
        EXPECT_EQ(file.error, "");
        EXPECT_LT(file.soundHoles, 1e-4);
        EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.15 + source.largestLateness());
        return file;
    }

    // At least so many flashes and beeps, each pair together.
    void expectTogether(const RecordedFile& file, std::size_t atLeast, double from = 0.0,
                        double to = 1e9) {
        const std::vector<double> distances = pairs(file, from, to);
        EXPECT_GE(distances.size(), atLeast);
        EXPECT_LE(largest(distances), allowed(source.largestLateness()));
    }

    const std::string path = temporaryPath("sync.mov");
    LiveSource source;
    LRecorder recorder;
};

// Once more, where it misses and the machine was away: of pictures that all come at once behind a
// stall only one finds its tick, and a flash may be among the others.
void record(const std::function<void(LiveRecording&)>& happening) {
    test::measured([&happening](test::MachineWatch& watch) {
        LiveRecording recording;
        watch.begin();
        ASSERT_NO_FATAL_FAILURE(recording.begin());
        happening(recording);
    });
}

TEST(LRecorderSync, SteadySourceStaysTogether) {
    record([](LiveRecording& live) {
        live.pass(3.0);
        const RecordedFile file = live.finish();
        live.expectTogether(file, 4);
        EXPECT_LT(file.longestPictureGap(), frame + 0.02 + live.source.largestLateness());
    });
}

TEST(LRecorderSync, SourceThatStopsAndResumesLeavesAGapAndStaysTogether) {
    record([](LiveRecording& live) {
        live.pass(1.6);
        live.source.setSilent(true); // its clock runs on, as that of a camera does
        std::this_thread::sleep_for(1000ms);
        live.source.setSilent(false);
        live.pass(1.6);
        const RecordedFile file = live.finish();
        EXPECT_GE(file.longestPictureGap(), 0.9);
        live.expectTogether(file, 3);
    });
}

TEST(LRecorderSync, SourceThatIsHeldAndGoesOnLeavesAGapAndStaysTogether) {
    record([](LiveRecording& live) {
        live.pass(1.6);
        live.source.setClockRunsOn(false); // as that of a paused file
        live.source.setSilent(true);
        std::this_thread::sleep_for(1000ms);
        live.source.setSilent(false);
        live.pass(1.6);
        const RecordedFile file = live.finish();
        EXPECT_GE(file.longestPictureGap(), 0.9);
        live.expectTogether(file, 3);
    });
}

TEST(LRecorderSync, PausedRecorderGoesOnTogether) {
    record([](LiveRecording& live) {
        live.pass(1.6);
        live.recorder.Pause(true);
        std::this_thread::sleep_for(1000ms);
        live.recorder.Pause(false);
        live.pass(1.6);
        const RecordedFile file = live.finish();
        EXPECT_LT(file.longestPictureGap(), 0.2 + live.source.largestLateness());
        live.expectTogether(file, 3);
    });
}

TEST(LRecorderSync, SourceThatLoopsStaysTogether) {
    record([](LiveRecording& live) {
        live.source.setLoop(1.8); // three flashes
        live.pass(5.4);
        live.expectTogether(live.finish(), 6);
    });
}

TEST(LRecorderSync, SourceThatJumpsForwardStaysTogether) {
    record([](LiveRecording& live) {
        live.pass(1.4);
        live.source.jumpTo(60.0);
        live.pass(1.4);
        live.source.jumpTo(63.36);
        live.pass(1.4);
        live.expectTogether(live.finish(), 4);
    });
}

TEST(LRecorderSync, SourceThatRunsALittleFastStaysTogether) {
    record([](LiveRecording& live) {
        live.source.setSpeed(1.02);
        live.pass(5.0);
        const RecordedFile file = live.finish();
        EXPECT_GE(pairs(file).size(), 6U);
        // The clocks are tied anew once they are a picture apart.
        EXPECT_LE(largest(pairs(file)), 2 * frame + live.source.largestLateness());
    });
}

TEST(LRecorderSync, SoundThatIsMissingForAWhileComesBackInItsPlace) {
    record([](LiveRecording& live) {
        live.pass(1.4);
        live.source.setSound(false);
        live.pass(1.0);
        live.source.setSound(true);
        live.pass(1.6);
        live.expectTogether(live.finish(), 3);
    });
}

// ---------------------------------------------------------------------------- a file as source

// The player's file and two recorders on it: one as a host sets it up, in which a flash may find
// its tick taken, and one at twice the rate, in which none does.
struct FileRecordings {
    void begin() {
        const std::string clip = test::mediaPath("flash_beep.mov");
        ASSERT_TRUE(std::filesystem::exists(clip)) << "tests/make_media.sh makes it";
        player.fileNameSet(clip);
        player.ready();
        player.addSink(&arrivals);
        begin(plain, plainPath, {}, 25);
        begin(twice, twicePath, {"mov", "mpeg4", "pcm_s16le", ""}, 50);
    }

    void begin(LRecorder& recorder, const std::string& path, const Encoding& encoding, double fps) {
        test::configure(recorder, path, encoding);
        test::setPictures(recorder, 320, 180, fps);
        recorder.source = &player;
        ASSERT_TRUE(recorder.Record());
    }

    void finish() {
        plain.Stop();
        twice.Stop();
        player.stop();
        player.removeSink(&arrivals);
    }

    // How much later than the earliest of all a picture came, against its own time.
    double lateness() const {
        double earliest = 1e18;
        double latest = -1e18;
        for (const auto& picture : arrivals.pictures()) {
            const double offset = static_cast<double>(picture.arrived) / 1e9 - picture.seconds;
            earliest = std::min(earliest, offset);
            latest = std::max(latest, offset);
        }
        return latest - earliest;
    }

    const std::string plainPath = temporaryPath("plain.mp4");
    const std::string twicePath = temporaryPath("twice.mov");
    test::CollectingSink arrivals;
    LFile player;
    LRecorder plain;
    LRecorder twice;
};

void recordFile(const std::function<void(FileRecordings&)>& happening) {
    test::measured([&happening](test::MachineWatch& watch) {
        FileRecordings recordings;
        watch.begin();
        ASSERT_NO_FATAL_FAILURE(recordings.begin());
        happening(recordings);
    });
}

TEST(LRecorderSyncFile, EveryFlashOfARecordedFileHasItsBeepWithinAFrame) {
    recordFile([](FileRecordings& clip) {
        ASSERT_TRUE(clip.player.play());
        ASSERT_TRUE(clip.arrivals.waitForPictures(12 * 25 - 2, 60s));
        std::this_thread::sleep_for(100ms);
        const double late = clip.lateness();
        clip.finish();
        const RecordedFile file = readRecordedFile(clip.plainPath);
        const RecordedFile fine = readRecordedFile(clip.twicePath);
        EXPECT_EQ(file.error, "");
        EXPECT_EQ(fine.error, "");
        EXPECT_GE(pairs(file).size(), 8U); // some may have found their tick taken
        EXPECT_GE(pairs(fine).size(), 11U);
        EXPECT_LE(largest(pairs(file)), allowed(late));
        EXPECT_LE(largest(pairs(fine)), allowed(late));
        for (const auto& [name, recorded] : {std::pair{"25", &file}, {"50", &fine}}) {
            const double distance = largest(pairs(*recorded)) * 1000;
            std::printf(
                "at %s pictures a second: %zu pairs, at most %.1f ms apart; "
                "pictures came up to %.1f ms late\n",
                name, pairs(*recorded).size(), distance, late * 1000);
            testing::Test::RecordProperty(std::string("largest_distance_us_at_") + name,
                                          static_cast<int>(distance * 1000));
        }
    });
}

TEST(LRecorderSyncFile, LoopedFileStaysTogether) {
    recordFile([](FileRecordings& clip) {
        clip.player.setProps("loop", "true");
        clip.player.inPointMs = 1000.0;
        clip.player.outPointMs = 3000.0;
        ASSERT_TRUE(clip.player.play());
        ASSERT_TRUE(clip.arrivals.waitForPictures(6 * 25, 60s));
        clip.finish();
        const RecordedFile fine = readRecordedFile(clip.twicePath);
        EXPECT_EQ(fine.error, "");
        EXPECT_GE(pairs(fine).size(), 4U);
        // Each turn of the loop may take the player a moment that the file's own time does not
        // know.
        EXPECT_LE(largest(pairs(fine)), 3 * frame);
        EXPECT_NEAR(fine.soundSeconds(), fine.pictureSeconds(), 0.7);
    });
}

// The longest silence between the first and the last sound of a file, in seconds.
double longestSilence(const RecordedFile& file) {
    std::size_t quiet = 0;
    std::size_t longest = 0;
    bool begun = false;
    for (std::size_t i = 0; i < file.soundPairs(); ++i) {
        if (file.sound[2 * i] == 0.0F) {
            quiet += begun ? 1 : 0;
            continue;
        }
        begun = true;
        longest = std::max(longest, quiet);
        quiet = 0;
    }
    return static_cast<double>(longest) / file.soundRate;
}

class LRecorderSyncTone : public testing::TestWithParam<const char*> {};

TEST_P(LRecorderSyncTone, ToneOfARecordedFileHasNoHoles) {
    const std::string clip = test::mediaPath(GetParam());
    const std::string path = temporaryPath("tone.mov");
    ASSERT_TRUE(std::filesystem::exists(clip)) << "tests/make_media.sh makes it";
    LFile player;
    LRecorder recorder;
    player.fileNameSet(clip);
    player.ready();
    test::configure(recorder, path, {"mov", "mpeg4", "pcm_s16le", ""});
    recorder.source = &player;
    ASSERT_TRUE(recorder.Record());
    ASSERT_TRUE(player.play());
    ASSERT_TRUE(test::waitForWritten(recorder, 50));
    recorder.Stop();
    player.stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_GT(file.largestSample(), 0.05);
    EXPECT_LT(longestSilence(file), 0.01); // an encoder may begin with some zeros
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.2);
}

INSTANTIATE_TEST_SUITE_P(All, LRecorderSyncTone, testing::Values("h264_aac.mp4", "h264.ts"),
                         [](const auto& info) {
                             std::string name = info.param;
                             return name.substr(0, name.find('.')) +
                                    name.substr(name.find('.') + 1);
                         });

} // namespace
