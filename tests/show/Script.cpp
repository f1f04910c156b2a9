// The running order of the show among the examples: what is understood, and what is refused with
// the number of its line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "show_script.h"

namespace {

using show::Cue;
using show::Script;
using show::Verb;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

Script read(const std::string& text) {
    std::istringstream stream(text);
    return show::readScript(stream, "show.txt");
}

// The only line before the end.
Cue readOne(const std::string& line) {
    const Script script = read("00:20.0 " + line + "\n01:00 end\n");
    EXPECT_THAT(script.errors, IsEmpty());
    return script.errors.empty() ? script.cues.front() : Cue();
}

// Of a script whose second line has the only mistake.
std::string errorOf(const std::string& line) {
    const Script script = read("# first\n" + line + "\n01:00 end\n");
    EXPECT_EQ(script.errors.size(), 1U) << line;
    EXPECT_THAT(script.cues, IsEmpty());
    return script.errors.empty() ? "" : script.errors.front();
}

TEST(Times, AreMinutesAndSeconds) {
    EXPECT_DOUBLE_EQ(show::parseTime("00:05.0"), 5.0);
    EXPECT_DOUBLE_EQ(show::parseTime("0:05"), 5.0);
    EXPECT_DOUBLE_EQ(show::parseTime("01:05.25"), 65.25);
    EXPECT_DOUBLE_EQ(show::parseTime("100:00"), 6000.0);
    EXPECT_DOUBLE_EQ(show::parseTime("00:59.999"), 59.999);
}

TEST(Times, OfAnyOtherFormAreNone) {
    for (const std::string text :
         {"", ":", "5", "5.0", "00:", ":05", "00:60", "00:-5", "-1:05", "00:5s", "a:05", "00:05:00",
          "00:.5", "1.5:00", "1000:00", "00:1e1", "00:nan", "00:1..2", "00:1234567890"})
        EXPECT_LT(show::parseTime(text), 0.0) << text;
}

TEST(Lines, AreReadWithTheirTimesAndNumbers) {
    const Script script = read(
        "# remark\n\n00:01.5  fade 25\n  00:04 next bars # remark\n"
        "\t00:05.0\tend\n");
    ASSERT_THAT(script.errors, IsEmpty());
    ASSERT_EQ(script.cues.size(), 3U);
    EXPECT_EQ(script.cues[0].line, 3);
    EXPECT_DOUBLE_EQ(script.cues[0].seconds, 1.5);
    EXPECT_EQ(script.cues[0].verb, Verb::fade);
    EXPECT_EQ(script.cues[0].pictures, 25);
    EXPECT_EQ(script.cues[0].text, "00:01.5 fade 25");
    EXPECT_EQ(script.cues[1].line, 4);
    EXPECT_EQ(script.cues[1].word, "bars");
    EXPECT_EQ(script.cues[1].text, "00:04 next bars");
    EXPECT_EQ(script.cues[2].verb, Verb::end);
}

TEST(Lines, KnowEveryCommand) {
    EXPECT_TRUE(readOne("opening in").on);
    EXPECT_FALSE(readOne("opening out").on);
    EXPECT_EQ(readOne("next camera2").word, "camera2");
    EXPECT_EQ(readOne("cut").verb, Verb::cut);
    EXPECT_EQ(readOne("fade 1").pictures, 1);
    EXPECT_EQ(readOne("fade 250").pictures, 250);
    const Cue dip = readOne("dip #a0B1c2 30");
    EXPECT_EQ(dip.verb, Verb::dip);
    EXPECT_EQ(dip.word, "#a0B1c2");
    EXPECT_EQ(dip.pictures, 30);
    for (const std::string kind : {"lr", "rl", "tb", "bt", "diagonal", "box", "circle"}) {
        const Cue cue = readOne("wipe " + kind + " 10");
        EXPECT_EQ(cue.verb, Verb::wipe);
        EXPECT_EQ(cue.word, kind);
    }
    for (const std::string kind : {"lr", "rl", "tb", "bt"}) {
        EXPECT_EQ(readOne("slide " + kind + " 10").verb, Verb::slide);
        EXPECT_EQ(readOne("squeeze " + kind + " 10").verb, Verb::squeeze);
    }
    EXPECT_EQ(readOne("stinger").verb, Verb::stinger);
    EXPECT_TRUE(readOne("lowerthird in").on);
    EXPECT_EQ(readOne("lowerthird in Ayşe Güneş, İzmir").word, "Ayşe Güneş, İzmir");
    EXPECT_FALSE(readOne("lowerthird out").on);
    EXPECT_TRUE(readOne("crawl on").on);
    EXPECT_FALSE(readOne("logo off").on);
    EXPECT_EQ(readOne("inset bars").word, "bars");
    EXPECT_TRUE(readOne("inset bars").on);
    EXPECT_FALSE(readOne("inset off").on);
    const Cue replay = readOne("replay 2.5 0.5");
    EXPECT_DOUBLE_EQ(replay.last, 2.5);
    EXPECT_DOUBLE_EQ(replay.speed, 0.5);
    EXPECT_TRUE(readOne("live on").on);
    EXPECT_EQ(readOne("shot a.png").word, "a.png");
}

TEST(Lines, ThatMakeNoSenseAreToldByNumber) {
    EXPECT_EQ(errorOf("soon cut"), "show.txt:2: \"soon\" is no time, as 00:05.0 is");
    EXPECT_EQ(errorOf("00:05.0"), "show.txt:2: a time and nothing to do");
    EXPECT_EQ(errorOf("00:05.0 fad 25"), "show.txt:2: no command \"fad\"");
    EXPECT_EQ(errorOf("00:05.0 fade"), "show.txt:2: use: fade PICTURES");
    for (const std::string line : {"fade 0",
                                   "fade 251",
                                   "fade 2.5",
                                   "fade -3",
                                   "fade x",
                                   "fade 25 26",
                                   "next",
                                   "next camera3",
                                   "cut now",
                                   "dip 30",
                                   "dip #12345 30",
                                   "dip #12345g 30",
                                   "dip #123456",
                                   "wipe up 10",
                                   "wipe lr",
                                   "slide circle 10",
                                   "squeeze box 10",
                                   "stinger twice",
                                   "opening",
                                   "opening on",
                                   "lowerthird",
                                   "lowerthird in2 A",
                                   "lowerthird out A",
                                   "crawl in",
                                   "logo",
                                   "inset camera3",
                                   "inset",
                                   "replay 3",
                                   "replay 0 0.5",
                                   "replay 31 0.5",
                                   "replay 3 0.05",
                                   "replay 3 1.5",
                                   "live",
                                   "live maybe",
                                   "shot",
                                   "shot a b",
                                   "end now"})
        EXPECT_THAT(errorOf("00:40 " + line),
                    HasSubstr("show.txt:2: use: " + line.substr(0, line.find(' '))));
}

TEST(Lines, AreAllToldThatAreWrong) {
    EXPECT_THAT(
        read("x cut\n00:01 cut\n00:02 leap\n00:03 fade\n00:04 end\n").errors,
        ElementsAre(HasSubstr("show.txt:1:"), HasSubstr("show.txt:3:"), HasSubstr("show.txt:4:")));
}

TEST(Order, IsThatOfTheTimes) {
    EXPECT_THAT(read("00:02 cut\n00:01.9 cut\n00:04 end\n").errors,
                ElementsAre("show.txt:2: earlier than the line before"));
    EXPECT_THAT(read("00:02 cut\n00:02 next bars\n00:02 cut\n00:02 end\n").errors, IsEmpty());
}

TEST(Order, LeavesTheLayersToATransitionThatRuns) {
    for (const std::string line : {"next bars", "cut", "fade 5", "dip #000000 5", "wipe lr 5",
                                   "slide lr 5", "squeeze lr 5", "stinger"}) {
        EXPECT_THAT(read("00:02 fade 25\n00:02.9 " + line + "\n00:09 end\n").errors,
                    ElementsAre("show.txt:2: the transition of line 1 still runs"))
            << line;
        EXPECT_THAT(read("00:02 fade 25\n00:03.0 " + line + "\n00:09 end\n").errors, IsEmpty())
            << line;
    }
    EXPECT_THAT(read("00:02 stinger\n00:02.9 cut\n00:09 end\n").errors,
                ElementsAre("show.txt:2: the transition of line 1 still runs"));
    EXPECT_THAT(read("00:02 fade 25\n00:02.1 crawl on\n00:02.2 inset bars\n00:09 end\n").errors,
                IsEmpty());
}

TEST(Order, HasOneReplayAtATimeOfWhatWasThere) {
    EXPECT_THAT(read("00:05 replay 3 0.5\n00:10.9 replay 3 0.5\n00:30 end\n").errors,
                ElementsAre("show.txt:2: the replay of line 1 still runs"));
    EXPECT_THAT(read("00:05 replay 3 0.5\n00:11 replay 3 0.5\n00:30 end\n").errors, IsEmpty());
    EXPECT_THAT(read("00:02 replay 3 0.5\n00:30 end\n").errors,
                ElementsAre("show.txt:1: a replay of more than there was"));
}

TEST(Order, EndsWithTheEnd) {
    EXPECT_THAT(read("00:02 cut\n").errors, ElementsAre("show.txt:1: the show has no end"));
    EXPECT_THAT(read("").errors, ElementsAre("show.txt:0: the show has no end"));
    EXPECT_THAT(read("00:02 end\n00:03 cut\n").errors,
                ElementsAre("show.txt:2: the show has ended in line 1"));
}

TEST(Effects, AreSeenBestWhileTheyLast) {
    EXPECT_DOUBLE_EQ(show::bestSeenAfter(readOne("fade 50")), 1.0);
    EXPECT_DOUBLE_EQ(show::bestSeenAfter(readOne("wipe lr 25")), 0.5);
    EXPECT_DOUBLE_EQ(show::bestSeenAfter(readOne("replay 3 0.5")), 3.0);
    EXPECT_DOUBLE_EQ(show::bestSeenAfter(readOne("dip #000000 50")), 0.6);
    EXPECT_DOUBLE_EQ(show::bestSeenAfter(readOne("stinger")), 0.3 * show::stingerSeconds);
    for (const std::string line : {"next bars", "lowerthird out", "crawl off", "logo off",
                                   "inset off", "live on", "shot a.png"})
        EXPECT_LT(show::bestSeenAfter(readOne(line)), 0.0) << line;
}

TEST(TheShow, HasNoMistake) {
    std::ifstream stream(QUOLSDK_TEST_EXAMPLES "/show.txt");
    const Script script = show::readScript(stream, "show.txt");
    EXPECT_THAT(script.errors, IsEmpty());
    ASSERT_FALSE(script.cues.empty());
    EXPECT_DOUBLE_EQ(script.cues.back().seconds, 60.0);
}

} // namespace
