#include "outputs/ReplayIndex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using quol::ReplayPicture;
using quol::ReplayPictures;
using quol::ReplaySound;
using quol::ReplaySounds;

// Every entry looked at, one after the other.
std::size_t nearestByScan(const std::vector<ReplayPicture>& entries, double seconds) {
    double best = 99999.0;
    std::size_t found = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const double distance = std::fabs(entries[i].time - seconds);
        if (distance < best) {
            best = distance;
            found = i;
        }
    }
    return found;
}

std::size_t firstFromByScan(const std::vector<ReplayPicture>& entries, double seconds) {
    for (std::size_t i = 0; i < entries.size(); ++i)
        if (entries[i].time >= seconds) return i;
    return 0;
}

std::size_t lastUntilByScan(const std::vector<ReplayPicture>& entries, double seconds) {
    for (std::size_t i = entries.size(); i-- > 0;)
        if (entries[i].time <= seconds) return i;
    return 0;
}

std::vector<std::int64_t> withinByScan(const std::vector<ReplaySound>& entries, double from,
                                       double end) {
    std::vector<std::int64_t> found;
    for (const ReplaySound& entry : entries)
        if (from <= entry.time && entry.time < end) found.push_back(entry.offset);
    return found;
}

std::vector<std::int64_t> offsetsOf(const std::vector<ReplaySound>& entries) {
    std::vector<std::int64_t> offsets;
    for (const ReplaySound& entry : entries)
        offsets.push_back(entry.offset);
    return offsets;
}

ReplayPicture pictureAt(double time, std::int64_t offset = 0, std::string_view timecode = "") {
    ReplayPicture picture;
    picture.time = time;
    picture.offset = offset;
    picture.setTimecode(timecode);
    return picture;
}

// Times that mostly rise: in steps, equal ones among them, at times back to anywhere.
std::vector<double> randomTimes(std::mt19937& random, int count, int backEvery) {
    std::vector<double> times;
    double time = 0.0;
    for (int i = 0; i < count; ++i) {
        if (backEvery > 0 && random() % static_cast<unsigned>(backEvery) == 0)
            time = static_cast<double>(random() % 1000) / 50.0;
        times.push_back(time);
        time += static_cast<double>(random() % 3) / 50.0;
    }
    return times;
}

TEST(ReplayIndex, AnEntryIsAPlainRecordOf40And24Bytes) {
    EXPECT_EQ(sizeof(ReplayPicture), 40U);
    EXPECT_EQ(sizeof(ReplaySound), 24U);
    EXPECT_TRUE(std::is_trivially_copyable_v<ReplayPicture>);
    EXPECT_TRUE(std::is_trivially_copyable_v<ReplaySound>);
}

TEST(ReplayIndex, ATimecodeIsCutTo11Characters) {
    ReplayPicture picture;
    picture.setTimecode("10:11:12:13");
    EXPECT_EQ(picture.timecodeText(), "10:11:12:13");
    picture.setTimecode("100:11:12:13");
    EXPECT_EQ(picture.timecodeText(), "100:11:12:1");
    EXPECT_EQ(picture.timecode[11], '\0');
    picture.setTimecode("x");
    EXPECT_EQ(picture.timecodeText(), "x");
    picture.setTimecode("");
    EXPECT_EQ(picture.timecodeText(), "");
}

TEST(ReplayIndex, SearchesFindWhatScansFind) {
    std::mt19937 random(7);
    for (const int backEvery : {0, 200, 20, 2}) {
        for (const int count : {0, 1, 2, 3, 10, 5000}) {
            ReplayPictures pictures;
            ReplaySounds sounds;
            std::vector<ReplayPicture> pictureList;
            std::vector<ReplaySound> soundList;
            std::vector<double> questions = {-1.0,
                                             0.0,
                                             1e9,
                                             -1e9,
                                             99999.0,
                                             1e300,
                                             std::numeric_limits<double>::infinity(),
                                             -std::numeric_limits<double>::infinity(),
                                             std::numeric_limits<double>::quiet_NaN()};
            for (const double time : randomTimes(random, count, backEvery)) {
                const auto number = static_cast<std::int64_t>(pictureList.size());
                pictureList.push_back(pictureAt(time, number));
                pictures.append(pictureList.back());
                soundList.push_back({number, 4, time});
                sounds.append(soundList.back());
                if (number % 50 == 0) {
                    questions.push_back(time);
                    questions.push_back(time + 0.01); // between two
                    questions.push_back(std::nextafter(time, 1e9));
                    questions.push_back(std::nextafter(time, -1e9));
                }
            }
            ASSERT_EQ(pictures.size(), pictureList.size());
            for (const double question : questions) {
                SCOPED_TRACE(question);
                ASSERT_EQ(pictures.nearest(question), nearestByScan(pictureList, question));
                ASSERT_EQ(pictures.firstFrom(question), firstFromByScan(pictureList, question));
                ASSERT_EQ(pictures.lastUntil(question), lastUntilByScan(pictureList, question));
                for (const double length : {0.0, 0.02, 0.5, -0.1, 1e9}) {
                    ASSERT_EQ(offsetsOf(sounds.within(question, question + length)),
                              withinByScan(soundList, question, question + length));
                }
            }
        }
    }
}

TEST(ReplayIndex, DistancesThatRoundToTheSameAreATie) {
    ReplayPictures pictures;
    std::vector<ReplayPicture> list;
    for (int i = 0; i < 100; ++i) {
        list.push_back(pictureAt(i * 1e-18));
        pictures.append(list.back());
    }
    for (const double question : {1.0, 50e-18, -1.0, 0.5})
        EXPECT_EQ(pictures.nearest(question), nearestByScan(list, question)) << question;
}

TEST(ReplayIndex, AnEarlierEntryWinsATie) {
    ReplayPictures pictures;
    for (const double time : {0.0, 2.0, 4.0, 4.0, 6.0})
        pictures.append(pictureAt(time));
    EXPECT_EQ(pictures.nearest(1.0), 0U);
    EXPECT_EQ(pictures.nearest(3.0), 1U);
    EXPECT_EQ(pictures.nearest(5.0), 2U);
}

TEST(ReplayIndex, BeyondTheLongestDistanceTheFirstEntryStandsIn) {
    ReplayPictures pictures;
    for (const double time : {0.0, 1.0, 2.0})
        pictures.append(pictureAt(time));
    EXPECT_EQ(pictures.nearest(100000.0), 2U); // 99998 away
    EXPECT_EQ(pictures.nearest(100001.0), 0U); // 99999 away is not below 99999
    EXPECT_EQ(pictures.nearest(std::numeric_limits<double>::quiet_NaN()), 0U);
}

TEST(ReplayIndex, TheLastOfSeveralEqualTimecodesIsFound) {
    ReplayPictures pictures;
    for (const char* text : {"00:00:00:01", "00:00:00:02", "00:00:00:02", "00:00:00:03"})
        pictures.append(pictureAt(0.0, 0, text));
    EXPECT_EQ(pictures.lastOf("00:00:00:02"), 2U);
    EXPECT_EQ(pictures.lastOf("00:00:00:01"), 0U);
    EXPECT_EQ(pictures.lastOf("00:00:00:04"), std::nullopt);
    EXPECT_EQ(pictures.lastOf("00:00:00:0"), std::nullopt);
    EXPECT_EQ(pictures.lastOf("00:00:00:021"), std::nullopt);
    EXPECT_EQ(pictures.lastOf(""), std::nullopt);
}

TEST(ReplayIndex, AnEntryEndsWithTheNextOne) {
    ReplayPictures pictures;
    for (const double time : {0.0, 2.0})
        pictures.append(pictureAt(time));
    EXPECT_EQ(pictures.endOf(0, 0.5), 2.0);
    EXPECT_EQ(pictures.endOf(1, 0.5), 2.5);
}

TEST(ReplayIndex, TwoHoursTake40BytesASlotAndABlockMore) {
    constexpr int slots = 2 * 3600 * 50;
    ReplayPictures pictures;
    for (int slot = 0; slot < slots; ++slot) {
        pictures.append(pictureAt(slot / 50.0, slot, std::to_string(slot)));
        ASSERT_LE(pictures.bytes(),
                  pictures.size() * 40 + ReplayPictures::blockEntries * 40 + 4096);
    }
    EXPECT_EQ(pictures.runs(), 1U);
    EXPECT_EQ(pictures.nearest(7199.98), static_cast<std::size_t>(slots) - 1);
    EXPECT_EQ(pictures.nearest(3600.0), 180000U);
    EXPECT_EQ(pictures[180000].offset, 180000);
    EXPECT_EQ(pictures.lastOf("180000"), 180000U);
    pictures.clear();
    EXPECT_TRUE(pictures.empty());
    EXPECT_EQ(pictures.bytes(), 0U);
    pictures.append(pictureAt(1.0));
    EXPECT_EQ(pictures.size(), 1U);
    EXPECT_EQ(pictures.nearest(5.0), 0U);
}

} // namespace
