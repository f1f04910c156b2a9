#include "core/Log.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/CapturedStream.h"

namespace {

using test::CapturedStream;

TEST(Log, WritesALineToStandardOutput) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    quol::logOut("[LFile] Found Timecode: %s", "01:00:00:00");
    quol::logOut("plain");
    EXPECT_EQ(out.text(), "[LFile] Found Timecode: 01:00:00:00\nplain\n");
    EXPECT_EQ(error.text(), "");
}

TEST(Log, WritesALineToStandardError) {
    CapturedStream out(CapturedStream::Stream::output);
    CapturedStream error(CapturedStream::Stream::error);
    quol::logError("LRecorder: %d of %d", 3, 5);
    EXPECT_EQ(error.text(), "LRecorder: 3 of 5\n");
    EXPECT_EQ(out.text(), "");
}

TEST(Log, LineMayBeEmptyLongOrHoldLineEnds) {
    CapturedStream out(CapturedStream::Stream::output);
    const std::string longText(100000, 'x');
    quol::logOut("%s", "");
    quol::logOut("%s", longText.c_str());
    quol::logOut("one\ntwo");
    EXPECT_EQ(out.text(), "\n" + longText + "\none\ntwo\n");
}

TEST(Log, PercentSignsOfArgumentsAreNotRead) {
    CapturedStream out(CapturedStream::Stream::output);
    quol::logOut("%s 100%%", "shot_%04d.png %s %n");
    EXPECT_EQ(out.text(), "shot_%04d.png %s %n 100%\n");
}

TEST(Log, LinesOfSeveralThreadsAreNeverTorn) {
    constexpr int threads = 4;
    constexpr int lines = 500;
    std::string text;
    {
        CapturedStream out(CapturedStream::Stream::output);
        std::vector<std::thread> writers;
        for (int number = 0; number < threads; ++number) {
            writers.emplace_back([number] {
                const std::string tail(50 + static_cast<std::size_t>(number) * 40,
                                       static_cast<char>('a' + number));
                for (int i = 0; i < lines; ++i)
                    quol::logOut("%d %d %s", number, i, tail.c_str());
            });
        }
        for (std::thread& writer : writers)
            writer.join();
        text = out.text();
    }
    std::map<int, int> next;
    std::istringstream all(text);
    for (std::string line; std::getline(all, line);) {
        std::istringstream words(line);
        int number = -1;
        int count = -1;
        std::string tail;
        words >> number >> count >> tail;
        ASSERT_TRUE(number >= 0 && number < threads) << line;
        ASSERT_EQ(tail, std::string(50 + static_cast<std::size_t>(number) * 40,
                                    static_cast<char>('a' + number)));
        ASSERT_EQ(count, next[number]++);
    }
    for (int number = 0; number < threads; ++number)
        EXPECT_EQ(next[number], lines);
}

} // namespace
