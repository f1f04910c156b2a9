// The show among the examples, as its user meets it: a short script with cameras of one colour, and
// what is to be seen in the recording when.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/LocalPort.h"
#include "support/Program.h"
#include "support/RecordedFile.h"
#include "support/RtmpServer.h"
#include "support/SeenColours.h"
#include "support/XServer.h"

namespace {

constexpr auto patience = std::chrono::seconds(100);
constexpr const char* insetPlace = "64:64:200:120";

// When the show did a line, by its own words "  2.00 s  00:02.0 cut"; -1 when it did not.
double timeOf(const std::string& output, const std::string& line) {
    std::istringstream lines(output);
    for (std::string text; std::getline(lines, text);) {
        const std::size_t at = text.find(" s  " + line);
        if (at != std::string::npos) return std::atof(text.c_str());
    }
    return -1.0;
}

std::vector<std::string> namesOf(const std::vector<test::SeenColour>& colours) {
    std::vector<std::string> names;
    for (const test::SeenColour& colour : colours)
        names.push_back(colour.name);
    return names;
}

class Session : public testing::Test {
protected:
    void SetUp() override {
        unsetenv("DISPLAY");
        folder = test::temporaryPath(testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder);
        setenv("TMPDIR", folder.c_str(), 1); // where the replay stores what it records
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string path(const std::string& name) const { return (folder / name).string(); }

    std::string camera(const std::string& colour) const {
        const std::string file = path(colour + ".mp4");
        test::outputOf({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                        "color=" + colour + ":size=1280x720:rate=25:duration=2", "-c:v", "libx264",
                        "-preset", "ultrafast", "-pix_fmt", "yuv420p", file});
        return file;
    }

    // The exit status; what was said is in `output`.
    int run(const std::string& script, const std::string& camera1, const std::string& camera2,
            const std::vector<std::string>& more = {}) {
        std::ofstream(path("script.txt")) << script;
        std::vector<std::string> words{QUOLSDK_TEST_BIN_DIR "/show",
                                       "--record",
                                       path("show.mp4"),
                                       "--sheet",
                                       path("show.png"),
                                       "--titles",
                                       QUOLSDK_TEST_EXAMPLES "/titles.xml"};
        words.insert(words.end(), more.begin(), more.end());
        words.insert(words.end(), {path("script.txt"), camera1, camera2});
        const test::Program program(words);
        const auto result = program.wait(patience);
        output = program.output();
        return result.value_or(-2);
    }
    bool says(const std::string& text) const { return output.find(text) != std::string::npos; }

    // As the report has it; -1 when it does not.
    int missingFromStream() const {
        std::smatch line;
        const std::regex wanted("  stream .* dropped, (\\d+) missing");
        return std::regex_search(output, line, wanted) ? std::stoi(line[1]) : -1;
    }

    int foldersLeft() const {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            count += entry.is_directory() ? 1 : 0;
        return count;
    }

    std::filesystem::path folder;
    std::string output;
};

TEST_F(Session, ShowsWhatTheScriptSaysWhenItSays) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "too slow for its clock when instrumented";
#endif
    const int result =
        run("00:02.0 cut\n"
            "00:04.5 next camera1\n"
            "00:04.5 fade 10\n"
            "00:06.5 lowerthird in Jane Example\n"
            "00:07.0 inset camera2\n"
            "00:09.0 inset off\n"
            "00:10.0 end\n",
            camera("red"), camera("green"));
    ASSERT_EQ(result, 0) << output;
    for (const std::string text : {"dropped or late", "the recording ", "pictures    1280x720"})
        EXPECT_TRUE(says(text)) << text << "\n" << output;
    EXPECT_TRUE(std::filesystem::exists(path("show.png")));
    EXPECT_EQ(foldersLeft(), 0);
    EXPECT_EQ(test::readRecordedFile(path("show.mp4")).error, "");

    const auto programme = test::coloursIn(path("show.mp4"), test::middle, path("raw"));
    EXPECT_EQ(namesOf(programme), (std::vector<std::string>{"red", "green", "red"}));
    const auto inset = test::coloursIn(path("show.mp4"), insetPlace, path("raw"));
    EXPECT_EQ(namesOf(inset), (std::vector<std::string>{"red", "green", "red", "green", "red"}));
    ASSERT_EQ(programme.size(), 3U);
    ASSERT_EQ(inset.size(), 5U);
    constexpr double leeway = 1.0; // of a machine with other things to do
    EXPECT_NEAR(programme[1].seconds, timeOf(output, "00:02.0 cut"), leeway);
    EXPECT_NEAR(programme[2].seconds, timeOf(output, "00:04.5 fade 10") + 0.2, leeway);
    EXPECT_NEAR(inset[3].seconds, timeOf(output, "00:07.0 inset camera2") + 0.3, leeway);
    EXPECT_NEAR(inset[4].seconds, timeOf(output, "00:09.0 inset off"), leeway);
}

TEST_F(Session, RepeatsWhatWasBefore) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "too slow for its clock when instrumented";
#endif
    const int result =
        run("00:02.5 cut\n"
            "00:03.5 replay 2 0.5\n"
            "00:10.0 end\n",
            camera("red"), camera("green"));
    ASSERT_EQ(result, 0) << output;
    // The replay begins in what was before the cut, goes over it, and gives way to what is now.
    const auto seen = test::coloursIn(path("show.mp4"), test::middle, path("raw"));
    EXPECT_EQ(namesOf(seen), (std::vector<std::string>{"red", "green", "red", "green"}));
    EXPECT_EQ(foldersLeft(), 0);
}

TEST_F(Session, SaysWhatItGoesWithout) {
    EXPECT_EQ(run("00:00.2 opening in\n00:00.4 live on\n00:00.6 stinger\n00:01.8 end\n",
                  camera("red"), camera("green")),
              0)
        << output;
    EXPECT_TRUE(says("no opening")) << output;
    EXPECT_TRUE(says("not live")) << output;
    EXPECT_TRUE(says("no stinger")) << output;
}

TEST_F(Session, GoesOnWhenTheServerDoesNotAnswer) {
    EXPECT_EQ(run("00:00.5 live on\n00:03.0 live off\n00:03.5 end\n", camera("red"),
                  camera("green"), {"--live", "rtmp://127.0.0.1:1/live/show"}),
              0)
        << output;
    EXPECT_TRUE(says("NOT LIVE")) << output;
    EXPECT_GT(test::readRecordedFile(path("show.mp4")).pictureSeconds(), 2.0);
}

// A server that takes the connection and then says nothing. Left to itself the stream gives up five
// seconds behind its start; until then whatever waits for it would hold the show up.
TEST_F(Session, LeavesAServerThatNeverAnswersWhenItIsTold) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "too slow for its clock when instrumented";
#endif
    const test::SilentServer server;
    EXPECT_EQ(run("00:00.5 live on\n00:01.5 live off\n00:02.0 crawl on\n00:03.0 end\n",
                  camera("red"), camera("green"),
                  {"--live", "rtmp://127.0.0.1:" + std::to_string(server.port()) + "/live/show"}),
              0)
        << output;
    EXPECT_GE(timeOf(output, "00:02.0 crawl on"), 2.0) << output;
    EXPECT_LT(timeOf(output, "00:02.0 crawl on"), 5.0) << output;
    EXPECT_EQ(test::readRecordedFile(path("show.mp4")).error, "");
}

TEST_F(Session, GoesLiveToAServer) {
    if (!test::RtmpServer::available()) GTEST_SKIP() << test::RtmpServer::unavailable;
    test::RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    EXPECT_EQ(run("00:00.5 live on\n00:05.0 end\n", camera("red"), camera("green"),
                  {"--live", server.url("show")}),
              0)
        << output;
    EXPECT_FALSE(says("NOT LIVE")) << output;
    EXPECT_TRUE(says("live after ")) << output;
    EXPECT_TRUE(says("stream ")) << output;
    EXPECT_GE(missingFromStream(), 0) << output;
    EXPECT_LT(missingFromStream(), 25) << output;
}

TEST_F(Session, TellsWhatDidNotGoOutWhenTheServerDies) {
    if (!test::RtmpServer::available()) GTEST_SKIP() << test::RtmpServer::unavailable;
    test::RtmpServer server;
    ASSERT_TRUE(server.running()) << server.log();
    std::thread end([&] {
        test::waitUntil([&] { return server.log().find("publish") != std::string::npos; },
                        patience);
        std::this_thread::sleep_for(std::chrono::seconds(1));
        server.kill();
    });
    EXPECT_EQ(run("00:00.5 live on\n00:09.0 end\n", camera("red"), camera("green"),
                  {"--live", server.url("show")}),
              0)
        << output;
    end.join();
    EXPECT_GE(missingFromStream(), 25) << output;
    EXPECT_TRUE(says("Sending failed")) << output;
}

TEST_F(Session, ShowsTheWallInAWindow) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "too slow for its clock when instrumented";
#endif
    const test::XServer server;
    if (!server.running()) GTEST_SKIP() << "no Xvfb on this machine";
    EXPECT_EQ(run("00:01.0 cut\n00:05.0 shot " + path("wall.png") + "\n00:05.5 end\n",
                  camera("red"), camera("green")),
              0)
        << output;
    // The wall is 1280x720: preview and programme are its upper half.
    const auto colourAt = [&](const std::string& place) {
        const auto seen = test::coloursIn(path("wall.png"), place, path("raw"));
        return seen.empty() ? std::string("nothing") : seen.front().name;
    };
    EXPECT_EQ(colourAt("64:64:288:100"), "red") << output;   // preview
    EXPECT_EQ(colourAt("64:64:928:100"), "green") << output; // programme
    EXPECT_EQ(colourAt("32:32:144:420"), "red") << output;   // camera 1
    EXPECT_EQ(colourAt("32:32:464:420"), "green") << output; // camera 2
}

TEST_F(Session, FinishesTheRecordingWhenInterrupted) {
    std::ofstream(path("script.txt")) << "00:00.5 crawl on\n01:00.0 end\n";
    const test::Program program({QUOLSDK_TEST_BIN_DIR "/show", "--record", path("show.mp4"),
                                 "--sheet", path("show.png"), path("script.txt"), camera("red"),
                                 camera("green")});
    ASSERT_TRUE(test::waitUntil(
        [&] { return program.output().find("00:00.5 crawl on") != std::string::npos; }, patience));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(patience), 0) << program.output();
    EXPECT_EQ(test::readRecordedFile(path("show.mp4")).error, "");
    EXPECT_EQ(foldersLeft(), 0);
}

TEST_F(Session, IsNotBegunByAScriptWithAMistake) {
    const std::string red = path("not looked for.mp4");
    EXPECT_EQ(run("00:01 leap\n00:02 end\n", red, red), 2);
    EXPECT_TRUE(says("script.txt:1: no command \"leap\"")) << output;
    EXPECT_EQ(run("00:01 end\n", red, red, {"--what", "for"}), 2);
    EXPECT_TRUE(says("use:")) << output;
    EXPECT_FALSE(std::filesystem::exists(path("show.mp4")));
}

TEST_F(Session, SaysWhatIsNotToBeHad) {
    const std::string red = camera("red");
    EXPECT_EQ(run("00:01 end\n", red, path("no such clip.mov")), 1);
    EXPECT_TRUE(says("CANNOT PLAY")) << output;
    EXPECT_EQ(run("00:01 end\n", red, red, {"--record", path("no such folder/show.mp4")}), 1);
    EXPECT_TRUE(says("CANNOT RECORD")) << output;
    EXPECT_EQ(run("00:01 end\n", red, red, {"--sheet", path("no such folder/show.png")}), 1);
    EXPECT_TRUE(says("CANNOT WRITE")) << output;
    EXPECT_EQ(foldersLeft(), 0);
}

TEST(Show, NeedsAScriptThatIsThere) {
    EXPECT_NE(test::outputOf({QUOLSDK_TEST_BIN_DIR "/show", "no such script.txt", "a", "b"})
                  .find("CANNOT READ no such script.txt"),
              std::string::npos);
    EXPECT_NE(test::outputOf({QUOLSDK_TEST_BIN_DIR "/show"}).find("use:"), std::string::npos);
}

} // namespace
