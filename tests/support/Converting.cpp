#include "support/Converting.h"

#include <gtest/gtest.h>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/NumberedClip.h"

namespace test {

void configureSmall(LConvert& convert, const std::string& path,
                    const std::vector<std::string>& inputs) {
    convert.setFilePath(path);
    for (const std::string& input : inputs)
        convert.addInputFile(input);
    setPictures(convert, 160, 90, 25.0);
    convert.setVideoBitrate(400);
    convert.setProps("preset", "ultrafast");
}

void setPictures(LConvert& convert, int width, int height, double fps) {
    videoFormatProps format;
    format.width = width;
    format.height = height;
    format.fps = fps;
    convert.setVideoFormat(format);
}

void setSound(LConvert& convert, int sampleRate, int channels) {
    audioFormatProps format;
    format.sampleRate = sampleRate;
    format.channels = channels;
    convert.setAudioFormat(format);
}

int statusOf(LConvert& convert) {
    int status = -7;
    convert.statusGet(status);
    return status;
}

bool waitForEnd(LConvert& convert, std::chrono::milliseconds limit) {
    double reached = 0.0;
    return waitUntil(
        [&] {
            const double now = convert.progress;
            EXPECT_GE(now, reached);
            EXPECT_LE(now, 1.0);
            reached = now;
            return statusOf(convert) != 1;
        },
        limit);
}

int convertAll(LConvert& convert) {
    EXPECT_TRUE(convert.Start());
    EXPECT_TRUE(waitForEnd(convert));
    return statusOf(convert);
}

std::string toldBy(const std::string& path, const std::vector<std::string>& inputs, int status) {
    CapturedStream error(CapturedStream::Stream::error);
    LConvert convert;
    configureSmall(convert, path, inputs);
    EXPECT_EQ(convertAll(convert), status);
    return error.text();
}

namespace {

// Each is opened twice, first for its duration. Where a sanitizer looks on that takes as much
// longer as the conversion does, and fewer last as long.
constexpr int endlessFiles = isInstrumented ? 50 : 500;

} // namespace

std::vector<std::string> endlessInputs() {
    return std::vector<std::string>(endlessFiles, NumberedClip::path());
}

double progressAfter(double seconds) {
    return seconds / (endlessFiles * NumberedClip::pictures * NumberedClip::step);
}

} // namespace test
