// The sound of the files that the recorder makes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numbers>
#include <thread>

#include "core/Clock.h"
#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Frames.h"
#include "support/LiveSource.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"

namespace {

using test::CapturedStream;
using test::Encoding;
using test::LiveSource;
using test::readRecordedFile;
using test::RecordedFile;
using test::statsOf;
using test::temporaryPath;

const Encoding exact{"mov", "mpeg4", "pcm_s16le", ""};

// Pictures of 40 ms and the sound that goes with them, pushed by hand in real time.
class ByHand {
public:
    explicit ByHand(const std::string& name, const Encoding& encoding = exact)
        : path_(temporaryPath(name)) {
        test::configure(recorder, path_, encoding);
        test::setPictures(recorder, 64, 48, 25);
    }

    void begin() {
        EXPECT_TRUE(recorder.Record());
        pictures_ = 0;
        start_ = quol::steadyNow();
        lateness_ = 0;
    }

    // Pushes one and waits for the time of the next.
    void picture() {
        const auto frame = test::makePicture(64, 48, AV_PIX_FMT_YUV420P, pictures_++, {1, 25}, 1);
        recorder.pushVideoFrame(frame.get());
        const std::int64_t next = start_ + pictures_ * 40 * quol::nanosPerMilli;
        quol::sleepFor(next - quol::steadyNow());
        lateness_ = std::max(lateness_, quol::steadyNow() - next);
    }

    // `make` gives the sound of the picture with that number. A machine that holds the pictures up
    // makes the recorder tie its clocks anew, which moves the sound: then once more.
    RecordedFile record(int count, const std::function<quol::FramePtr(int)>& make) {
        for (int attempt = 0; attempt < 10; ++attempt) {
            begin();
            for (int i = 0; i < count; ++i) {
                const quol::FramePtr sound = make(i);
                if (sound) recorder.pushAudioFrame(sound.get());
                picture();
            }
            recorder.Stop();
            if (lateness_ < 100 * quol::nanosPerMilli) break;
        }
        return readRecordedFile(path_);
    }

    RecordedFile end() {
        recorder.Stop();
        return readRecordedFile(path_);
    }

    LRecorder recorder;

private:
    std::string path_;
    int pictures_ = 0;
    std::int64_t start_ = 0;    // steady nanoseconds
    std::int64_t lateness_ = 0; // of the latest picture, nanoseconds
};

quol::FramePtr tone(int i, int rate, int channels, AVSampleFormat format) {
    const int samples = rate / 25;
    return test::makeSound(samples, rate, channels, format, static_cast<std::int64_t>(i) * samples);
}

// How much of the sound is a sine of that frequency, as the amplitude it would have alone.
double amplitudeOf(const RecordedFile& file, double hertz, double from, double to) {
    double real = 0.0;
    double imaginary = 0.0;
    const auto first = static_cast<std::size_t>(from * file.soundRate);
    const auto end = std::min(file.soundPairs(), static_cast<std::size_t>(to * file.soundRate));
    for (std::size_t i = first; i < end; ++i) {
        const double angle = 2 * std::numbers::pi * hertz * static_cast<double>(i) / file.soundRate;
        real += file.sound[i * 2] * std::cos(angle);
        imaginary += file.sound[i * 2] * std::sin(angle);
    }
    return end > first ? 2 * std::hypot(real, imaginary) / static_cast<double>(end - first) : 0.0;
}

TEST(LRecorderSound, WithNoAudioFramesAtAllTheFileHasAFullSilentTrack) {
    for (const Encoding& encoding : {Encoding{}, exact}) {
        const std::string path = temporaryPath("silent." + encoding.container);
        LiveSource source;
        source.setSound(false);
        LRecorder recorder;
        test::configure(recorder, path, encoding);
        recorder.source = &source;
        ASSERT_TRUE(recorder.Record());
        source.start();
        ASSERT_TRUE(test::waitForWritten(recorder, 20));
        recorder.Stop();
        source.stop();
        const RecordedFile file = readRecordedFile(path);
        EXPECT_EQ(file.error, "");
        ASSERT_NE(file.audio(), nullptr);
        EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.15 + source.largestLateness());
        EXPECT_LT(file.soundHoles, 0.001);
        EXPECT_LT(file.largestSample(), 1e-4);
    }
}

TEST(LRecorderSound, FirstPictureOnlySetsTheClockAndSoundStartsWithTheSecond) {
    ByHand one("one_picture.mov");
    const RecordedFile first =
        one.record(1, [](int i) { return tone(i, 48000, 2, AV_SAMPLE_FMT_S16); });
    EXPECT_EQ(first.error, "");
    EXPECT_EQ(first.pictures.size(), 1U);
    EXPECT_EQ(first.soundPairs(), 0U);

    ByHand two("two_pictures.mov");
    const RecordedFile second =
        two.record(2, [](int i) { return tone(i, 48000, 2, AV_SAMPLE_FMT_S16); });
    EXPECT_EQ(second.error, "");
    EXPECT_EQ(second.pictures.size(), 2U);
    // Up to the second picture.
    EXPECT_GE(second.soundSeconds(), 0.04);
    EXPECT_GT(amplitudeOf(second, 1000.0, 0.0, 0.04), 0.05);
}

TEST(LRecorderSound, StereoS16AtTheEncodersRateGoesInUntouched) {
    ByHand hand("untouched.mov");
    std::vector<std::int16_t> pushed;
    const RecordedFile file = hand.record(25, [&pushed](int i) {
        if (i == 0) pushed.clear();
        auto sound = tone(i, 48000, 2, AV_SAMPLE_FMT_S16);
        auto* samples = reinterpret_cast<std::int16_t*>(sound->data[0]);
        for (int j = 0; j < sound->nb_samples; ++j)
            samples[2 * j + 1] = static_cast<std::int16_t>(j);
        pushed.insert(pushed.end(), samples, samples + sound->nb_samples * 2L);
        return sound;
    });
    EXPECT_EQ(file.error, "");
    ASSERT_GT(file.soundPairs(), 40000U);
    // Where the first picture stands in the file is its recording time: silence may come first.
    std::size_t silence = 0;
    while (silence < file.sound.size() && file.sound[silence] == 0.0F)
        ++silence;
    const std::size_t offset = (silence - 1) / 2 * 2; // the tone's first sample is 0 itself
    for (std::size_t i = 0; i < 60000; ++i) {
        ASSERT_EQ(file.sound[offset + i] * 32768, pushed[i]) << "sample " << i;
    }
}

struct Form {
    const char* name;
    int rate;
    int channels;
    AVSampleFormat format;
};

class LRecorderSoundForm : public testing::TestWithParam<Form> {};

TEST_P(LRecorderSoundForm, IsBroughtToStereoAt48kHz) {
    const Form& form = GetParam();
    ByHand hand("form.mov");
    const RecordedFile file =
        hand.record(20, [&form](int i) { return tone(i, form.rate, form.channels, form.format); });
    EXPECT_EQ(file.error, "");
    ASSERT_NE(file.audio(), nullptr);
    EXPECT_EQ(file.audio()->sampleRate, 48000);
    EXPECT_EQ(file.audio()->channels, 2);
    EXPECT_GE(file.soundSeconds(), 0.7);
    EXPECT_GT(amplitudeOf(file, 1000.0, 0.1, 0.7), 0.05);
    EXPECT_LT(amplitudeOf(file, 1088.0, 0.1, 0.7), 0.03);
}

INSTANTIATE_TEST_SUITE_P(All, LRecorderSoundForm,
                         testing::Values(Form{"FltpStereo48k", 48000, 2, AV_SAMPLE_FMT_FLTP},
                                         Form{"FltStereo44k", 44100, 2, AV_SAMPLE_FMT_FLT},
                                         Form{"S16Mono48k", 48000, 1, AV_SAMPLE_FMT_S16},
                                         Form{"S16pStereo32k", 32000, 2, AV_SAMPLE_FMT_S16P},
                                         Form{"FltpFiveOne96k", 96000, 6, AV_SAMPLE_FMT_FLTP}),
                         [](const auto& info) { return info.param.name; });

class LRecorderSoundEncoder : public testing::TestWithParam<Encoding> {};

TEST_P(LRecorderSoundEncoder, ToneComesBackWithItsPitchAndLevel) {
    ByHand hand("encoded." + GetParam().container, GetParam());
    const RecordedFile file =
        hand.record(20, [](int i) { return tone(i, 48000, 2, AV_SAMPLE_FMT_S16); });
    EXPECT_EQ(file.error, "");
    EXPECT_NEAR(amplitudeOf(file, 1000.0, 0.2, 0.7), 0.1, 0.02);
    EXPECT_LT(file.largestSample(), 0.2);
    EXPECT_LT(file.soundHoles, 0.002);
}

// Between them they want interleaved and planar, whole and floating samples.
INSTANTIATE_TEST_SUITE_P(All, LRecorderSoundEncoder,
                         testing::Values(Encoding{"mp4", "mpeg4", "aac", ""},
                                         Encoding{"mov", "mpeg4", "pcm_s24le", ""},
                                         Encoding{"mov", "mpeg4", "pcm_f32le", ""},
                                         Encoding{"matroska", "mpeg4", "flac", ""},
                                         Encoding{"matroska", "mpeg4", "libopus", ""},
                                         Encoding{"matroska", "mpeg4", "libmp3lame", ""},
                                         Encoding{"mpegts", "mpeg2video", "mp2", ""}),
                         [](const auto& info) { return info.param.audio; });

TEST(LRecorderSound, ConversionIsMadeOnceAndSoundOfAnotherLayoutIsDropped) {
    ByHand hand("frozen.mov");
    const RecordedFile file = hand.record(50, [](int i) {
        const int channels = i < 25 ? 1 : 4;
        return tone(i, 48000, channels, AV_SAMPLE_FMT_FLTP);
    });
    EXPECT_EQ(file.error, "");
    EXPECT_GT(amplitudeOf(file, 1000.0, 0.2, 0.8), 0.05);
    EXPECT_LT(amplitudeOf(file, 1000.0, 1.2, 1.8), 1e-3);
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 1.0); // silence takes its place
}

TEST(LRecorderSound, StereoS16StillGoesInWhenAConversionWasMadeForAnother) {
    ByHand hand("both.mov");
    const RecordedFile file = hand.record(50, [](int i) {
        return i < 25 ? tone(i, 48000, 1, AV_SAMPLE_FMT_FLTP)
                      : tone(i, 48000, 2, AV_SAMPLE_FMT_S16);
    });
    EXPECT_GT(amplitudeOf(file, 1000.0, 1.2, 1.8), 0.05);
}

TEST(LRecorderSound, ConversionIsMadeAnewForEveryRecording) {
    ByHand hand("anew.mov");
    hand.record(5, [](int i) { return tone(i, 48000, 1, AV_SAMPLE_FMT_FLTP); });
    const RecordedFile file =
        hand.record(25, [](int i) { return tone(i + 5, 44100, 2, AV_SAMPLE_FMT_S16P); });
    EXPECT_GT(amplitudeOf(file, 1000.0, 0.2, 0.8), 0.05);
}

TEST(LRecorderSound, SoundAndPicturesWithoutATimeStandAtTheTimeTheyCame) {
    const std::string path = temporaryPath("no_pts.mov");
    LRecorder recorder;
    test::configure(recorder, path, exact);
    test::setPictures(recorder, 64, 48, 50);
    ASSERT_TRUE(recorder.Record());
    for (int i = 0; i < 40; ++i) {
        const auto sound = tone(i, 48000, 2, AV_SAMPLE_FMT_S16);
        sound->pts = AV_NOPTS_VALUE;
        if (i >= 20) recorder.pushAudioFrame(sound.get());
        test::pushGrey(recorder, 64, 48, 100); // has no time either
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
    }
    const double length = statsOf(recorder).secondsRecorded;
    recorder.Stop();
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    ASSERT_FALSE(test::beeps(file).empty());
    // Twenty of forty pictures had none; how long they took is the machine's affair.
    EXPECT_GT(test::beeps(file).front(), 0.3 * length);
    EXPECT_LT(test::beeps(file).front(), 0.7 * length);
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.15);
}

TEST(LRecorderSound, UnknownAudioCodecNameGivesAFileWithoutSoundAndNoError) {
    const std::string path = temporaryPath("mute.mov");
    CapturedStream error(CapturedStream::Stream::error);
    LiveSource source;
    LRecorder recorder;
    test::configure(recorder, path, {"mov", "mpeg4", "no_such_codec", ""});
    recorder.source = &source;
    ASSERT_TRUE(recorder.Record());
    source.start();
    ASSERT_TRUE(test::waitForWritten(recorder, 10));
    recorder.Stop();
    source.stop();
    EXPECT_EQ(error.text(), "");
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.streams.size(), 1U);
    EXPECT_GE(file.pictures.size(), 10U);
}

TEST(LRecorderSound, AudioEncoderThatDoesNotOpenGivesAFileWithoutSound) {
    const std::string path = temporaryPath("experimental.mkv");
    std::string said;
    {
        CapturedStream error(CapturedStream::Stream::error);
        LiveSource source;
        LRecorder recorder;
        // FFmpeg's own encoder for it opens only for those who ask for experiments.
        test::configure(recorder, path, {"matroska", "mpeg4", "opus", ""});
        recorder.source = &source;
        ASSERT_TRUE(recorder.Record());
        source.start();
        ASSERT_TRUE(test::waitForWritten(recorder, 10));
        recorder.Stop();
        source.stop();
        said = error.text();
    }
    EXPECT_EQ(said, "LRecorder: Could not open audio codec\n");
    const RecordedFile file = readRecordedFile(path);
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.streams.size(), 1U);
    EXPECT_GE(file.pictures.size(), 10U);
}

TEST(LRecorderSound, SoundOfAPauseIsNotInTheFile) {
    ByHand hand("paused.mov");
    hand.begin();
    for (int i = 0; i < 60; ++i) {
        if (i == 20) hand.recorder.Pause(true);
        if (i == 40) hand.recorder.Pause(false);
        if (i >= 20 && i < 40) { // loud only while it is paused
            hand.recorder.pushAudioFrame(tone(i, 48000, 2, AV_SAMPLE_FMT_S16).get());
        }
        hand.picture();
    }
    const RecordedFile file = hand.end();
    EXPECT_EQ(file.error, "");
    EXPECT_EQ(file.largestSample(), 0.0);
    EXPECT_NEAR(file.soundSeconds(), file.pictureSeconds(), 0.15);
}

} // namespace
