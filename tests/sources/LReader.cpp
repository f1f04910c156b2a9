#include "quolsdk/LReader.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/CapturedStream.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace {

using test::mediaPath;

void expectNeutral(const LReader& reader) {
    EXPECT_EQ(reader.getDurationMs(), 0.0);
    EXPECT_EQ(reader.getFPS(), 0.0);
    EXPECT_EQ(reader.getWidth(), 0);
    EXPECT_EQ(reader.getHeight(), 0);
    EXPECT_EQ(reader.getVideoCodec(), "Unknown");
    EXPECT_EQ(reader.getAudioCodec(), "Unknown");
    EXPECT_EQ(reader.getContainer(), "Unknown");
    EXPECT_EQ(reader.getBitrate(), 0);
    EXPECT_EQ(reader.getAudioBitrate(), 0);
    EXPECT_EQ(reader.getAudioChannels(), 0);
    EXPECT_EQ(reader.getAspectRatio(), "N/A");
    EXPECT_EQ(reader.getColorSpace(), "Unknown");
    EXPECT_EQ(reader.getChromaSubsampling(), "Unknown");
    EXPECT_EQ(reader.getBitDepth(), 0);
    EXPECT_EQ(reader.getScanType(), "N/A");
    EXPECT_EQ(reader.getInTC(), "00:00:00:00");
    EXPECT_EQ(reader.getOutTC(), "00:00:00:00");
}

class Opened : public LReader {
public:
    explicit Opened(const std::string& clip) { EXPECT_TRUE(open(mediaPath(clip))) << clip; }
};

} // namespace

TEST(LReader, NeverOpenedEveryAnswerIsNeutral) {
    const LReader reader;
    expectNeutral(reader);
    EXPECT_EQ(reader.getFileLen(), 0);
}

TEST(LReader, SoundOnlyHasNoPictureAndSomeChannels) {
    const Opened reader("flac.flac");
    EXPECT_EQ(reader.getWidth(), 0);
    EXPECT_EQ(reader.getHeight(), 0);
    EXPECT_EQ(reader.getFPS(), 0.0);
    EXPECT_EQ(reader.getScanType(), "N/A");
    EXPECT_EQ(reader.getAspectRatio(), "N/A");
    EXPECT_EQ(reader.getColorSpace(), "Unknown");
    EXPECT_EQ(reader.getChromaSubsampling(), "Unknown");
    EXPECT_EQ(reader.getBitDepth(), 0);
    EXPECT_EQ(reader.getVideoCodec(), "Unknown");
    EXPECT_EQ(reader.getAudioChannels(), 2);
    EXPECT_EQ(reader.getAudioCodec(), "flac");
    EXPECT_EQ(reader.getContainer(), "flac");
    EXPECT_DOUBLE_EQ(reader.getDurationMs(), 2000.0);
}

TEST(LReader, OpeningASecondFileClosesTheFirst) {
    Opened reader("h264_aac.mp4");
    ASSERT_EQ(reader.getWidth(), 320);
    ASSERT_TRUE(reader.open(mediaPath("mono.wav")));
    EXPECT_EQ(reader.getWidth(), 0);
    EXPECT_EQ(reader.getInTC(), "00:00:00:00");
    EXPECT_EQ(reader.getAudioChannels(), 1);
    EXPECT_EQ(reader.getContainer(), "wav");
    ASSERT_TRUE(reader.open(mediaPath("silent.mp4")));
    EXPECT_EQ(reader.getWidth(), 320);
    EXPECT_EQ(reader.getAudioChannels(), 0);
    EXPECT_EQ(reader.getAudioCodec(), "Unknown");
}

TEST(LReader, TellsWhatIsInAnOrdinaryClip) {
    const Opened reader("h264_aac.mp4");
    EXPECT_DOUBLE_EQ(reader.getDurationMs(), 4000.0);
    EXPECT_DOUBLE_EQ(reader.getFPS(), 25.0);
    EXPECT_EQ(reader.getWidth(), 320);
    EXPECT_EQ(reader.getHeight(), 180);
    EXPECT_EQ(reader.getVideoCodec(), "h264");
    EXPECT_EQ(reader.getAudioCodec(), "aac");
    EXPECT_EQ(reader.getContainer(), "mov,mp4,m4a,3gp,3g2,mj2");
    EXPECT_EQ(reader.getAudioChannels(), 2);
    EXPECT_EQ(reader.getAspectRatio(), "16:9");
    EXPECT_EQ(reader.getChromaSubsampling(), "4:2:0");
    EXPECT_EQ(reader.getBitDepth(), 8);
    EXPECT_EQ(reader.getScanType(), "Progressive");
}

TEST(LReader, FileLengthIsThatOfTheFileSystem) {
    const Opened reader("h264_aac.mp4");
    const auto size = std::filesystem::file_size(mediaPath("h264_aac.mp4"));
    EXPECT_EQ(reader.getFileLen(), static_cast<std::int64_t>(size));
}

TEST(LReader, FileLengthIsToldForANameWithItsSchemeToo) {
    const std::string path = mediaPath("h264_aac.mp4");
    LReader reader;
    ASSERT_TRUE(reader.open("file:" + path));
    EXPECT_EQ(reader.getFileLen(), static_cast<std::int64_t>(std::filesystem::file_size(path)));
}

TEST(LReader, BitrateIsThatOfTheWholeContainer) {
    const Opened reader("h264_aac.mp4");
    // 4 seconds long.
    EXPECT_NEAR(static_cast<double>(reader.getBitrate()),
                static_cast<double>(reader.getFileLen()) * 8 / 4, 2.0);
    EXPECT_GT(reader.getAudioBitrate(), 10000);
    EXPECT_LT(reader.getAudioBitrate(), reader.getBitrate());
}

TEST(LReader, CloseForgetsTheFile) {
    Opened reader("h264_aac.mp4");
    reader.close();
    EXPECT_EQ(reader.getContainer(), "Unknown");
    EXPECT_EQ(reader.getWidth(), 0);
    EXPECT_EQ(reader.getDurationMs(), 0.0);
    EXPECT_EQ(reader.getFileLen(), 0);
    EXPECT_EQ(reader.getInTC(), "00:00:00:00");
    expectNeutral(reader);
}

TEST(LReader, CloseTwiceAndOpenAgain) {
    Opened reader("silent.mp4");
    reader.close();
    reader.close();
    ASSERT_TRUE(reader.open(mediaPath("silent.mp4")));
    EXPECT_EQ(reader.getWidth(), 320);
}

class NoMedia : public testing::TestWithParam<const char*> {};

TEST_P(NoMedia, DoesNotOpenAndLeavesTheReaderNeutral) {
    Opened reader("h264_aac.mp4");
    EXPECT_FALSE(reader.open(mediaPath(GetParam())));
    expectNeutral(reader);
    // The reader is as good as new.
    EXPECT_TRUE(reader.open(mediaPath("silent.mp4")));
    EXPECT_EQ(reader.getWidth(), 320);
}

INSTANTIATE_TEST_SUITE_P(LReader, NoMedia,
                         testing::Values("missing.mp4", "empty.mp4", "random.mp4", "text.mp4",
                                         "truncated_no_moov.mp4", "seq", "no/such/folder.mp4"));

TEST(LReader, TheLengthOfAFileThatDoesNotOpenIsKnown) {
    const std::string path = mediaPath("text.mp4");
    LReader reader;
    EXPECT_FALSE(reader.open(path));
    EXPECT_EQ(reader.getFileLen(), static_cast<std::int64_t>(std::filesystem::file_size(path)));
    reader.close();
    EXPECT_EQ(reader.getFileLen(), 0);
}

TEST(LReader, AnEmptyNameDoesNotOpen) {
    LReader reader;
    EXPECT_FALSE(reader.open(""));
    expectNeutral(reader);
}

TEST(LReader, DamagedPayloadDoesNotKeepAFileFromOpening) {
    for (const char* clip : {"bitflips.mp4", "truncated.mp4"}) {
        const Opened reader(clip);
        EXPECT_EQ(reader.getWidth(), 320) << clip;
        EXPECT_DOUBLE_EQ(reader.getDurationMs(), 4000.0) << clip;
    }
}

TEST(LReader, OfCodecsThatNobodyKnowsTheContainersWordIsTold) {
    const Opened reader("unknown.mkv");
    EXPECT_EQ(reader.getVideoCodec(), "Unknown");
    EXPECT_EQ(reader.getAudioCodec(), "Unknown");
    EXPECT_EQ(reader.getWidth(), 320);
    EXPECT_EQ(reader.getHeight(), 180);
    EXPECT_EQ(reader.getAspectRatio(), "16:9");
    EXPECT_EQ(reader.getAudioChannels(), 2);
    EXPECT_EQ(reader.getChromaSubsampling(), "Unknown");
    EXPECT_EQ(reader.getBitDepth(), 8);
    EXPECT_EQ(reader.getScanType(), "Progressive");
}

TEST(LReader, APictureOfImpossibleSizeIsToldAsNone) {
    LReader reader;
    reader.open(mediaPath("huge_png.png"));
    EXPECT_EQ(reader.getWidth(), 0);
    EXPECT_EQ(reader.getHeight(), 0);
    EXPECT_EQ(reader.getDurationMs(), 0.0);
}

TEST(LReader, AFileWithoutSoundSaysSo) {
    const Opened reader("silent.mp4");
    EXPECT_EQ(reader.getAudioCodec(), "Unknown");
    EXPECT_EQ(reader.getAudioBitrate(), 0);
    EXPECT_EQ(reader.getAudioChannels(), 0);
}

TEST(LReader, AStillHasNoDuration) {
    const Opened reader("still.png");
    EXPECT_EQ(reader.getDurationMs(), 0.0);
    EXPECT_EQ(reader.getWidth(), 160);
    EXPECT_EQ(reader.getVideoCodec(), "png");
}

TEST(LReader, AspectRatioCountsThePixelsOwn) {
    EXPECT_EQ(Opened("sar.mp4").getAspectRatio(), "16:9");
    EXPECT_EQ(Opened("sar.mp4").getWidth(), 160);
    EXPECT_EQ(Opened("sar.ts").getAspectRatio(), "16:9");
}

TEST(LReader, AspectRatioIsInLowestTerms) {
    EXPECT_EQ(Opened("odd_size.mkv").getAspectRatio(), "107:61");
    EXPECT_EQ(Opened("flash_beep.mov").getAspectRatio(), "16:9");
}

TEST(LReader, AspectRatioIsRoundedToSmallNumbers) {
    const Opened reader("odd_shape.png");
    EXPECT_EQ(reader.getWidth(), 2003);
    EXPECT_EQ(reader.getHeight(), 1001);
    EXPECT_EQ(reader.getAspectRatio(), "1023:511");
}

TEST(LReader, ChromaSubsamplingOfEachKind) {
    EXPECT_EQ(Opened("silent.mp4").getChromaSubsampling(), "4:2:0");
    EXPECT_EQ(Opened("av_tc.mxf").getChromaSubsampling(), "4:2:2");
    EXPECT_EQ(Opened("prores.mov").getChromaSubsampling(), "4:2:2");
    EXPECT_EQ(Opened("still.png").getChromaSubsampling(), "4:4:4");
}

TEST(LReader, BitDepthIsThatOfTheFirstComponent) {
    EXPECT_EQ(Opened("tenbit.mp4").getBitDepth(), 10);
    EXPECT_EQ(Opened("prores.mov").getBitDepth(), 10);
    EXPECT_EQ(Opened("still.png").getBitDepth(), 8);
}

TEST(LReader, ColorSpaceByName) {
    EXPECT_EQ(Opened("mjpeg.avi").getColorSpace(), "bt470bg");
    // A stream that does not say has a name too, FFmpeg's own.
    EXPECT_EQ(Opened("silent.mp4").getColorSpace(), av_color_space_name(AVCOL_SPC_UNSPECIFIED));
}

TEST(LReader, ScanTypeTellsFieldsFromFrames) {
    EXPECT_EQ(Opened("interlaced.ts").getScanType(), "Interlaced");
    EXPECT_EQ(Opened("mpeg2.mpg").getScanType(), "Progressive");
    // A stream that does not say.
    EXPECT_EQ(Opened("mjpeg.avi").getScanType(), "Progressive");
}

TEST(LReader, SoundOfEveryChannelCount) {
    EXPECT_EQ(Opened("mono.wav").getAudioChannels(), 1);
    EXPECT_EQ(Opened("h264_aac.mp4").getAudioChannels(), 2);
    EXPECT_EQ(Opened("aac51.mp4").getAudioChannels(), 6);
    EXPECT_EQ(Opened("mono.wav").getAudioBitrate(), 44100 * 16);
}

TEST(LReader, CodecsAreNamedByTheirDecoders) {
    EXPECT_EQ(Opened("hevc.mp4").getVideoCodec(), "hevc");
    EXPECT_EQ(Opened("mpeg2.mpg").getVideoCodec(), "mpeg2video");
    EXPECT_EQ(Opened("prores.mov").getVideoCodec(), "prores");
    EXPECT_EQ(Opened("prores.mov").getAudioCodec(), "pcm_s16le");
    EXPECT_EQ(Opened("h264.ts").getContainer(), "mpegts");
    EXPECT_EQ(Opened("odd_size.mkv").getContainer(), "matroska,webm");
}

TEST(LReader, InPointIsTheContainersTimecode) {
    EXPECT_EQ(Opened("av_tc.mxf").getInTC(), "01:02:03:04");
}

TEST(LReader, InPointIsElseTheTimecodeOfThePicturesStream) {
    EXPECT_EQ(Opened("h264_aac.mp4").getInTC(), "10:00:00:00");
    EXPECT_EQ(Opened("prores.mov").getInTC(), "00:59:59:00");
}

TEST(LReader, WithoutATimecodeTheInPointIsZero) {
    EXPECT_EQ(Opened("silent.mp4").getInTC(), "00:00:00:00");
    EXPECT_EQ(Opened("flac.flac").getInTC(), "00:00:00:00");
}

TEST(LReader, OutPointIsTheInPointPlusTheDuration) {
    EXPECT_EQ(Opened("av_tc.mxf").getOutTC(), "01:02:05:04");
    EXPECT_EQ(Opened("h264_aac.mp4").getOutTC(), "10:00:04:00");
    EXPECT_EQ(Opened("prores.mov").getOutTC(), "01:00:00:00");
    EXPECT_EQ(Opened("silent.mp4").getOutTC(), "00:00:01:00");
}

TEST(LReader, OutPointOfABrokenRateCountsWholeFramesASecond) {
    // 01:00:00:00 is frame 107892 of 29.97 a second, 90 more are 107982: 3723 seconds of 29 frames
    // and 15. Hours and minutes go by their own whole-number lengths, 107892 and 1798.
    const Opened reader("rate2997.mp4");
    EXPECT_DOUBLE_EQ(reader.getFPS(), 30000.0 / 1001);
    EXPECT_EQ(reader.getOutTC(), "01:00:03:15");
}

TEST(LReader, SoundAloneCountsItsOutPointAtTwentyFive) {
    EXPECT_EQ(Opened("flac.flac").getOutTC(), "00:00:02:00");
}

TEST(LReader, AChangeOfTheFileOnDiskShowsInItsLengthOnly) {
    const std::string path = test::temporaryPath("grows.wav");
    std::filesystem::copy_file(mediaPath("mono.wav"), path);
    LReader reader;
    ASSERT_TRUE(reader.open(path));
    const std::int64_t length = reader.getFileLen();
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(length) + 1000);
    EXPECT_EQ(reader.getFileLen(), length + 1000);
    EXPECT_DOUBLE_EQ(reader.getDurationMs(), 1000.0);
    std::filesystem::remove(path);
    EXPECT_EQ(reader.getFileLen(), 0);
}

TEST(LReader, WritesNothing) {
    test::CapturedStream output(test::CapturedStream::Stream::output);
    const Opened reader("h264_aac.mp4");
    EXPECT_EQ(reader.getInTC(), "10:00:00:00");
    EXPECT_EQ(output.text(), "");
}
