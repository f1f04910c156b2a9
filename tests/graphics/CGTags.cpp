#include "graphics/CGTags.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>
#include <optional>
#include <random>
#include <regex>
#include <sstream>
#include <vector>

namespace {

using namespace std::chrono_literals;
using quol::TagClock;
using quol::TagTime;
using Wall = std::chrono::system_clock::time_point;
using Steady = std::chrono::steady_clock::time_point;

// The zone that local time is told in, for as long as it lives.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        if (const char* const before = std::getenv("TZ")) before_ = before;
        setenv("TZ", zone, 1);
        tzset();
    }
    ~TimeZone() {
        if (before_) {
            setenv("TZ", before_->c_str(), 1);
        } else {
            unsetenv("TZ");
        }
        tzset();
    }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    std::optional<std::string> before_;
};

Wall utc(int year, int month, int day, std::chrono::milliseconds ofDay) {
    const std::chrono::sys_days date{std::chrono::year(year) /
                                     std::chrono::month(static_cast<unsigned>(month)) /
                                     std::chrono::day(static_cast<unsigned>(day))};
    return Wall(date) + ofDay;
}

// Third of November 2026, 09:05:07.42
Wall morning() {
    return utc(2026, 11, 3, 9h + 5min + 7s + 420ms);
}

// --------------------------------------------------------------------------------- wall clock

class WallClock : public testing::Test {
protected:
    static std::string shown(const std::string& text, Wall at = morning()) {
        return quol::resolveWallClock(text, at);
    }

private:
    TimeZone zone_{"UTC0"};
};

TEST_F(WallClock, TimeIsShownWithLeadingZeros) {
    EXPECT_EQ(shown("time::HH:mm:ss"), "09:05:07");
}

TEST_F(WallClock, DateIsShownInTheOrderOfItsFormat) {
    EXPECT_EQ(shown("date::dd-MM-yyyy"), "03-11-2026");
    EXPECT_EQ(shown("date::yyyy-MM-dd"), "2026-11-03");
}

TEST_F(WallClock, TimeAndDateMeanTheSame) {
    EXPECT_EQ(shown("date::HH:mm:ss"), "09:05:07");
    EXPECT_EQ(shown("time::dd-MM-yyyy"), "03-11-2026");
}

TEST_F(WallClock, TwelveHoursHaveNoMark) {
    EXPECT_EQ(shown("time::hh:mm", utc(2026, 11, 3, 15h + 30min)), "03:30");
    EXPECT_EQ(shown("time::hh:mm", utc(2026, 11, 3, 30min)), "12:30");
    EXPECT_EQ(shown("time::hh:mm", utc(2026, 11, 3, 12h)), "12:00");
}

TEST_F(WallClock, HundredthsGoFrom00To99AndAreCut) {
    EXPECT_EQ(shown("time::ss:ii"), "07:42");
    for (int ms = 0; ms < 1000; ++ms) {
        char wanted[16];
        std::snprintf(wanted, sizeof wanted, "07:%02d", ms / 10);
        const Wall at = utc(2026, 11, 3, 9h + 5min + 7s + std::chrono::milliseconds(ms));
        ASSERT_EQ(shown("time::ss:ii", at), wanted);
        ASSERT_EQ(shown("time::ss:ii", at + 999us), wanted);
    }
}

TEST_F(WallClock, EveryPairOfIsIsHundredths) {
    EXPECT_EQ(shown("time::ii-ii-iii-i"), "42-42-42i-i");
}

TEST_F(WallClock, MomentsBefore1970CountForward) {
    EXPECT_EQ(shown("time::yyyy-MM-dd-HH:mm:ss:ii", Wall(-10ms)), "1969-12-31-23:59:59:99");
}

TEST_F(WallClock, WhatIsNoTokenStandsForItself) {
    EXPECT_EQ(shown("date::yy"), "yy");
    EXPECT_EQ(shown("time::H:m-s"), "H:m-s");
    EXPECT_EQ(shown("date::MMM-yyyyy-HHHH-hhH"), "11M-2026y-0909-09H");
    EXPECT_EQ(shown("time::-"), "-");
    EXPECT_EQ(shown("time:::"), ":");
}

TEST_F(WallClock, FormatTakesAllTheLettersItCan) {
    EXPECT_EQ(shown("time::HH:mmText"), "09:05Text");
    EXPECT_EQ(shown("time::HH Uhr"), "09 Uhr");
    EXPECT_EQ(shown("[time::HH.mm]"), "[09.mm]");
    EXPECT_EQ(shown("time::HHtime::mm"), "09time::05");
    EXPECT_EQ(shown("time::HH\nmm"), "09\nmm");
    EXPECT_EQ(shown("time::HHé"), "09é");
}

TEST_F(WallClock, TagMayBeginInsideAWord) {
    EXPECT_EQ(shown("datetime::HH"), "date09");
    EXPECT_EQ(shown("ttime::HH"), "t09");
}

TEST_F(WallClock, TextWithoutATagComesBackUnchanged) {
    for (const char* text : {"", "time", "time:", "time::", "time::%H", "time:: HH", "time:HH",
                             "Time::HH", "date::1", "DATE::dd", "tUp::ss::1:00", "::HH", "100 %"}) {
        EXPECT_EQ(shown(text), text);
    }
}

TEST_F(WallClock, EveryOccurrenceOfATagIsReplaced) {
    EXPECT_EQ(shown("time::HH, time::mm, time::HH. date::dd"), "09, 05, 09. 03");
}

TEST_F(WallClock, TagReplacesWhatOfALongerOneBeginsWithIt) {
    EXPECT_EQ(shown("time::HH time::HH:mm"), "09 09:mm");
    EXPECT_EQ(shown("time::HH:mm time::HH"), "09:05 09");
}

TEST_F(WallClock, TagVanishesWhenItsTextTakes100Bytes) {
    const std::string fits(99, 'x');
    EXPECT_EQ(shown("<time::" + fits + ">"), "<" + fits + ">");
    EXPECT_EQ(shown("<time::" + fits + "x>"), "<>");
    // What counts is the text, not the format.
    EXPECT_EQ(shown("<time::" + fits.substr(1) + "HH>"), "<>");
    EXPECT_EQ(shown("<time::" + fits.substr(4) + "yyyy>"), "<" + fits.substr(4) + "2026>");
}

TEST(WallClockZone, LocalTimeIsShownSummerTimeIncluded) {
    const TimeZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(quol::resolveWallClock("time::HH:mm", morning()), "10:05");
    EXPECT_EQ(quol::resolveWallClock("time::HH:mm", utc(2026, 7, 1, 9h)), "11:00");
    EXPECT_EQ(quol::resolveWallClock("date::dd-MM-HH", utc(2026, 12, 31, 23h)), "01-01-00");
}

TEST(WallClockZone, AnotherZoneShowsAtOnce) {
    {
        const TimeZone zone("UTC0");
        EXPECT_EQ(quol::resolveWallClock("time::HH", morning()), "09");
    }
    const TimeZone zone("EARLY+8");
    EXPECT_EQ(quol::resolveWallClock("time::HH", morning()), "01");
}

// ------------------------------------------------------------------------------------ counting

std::string counted(bool up, const char* format, std::int64_t target, std::int64_t elapsed) {
    return quol::countingText({up, format, target}, elapsed);
}

TEST(CountingTarget, FollowsTheNumberOfPieces) {
    EXPECT_EQ(quol::countingTarget("01:02:03:45"), 3723450);
    EXPECT_EQ(quol::countingTarget("02:03:45"), 123450);
    EXPECT_EQ(quol::countingTarget("03:45"), 3450);
    for (const char* text : {"", "30", "1:2:3:4:5", "1:2:3:4:5:6"})
        EXPECT_EQ(quol::countingTarget(text), 0) << text;
}

TEST(CountingTarget, PiecesMayHaveAnyNumberOfDigits) {
    EXPECT_EQ(quol::countingTarget("100:0:0:250"), 360002500);
    EXPECT_EQ(quol::countingTarget("0000000000000090:0"), 90000);
    EXPECT_EQ(quol::countingTarget("2147483647:0:0:0"), 2147483647LL * 3600000);
}

TEST(CountingTarget, PieceThatCannotBeReadCounts0) {
    EXPECT_EQ(quol::countingTarget(":5"), 50);
    EXPECT_EQ(quol::countingTarget("1::5"), 60050);
    EXPECT_EQ(quol::countingTarget(":::5"), 50);
    EXPECT_EQ(quol::countingTarget("2147483648:5"), 50);
    EXPECT_EQ(quol::countingTarget("99999999999999999999999:5"), 50);
}

TEST(CountingTarget, ColonAtTheEndBeginsNoPiece) {
    EXPECT_EQ(quol::countingTarget("1:30:"), 1300);
    EXPECT_EQ(quol::countingTarget("30:"), 0);
    EXPECT_EQ(quol::countingTarget(":"), 0);
}

TEST(CountingText, EachFormatShowsItsFields) {
    const std::int64_t value = 3723456; // 1:02:03.45
    const std::map<const char*, const char*> wanted{
        {"HH:mm:ss:ii", "01:02:03:45"}, {"hh:mm:ss:ii", "01:02:03:45"},
        {"mm:ss:ii", "62:03:45"},       {"mm:ss", "62:03"},
        {"ss:ii", "3723:45"},           {"ss", "3723"},
    };
    for (const auto& [format, text] : wanted) {
        EXPECT_EQ(counted(true, format, value, value), text) << format;
        EXPECT_EQ(counted(false, format, value, 0), text) << format;
    }
}

TEST(CountingText, AnyOtherFormatShowsFourFieldsFoldedByWhatItHolds) {
    const std::int64_t value = 3723456;
    const std::map<const char*, const char*> wanted{
        {"HH:mm:ss", "01:02:03:45"}, {"HH", "01:00:123:45"},   {"hh:ss", "01:00:123:45"},
        {"mm", "00:62:03:45"},       {"ii", "00:00:3723:45"},  {"x", "00:00:3723:45"},
        {"Hh:m:s", "00:00:3723:45"}, {"ss:mm", "00:62:03:45"}, {"mm:ss:ii:HH", "01:02:03:45"},
        {":", "00:00:3723:45"},
    };
    for (const auto& [format, text] : wanted)
        EXPECT_EQ(counted(true, format, value, value), text) << format;
}

TEST(CountingText, UpStopsAtItsTarget) {
    EXPECT_EQ(counted(true, "ss:ii", 5000, 0), "00:00");
    EXPECT_EQ(counted(true, "ss:ii", 5000, 4999), "04:99");
    EXPECT_EQ(counted(true, "ss:ii", 5000, 5000), "05:00");
    EXPECT_EQ(counted(true, "ss:ii", 5000, 123456789), "05:00");
}

TEST(CountingText, DownStopsAtZero) {
    EXPECT_EQ(counted(false, "ss:ii", 5000, 0), "05:00");
    EXPECT_EQ(counted(false, "ss:ii", 5000, 1), "04:99");
    EXPECT_EQ(counted(false, "ss:ii", 5000, 5000), "00:00");
    EXPECT_EQ(counted(false, "ss:ii", 5000, 123456789), "00:00");
}

TEST(CountingText, ManyHoursShowWithoutACut) {
    const std::int64_t value = 2147483647LL * 3600000;
    EXPECT_EQ(counted(true, "HH:mm:ss:ii", value, value), "2147483647:00:00:00");
    EXPECT_EQ(counted(true, "ss", value, value), "7730941129200");
}

// Resolves texts of an item at moments after the first.
class TagClocks : public testing::Test {
protected:
    std::string shown(const std::string& text, std::chrono::microseconds after,
                      const std::string& id = "item") {
        return clock_.resolve(id, text, {morning(), Steady(1234567s) + after});
    }

private:
    TimeZone zone_{"UTC0"};
    TagClock clock_;
};

TEST_F(TagClocks, DownFromThreePiecesAreMinutes) {
    const std::string text = "tDown::mm:ss::01:30:00";
    EXPECT_EQ(shown(text, 0s), "01:30");
    EXPECT_EQ(shown(text, 30s), "01:00");
    EXPECT_EQ(shown(text, 30s + 1ms), "00:59");
    EXPECT_EQ(shown(text, 90s), "00:00");
    EXPECT_EQ(shown(text, 24h), "00:00");
}

TEST_F(TagClocks, DownFromTwoPiecesAreSeconds) {
    EXPECT_EQ(shown("tDown::mm:ss::01:30", 0s), "00:01");
    EXPECT_EQ(shown("tDown::ss:ii::01:30", 0s), "01:30");
    EXPECT_EQ(shown("tDown::mm:ss::01:30", 301ms), "00:00");
}

TEST_F(TagClocks, UpShowsEverySecondAndHolds) {
    const std::string text = "tUp::ss::00:05:00";
    for (int second = 0; second < 9; ++second)
        EXPECT_EQ(shown(text, std::chrono::seconds(second)),
                  std::string(1, '0') + std::to_string(std::min(second, 5)));
}

TEST_F(TagClocks, MinutesGoBeyondAnHour) {
    EXPECT_EQ(shown("tUp::mm:ss::05:00:00:00", 0s), "00:00");
    EXPECT_EQ(shown("tUp::mm:ss::05:00:00:00", 2h), "120:00");
}

TEST_F(TagClocks, FormatWithoutHundredthsAfterHoursShowsThemAnyway) {
    EXPECT_EQ(shown("tUp::HH:mm:ss::01:00:00:00", 0s), "00:00:00:00");
    EXPECT_EQ(shown("tUp::HH:mm:ss::01:00:00:00", 61s + 230ms), "00:01:01:23");
}

TEST_F(TagClocks, OnePieceIsNoTarget) {
    EXPECT_EQ(shown("tUp::ss::30", 0s), "00");
    EXPECT_EQ(shown("tUp::ss::30", 20s), "00");
}

TEST_F(TagClocks, ElapsedTimeIsCutToMilliseconds) {
    EXPECT_EQ(shown("tUp::ss:ii::9:00", 0us), "00:00");
    EXPECT_EQ(shown("tUp::ss:ii::9:00", 9999us), "00:00");
    EXPECT_EQ(shown("tUp::ss:ii::9:00", 10000us), "00:01");
}

TEST_F(TagClocks, TagsOfAnItemShareItsStart) {
    EXPECT_EQ(shown("tUp::ss::1:00:00", 0s), "00");
    EXPECT_EQ(shown("tUp::ss::1:00:00 tDown::ss::2:00:00", 10s), "10 110");
}

TEST_F(TagClocks, AnotherTextDoesNotRestartTheCount) {
    EXPECT_EQ(shown("tUp::ss::1:00:00", 0s), "00");
    EXPECT_EQ(shown("no tag", 5s), "no tag");
    EXPECT_EQ(shown("tDown::mm:ss::10:00:00", 60s), "09:00");
}

TEST_F(TagClocks, EveryIdHasACountOfItsOwn) {
    EXPECT_EQ(shown("tUp::ss::1:00:00", 0s, "a"), "00");
    EXPECT_EQ(shown("tUp::ss::1:00:00", 7s, "b"), "00");
    EXPECT_EQ(shown("tUp::ss::1:00:00", 9s, "a"), "09");
    EXPECT_EQ(shown("tUp::ss::1:00:00", 9s, "b"), "02");
    EXPECT_EQ(shown("tUp::ss::1:00:00", 9s, ""), "00");
}

TEST_F(TagClocks, CountBeginsWithTheFirstCountingTag) {
    EXPECT_EQ(shown("time::HH", 0s), "09");
    EXPECT_EQ(shown("tUp::ss", 1s), "tUp::ss");
    EXPECT_EQ(shown("tUp::ss::1:00:00", 8s), "00");
    EXPECT_EQ(shown("tUp::ss::1:00:00", 10s), "02");
}

TEST_F(TagClocks, TextThatIsNoCountingTagComesBackUnchanged) {
    for (const char* text : {"tUp::ss", "tUp::ss::", "tUp::ss:1:00", "tup::ss::1:00",
                             "TDown::ss::1:00", "tUp:::1:00", "tUp::::1", "tUp::s-s::1:00",
                             "tUp::12::1:00", "tUp:: ss::1:00", "tDown", "tDown::::", "::"}) {
        EXPECT_EQ(shown(text, 0s), text);
    }
}

TEST_F(TagClocks, CountingFormatTakesAllTheColonsItCan) {
    // "ss:", then "::", then the value; the format is none of the known ones.
    EXPECT_EQ(shown("tDown::ss:::2:50", 0s), "00:00:02:50");
    // Behind the first separator that leaves a value.
    EXPECT_EQ(shown("tDown::ss::x::2:50", 0s), "00:00:02:50");
}

TEST_F(TagClocks, ValueEndsWhereItsDigitsDo) {
    EXPECT_EQ(shown("[tDown::ss::2:50]", 0s), "[02]");
    EXPECT_EQ(shown("tDown::ss::2:50s", 0s), "02s");
    EXPECT_EQ(shown("tDown::ss::2:50-1", 0s), "02-1");
}

TEST_F(TagClocks, EveryOccurrenceOfACountingTagIsReplaced) {
    EXPECT_EQ(shown("tDown::ss::2:50 tDown::ss::2:50", 0s), "02 02");
    EXPECT_EQ(shown("tDown::ss::2:5 tDown::ss::2:50", 0s), "02 020");
}

TEST_F(TagClocks, ClockMayBePartOfACountingTag) {
    EXPECT_EQ(shown("tDown::ss:ii::time::ss:ii", 0s), "07:42");
}

TEST_F(TagClocks, TagsOfAllKindsMayStandInOneText) {
    EXPECT_EQ(shown("time::HH:mm | date::dd-MM | tDown::ss::30:00 | tUp::mm:ss::1:00:00", 0s),
              "09:05 | 03-11 | 30 | 00:00");
}

// ------------------------------------------------------------------------- against expressions

void replaceAll(std::string& text, const std::string& what, const std::string& with) {
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + with.size()))
        text.replace(at, what.size(), with);
}

// Every match of `pattern` in `text` is replaced in the result by what `shown` makes of it.
template <typename Shown>
std::string resolvedBy(const std::regex& pattern, const std::string& text, Shown shown) {
    std::string result = text;
    std::string rest = text;
    for (std::smatch match; std::regex_search(rest, match, pattern);) {
        replaceAll(result, match.str(0), shown(match));
        rest = match.suffix().str();
    }
    return result;
}

std::string wallByExpression(const std::string& text, Wall at) {
    static const std::regex pattern("(time|date)::([a-zA-Z:-]+)");
    return resolvedBy(pattern, text, [at](const std::smatch& match) {
        std::string format = match.str(2);
        for (const auto& [token, conversion] :
             std::vector<std::pair<std::string, std::string>>{{"yyyy", "%Y"},
                                                              {"MM", "%m"},
                                                              {"dd", "%d"},
                                                              {"HH", "%H"},
                                                              {"hh", "%I"},
                                                              {"mm", "%M"},
                                                              {"ss", "%S"}})
            replaceAll(format, token, conversion);
        const std::time_t seconds = std::chrono::system_clock::to_time_t(at);
        char buffer[100];
        const std::size_t length =
            std::strftime(buffer, sizeof buffer, format.c_str(), std::localtime(&seconds));
        std::string output(buffer, length);
        const auto ms =
            std::chrono::duration_cast<std::chrono::milliseconds>(at.time_since_epoch()) % 1s;
        std::snprintf(buffer, sizeof buffer, "%02d", static_cast<int>(ms.count() / 10));
        replaceAll(output, "ii", buffer);
        return output;
    });
}

std::string countByExpression(const std::string& text, std::int64_t elapsed) {
    static const std::regex pattern("(tUp|tDown)::([a-zA-Z:]+)::([0-9:]+)");
    return resolvedBy(pattern, text, [elapsed](const std::smatch& match) {
        std::vector<std::int64_t> n;
        std::stringstream value(match.str(3));
        for (std::string piece; std::getline(value, piece, ':');) {
            try {
                n.push_back(std::stoi(piece));
            } catch (const std::logic_error&) {
                n.push_back(0);
            }
        }
        std::int64_t target = 0;
        if (n.size() == 4) target = (n[0] * 3600 + n[1] * 60 + n[2]) * 1000 + n[3] * 10;
        if (n.size() == 3) target = (n[0] * 60 + n[1]) * 1000 + n[2] * 10;
        if (n.size() == 2) target = n[0] * 1000 + n[1] * 10;
        return quol::countingText({match.str(1) == "tUp", match.str(2), target}, elapsed);
    });
}

// Texts of what tags are made of, whole and in pieces.
class RandomTexts {
public:
    explicit RandomTexts(unsigned seed) : random_(seed) {}

    std::string next() {
        static const std::array<const char*, 30> pieces{
            "time", "date",   "tUp",   "tDown",   "::", "::", "::", ":",    ":",  "-",
            "HH",   "mm",     "ss",    "ii",      "hh", "dd", "MM", "yyyy", "0",  "1",
            "59",   "time::", "tUp::", "tDown::", " ",  "%",  "t",  "x",    "\n", "ü"};
        std::string text;
        for (std::size_t left = random_() % 16; left > 0; --left)
            text += pieces[random_() % pieces.size()];
        return text;
    }

private:
    std::mt19937 random_;
};

TEST_F(TagClocks, AgreeWithTheExpressionsOnRandomTexts) {
    RandomTexts texts(1);
    int wallTags = 0;
    int countingTags = 0;
    for (int i = 0; i < 40000; ++i) {
        const std::string text = texts.next();
        const std::string wall = wallByExpression(text, morning());
        const std::string whole = countByExpression(wall, 0);
        wallTags += wall != text ? 1 : 0;
        countingTags += whole != wall ? 1 : 0;
        ASSERT_EQ(quol::resolveWallClock(text, morning()), wall) << text;
        ASSERT_EQ(shown(text, 0s, std::to_string(i)), whole) << text;
    }
    EXPECT_GT(wallTags, 4000);
    EXPECT_GT(countingTags, 1000);
}

TEST_F(TagClocks, TakeTextsOfAMillionCharacters) {
    const std::string many(1000000, 'x');
    EXPECT_EQ(shown(many + " time::HH", 0s), many + " 09");
    EXPECT_EQ(shown("time::" + many, 0s), "");
    EXPECT_EQ(shown("tUp::" + many + "::1:00", 0s), "00:00:00:00");
    EXPECT_EQ(shown("tDown::ss::" + std::string(1000000, '9') + ":70", 0s), "00");
}

// Each keyword begins within the format of those before it.
TEST_F(TagClocks, TakeTextsOfNothingButKeywords) {
    std::string many;
    for (int i = 0; i < 200000; ++i)
        many += "tUp::";
    EXPECT_EQ(shown(many, 0s), many);
    EXPECT_EQ(shown(many + "ss::01:00", 0s), "00:00:00:00");
}

TEST_F(TagClocks, ShowFiveHundredDifferentTagsAndLeaveTheRest) {
    std::string tags;
    std::string values;
    for (int i = 0; i < 600; ++i) {
        const std::string tag = "tDown::ss::" + std::to_string(100 + i) + ":00,";
        tags += tag + tag;
        const std::string value = std::to_string(100 + i) + ",";
        values += i < 500 ? value + value : tag + tag;
    }
    EXPECT_EQ(shown(tags, 0s), values);
}

} // namespace
