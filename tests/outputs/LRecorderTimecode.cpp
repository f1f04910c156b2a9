// The start time code of the files that the recorder makes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include "core/Timecode.h"
#include "quolsdk/LReader.h"
#include "quolsdk/LRecorder.h"
#include "support/CapturedStream.h"
#include "support/LiveSource.h"
#include "support/RecordedFile.h"
#include "support/Recording.h"
#include "support/WallClock.h"

namespace {

using namespace std::chrono_literals;
using test::CapturedStream;
using test::Encoding;
using test::HandSource;
using test::RecordedFile;
using test::temporaryPath;
using testing::HasSubstr;
using testing::Not;

// The file of a recording with a time code set up by `prepare`, and what was said about it.
struct Timecoded {
    RecordedFile file;
    std::string out;
    std::string error;
    bool recorded = false;
    std::string readerSays;
};

Timecoded recordTimecode(const std::string& name, const std::function<void(LRecorder&)>& prepare,
                         const Encoding& encoding = {"mov", "mpeg4", "none", ""}) {
    const std::string path = temporaryPath(name);
    Timecoded result;
    {
        CapturedStream out(CapturedStream::Stream::output);
        CapturedStream error(CapturedStream::Stream::error);
        LRecorder recorder;
        test::configure(recorder, path, encoding);
        test::setPictures(recorder, 64, 48, 25);
        recorder.setProps("timecode", "true");
        prepare(recorder);
        result.recorded = recorder.Record();
        for (int i = 0; i < 3; ++i) {
            test::pushGrey(recorder, 64, 48, 100);
            std::this_thread::sleep_for(41ms);
        }
        recorder.Stop();
        recorder.source = nullptr;
        result.out = out.text();
        result.error = error.text();
    }
    if (!result.recorded) return result;
    result.file = test::readRecordedFile(path);
    LReader reader;
    if (reader.open(path)) result.readerSays = reader.getInTC();
    return result;
}

void given(LRecorder& recorder) {
    recorder.setProps("timecodeSource", "2");
    recorder.setProps("timecodeStart", "11:22:33:04");
}

TEST(LRecorderTimecode, GivenStartIsInAMovAsATrackOfItsOwn) {
    const Timecoded result = recordTimecode("given.mov", given);
    EXPECT_THAT(result.out, HasSubstr("LRecorder: Auto-Timecode set to 11:22:33:04\n"));
    EXPECT_EQ(result.file.error, "");
    EXPECT_EQ(result.file.timecode(), "11:22:33:04");
    EXPECT_EQ(result.readerSays, "11:22:33:04");
    const auto* track = result.file.stream(AVMEDIA_TYPE_DATA);
    ASSERT_NE(track, nullptr);
    EXPECT_EQ(track->metadata.at("timecode"), "11:22:33:04");
}

TEST(LRecorderTimecode, GivenStartIsInAnMp4AsATrackOfItsOwn) {
    const Timecoded result = recordTimecode("given.mp4", given, {});
    EXPECT_EQ(result.file.error, "");
    EXPECT_EQ(result.file.timecode(), "11:22:33:04");
    EXPECT_EQ(result.readerSays, "11:22:33:04");
    EXPECT_NE(result.file.stream(AVMEDIA_TYPE_DATA), nullptr);
}

TEST(LRecorderTimecode, GivenStartIsInAnMxf) {
    const Timecoded result =
        recordTimecode("given.mxf", given, {"mxf", "mpeg2video", "pcm_s16le", ""});
    EXPECT_EQ(result.file.error, "");
    EXPECT_EQ(result.file.timecode(), "11:22:33:04");
}

TEST(LRecorderTimecode, StartOfANewRecorderIsOneOClock) {
    const Timecoded result = recordTimecode(
        "one.mov", [](LRecorder& recorder) { recorder.setProps("timecodeSource", "2"); });
    EXPECT_EQ(result.file.timecode(), "01:00:00:00");
}

TEST(LRecorderTimecode, SourceGivesItsOwn) {
    HandSource source;
    source.timecode = "10:11:12:13";
    const Timecoded result = recordTimecode("source.mov", [&](LRecorder& recorder) {
        recorder.setProps("timecodeSource", "1");
        recorder.source = &source;
    });
    EXPECT_THAT(result.out, HasSubstr("LRecorder: Auto-Timecode set to 10:11:12:13\n"));
    EXPECT_EQ(result.file.timecode(), "10:11:12:13");
}

// Whether a text is the local time of the last minute.
testing::AssertionResult isNow(const std::string& text) {
    const auto timecode = quol::parseTimecode(text);
    if (!timecode) return testing::AssertionFailure() << text << " is no time code";
    const int said = (timecode->hours * 60 + timecode->minutes) * 60 + timecode->seconds;
    const int apart = ((test::secondOfDay() - said) % 86400 + 86400) % 86400;
    if (apart <= 60) return testing::AssertionSuccess();
    return testing::AssertionFailure() << text << " is " << apart << " s ago";
}

TEST(LRecorderTimecode, ClockIsTheLocalTime) {
    HandSource other; // whose own does not count
    other.timecode = "10:11:12:13";
    for (const char* source : {"", "0", "3", "-1"}) {
        const Timecoded result = recordTimecode("clock.mov", [&](LRecorder& recorder) {
            recorder.source = &other;
            // A new recorder goes by the clock.
            if (*source != '\0') recorder.setProps("timecodeSource", source);
        });
        const std::string text = result.file.timecode().value_or("none");
        EXPECT_TRUE(isNow(text));
        EXPECT_LT(quol::parseTimecode(text)->frames, 25);
        EXPECT_THAT(result.out, HasSubstr("LRecorder: Auto-Timecode set to " + text + "\n"));
    }
}

TEST(LRecorderTimecode, SourceWithoutOneLeadsToTheLocalTimeInWholeSeconds) {
    HandSource empty;
    empty.timecode = "";
    HandSource zero; // as a source that has none says it
    LObject* sources[] = {nullptr, &empty, &zero};
    for (LObject* source : sources) {
        const Timecoded result = recordTimecode("whole.mov", [source](LRecorder& recorder) {
            recorder.setProps("timecodeSource", "1");
            recorder.source = source;
        });
        const std::string text = result.file.timecode().value_or("none");
        EXPECT_TRUE(isNow(text));
        EXPECT_EQ(quol::parseTimecode(text)->frames, 0);
    }
}

TEST(LRecorderTimecode, OptionThatIsThereAlreadyKeepsItOut) {
    const Timecoded result = recordTimecode("option.mov", [](LRecorder& recorder) {
        given(recorder);
        recorder.customSet("timecode=05:06:07:08");
    });
    EXPECT_TRUE(result.recorded);
    EXPECT_THAT(result.out, Not(HasSubstr("Auto-Timecode")));
    EXPECT_NE(result.file.timecode(), "11:22:33:04");
}

TEST(LRecorderTimecode, NoneUnlessItIsEnabled) {
    for (const char* value : {"false", "True", "yes", "0", ""}) {
        const Timecoded result = recordTimecode("none.mov", [value](LRecorder& recorder) {
            given(recorder);
            recorder.setProps("timecode", value);
        });
        EXPECT_THAT(result.out, Not(HasSubstr("Auto-Timecode")));
        EXPECT_EQ(result.file.timecode(), std::nullopt);
        EXPECT_EQ(result.file.stream(AVMEDIA_TYPE_DATA), nullptr);
    }
}

TEST(LRecorderTimecode, TextIsCutAt31Characters) {
    const Timecoded result = recordTimecode(
        "long.mkv",
        [](LRecorder& recorder) {
            recorder.setProps("timecodeSource", "2");
            recorder.setProps("timecodeStart", "01:02:03:04 and twenty more characters");
        },
        {"matroska", "mpeg4", "none", ""});
    EXPECT_TRUE(result.recorded);
    EXPECT_THAT(result.out,
                HasSubstr("LRecorder: Auto-Timecode set to 01:02:03:04 and twenty more cha\n"));
}

TEST(LRecorderTimecode, TextThatIsNoneIsLeftOutOfTheFile) {
    const Timecoded result = recordTimecode("nonsense.mov", [](LRecorder& recorder) {
        recorder.setProps("timecodeSource", "2");
        recorder.setProps("timecodeStart", "noon");
    });
    EXPECT_TRUE(result.recorded);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.file.error, "");
    EXPECT_EQ(result.file.pictures.size(), 3U);
    EXPECT_EQ(result.file.timecode(), std::nullopt);
}

} // namespace
