// The vision mixer of the examples, as its operator meets it: sessions on an X server of the test's
// own, by script and by keyboard, what its window showed and what it recorded.
#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/CapturedStream.h"
#include "support/CollectingSink.h"
#include "support/Instrumented.h"
#include "support/Program.h"
#include "support/RecordedFile.h"
#include "support/SeenColours.h"
#include "support/XServer.h"

namespace {

using test::Pixel;
using test::Screenshot;

constexpr auto patience = std::chrono::seconds(100);

// The server's screen is 1280 wide, so the window is 1280x480: the wall at the left, 849 wide, the
// preview above the programme at the right.
constexpr int windowWidth = 1280;
constexpr int windowHeight = 480;
constexpr int wallWidth = 849;
constexpr int rightLeft = 853;
constexpr int programmeTop = 242;

struct Place {
    int x = 0;
    int y = 0;
};

constexpr Place preview{1060, 110};
constexpr Place programme{1060, 330};
constexpr Place wallPreview{212, 120};
constexpr Place wallProgramme{636, 120};

// Columns from 0; the middle of the tile, above its label.
constexpr Place tile(int row, int column) {
    return {(2 * column + 1) * wallWidth / 8, 290 + row * 120};
}
constexpr Place replayTile = tile(1, 0);
constexpr Place switcherTile = tile(1, 2);

std::string colourAt(const Screenshot& shot, const Place& place) {
    return test::colourName(shot.at(place.x, place.y));
}

// By the left edge of a tile of the upper row.
std::string tallyOf(const Screenshot& shot, int column) {
    const int left = column * wallWidth / 4;
    const auto count = [&](const Pixel& wanted) {
        return shot.count(wanted, left, 260, left + 3, 330, 45);
    };
    if (count({255, 0, 0}) > 50) return "on air";
    if (count({0, 255, 0}) > 50) return "next";
    return count({110, 110, 110}) > 50 ? "idle" : "none";
}

Screenshot readPng(const std::string& path) {
    Screenshot shot;
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return shot;
    image.format = PNG_FORMAT_RGB;
    std::vector<std::uint8_t> bytes(PNG_IMAGE_SIZE(image));
    if (png_image_finish_read(&image, nullptr, bytes.data(), 0, nullptr) == 0) return shot;
    shot.width = static_cast<int>(image.width);
    shot.height = static_cast<int>(image.height);
    for (std::size_t at = 0; at + 2 < bytes.size(); at += 3)
        shot.pixels.push_back(
            static_cast<std::uint32_t>(bytes[at] << 16 | bytes[at + 1] << 8 | bytes[at + 2]));
    return shot;
}

// The time of a line of the host's, "  3.83 s  cut to 2 Green"; -1 when it is not there.
double timeOf(const std::string& output, const std::string& what) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t at = line.find(" s  " + what);
        if (at != std::string::npos) return std::atof(line.c_str());
    }
    return -1.0;
}

class VisionMixer : public testing::Test {
protected:
    void SetUp() override {
        if (!server.running()) GTEST_SKIP() << "no Xvfb on this machine";
        setenv("SDL_AUDIODRIVER", "dummy", 1);
        folder = test::temporaryPath(testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(folder);
        setenv("TMPDIR", folder.c_str(), 1); // where the replay stores what it records
    }
    void TearDown() override {
        if (!folder.empty()) std::filesystem::remove_all(folder);
    }

    std::string path(const std::string& name) const { return (folder / name).string(); }

    void start(const std::string& script, const std::vector<std::string>& more = {}) {
        std::ofstream(path("script.txt")) << script;
        std::vector<std::string> words{
            QUOLSDK_TEST_BIN_DIR "/vision_mixer", "--script", path("script.txt"),   "--titles",
            QUOLSDK_TEST_EXAMPLES "/titles.xml",  "--record", path("recording.mp4")};
        words.insert(words.end(), more.begin(), more.end());
        host = std::make_unique<test::Program>(words);
    }
    bool says(const std::string& text) const {
        return test::waitUntil(
                   [&] {
                       return host->output().find(text) != std::string::npos || !host->running();
                   },
                   patience) &&
               host->output().find(text) != std::string::npos;
    }

    // Nothing of the replay's stays behind.
    int foldersLeft() const {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            count += entry.is_directory() ? 1 : 0;
        return count;
    }

    test::XServer server;
    std::filesystem::path folder;
    std::unique_ptr<test::Program> host;
};

TEST_F(VisionMixer, ShowsAndRecordsAScriptedSession) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "a wall, a mixer and three windows are too slow for their clock when instrumented";
#endif
    std::string script = "# a session\n\n";
    const std::array<std::pair<const char*, const char*>, 15> lines{{{"2.5", "shot start.png"},
                                                                     {"2.6", "space"},
                                                                     {"5.0", "shot cut.png"},
                                                                     {"5.1", "3"},
                                                                     {"5.2", "enter"},
                                                                     {"9.0", "shot faded.png"},
                                                                     {"9.1", "t"},
                                                                     {"11.5", "shot title.png"},
                                                                     {"11.6", "t"},
                                                                     {"13.0", "space"},
                                                                     {"13.0", "r"},
                                                                     {"14.8", "shot replay.png"},
                                                                     {"14.9", "4"},
                                                                     {"19.5", "shot end.png"},
                                                                     {"19.6", "q"}}};
    for (const auto& [seconds, what] : lines) {
        const std::string text = what;
        script += std::string(seconds) + " " +
                  (text.rfind("shot ", 0) == 0 ? "shot " + path(text.substr(5)) : text) + "\n";
    }
    start(script);
    ASSERT_EQ(host->wait(patience), 0) << host->output();
    const std::string output = host->output();

    std::array<Screenshot, 6> shots;
    const std::array<const char*, 6> names{"start", "cut", "faded", "title", "replay", "end"};
    for (std::size_t i = 0; i < shots.size(); ++i) {
        shots[i] = readPng(path(std::string(names[i]) + ".png"));
        test::keepPicture(shots[i], std::string("vision_mixer_") + names[i]);
        ASSERT_EQ(shots[i].width, windowWidth) << names[i];
        ASSERT_EQ(shots[i].height, windowHeight) << names[i];
    }
    const auto& [begin, cut, faded, title, replay, end] = shots;

    // The inputs on the wall, in any of them.
    EXPECT_EQ(colourAt(begin, tile(0, 0)), "red");
    EXPECT_EQ(colourAt(begin, tile(0, 1)), "green");
    EXPECT_EQ(colourAt(begin, tile(0, 2)), "blue");
    EXPECT_GT(begin.count({200, 0, 200}, 3 * wallWidth / 4, 250, wallWidth, 330, 40), 100)
        << "the bars' magenta";

    struct Expected {
        const Screenshot* shot;
        std::string programme, preview;
        std::array<std::string, 3> tally;
    };
    const std::array<Expected, 4> expected{{{&begin, "red", "green", {"on air", "next", "idle"}},
                                            {&cut, "green", "red", {"next", "on air", "idle"}},
                                            {&faded, "blue", "green", {"idle", "next", "on air"}},
                                            {&title, "blue", "green", {"idle", "next", "on air"}}}};
    for (const Expected& wanted : expected) {
        SCOPED_TRACE(names[static_cast<std::size_t>(wanted.shot - shots.data())]);
        EXPECT_EQ(colourAt(*wanted.shot, programme), wanted.programme);
        EXPECT_EQ(colourAt(*wanted.shot, wallProgramme), wanted.programme);
        EXPECT_EQ(colourAt(*wanted.shot, preview), wanted.preview);
        EXPECT_EQ(colourAt(*wanted.shot, wallPreview), wanted.preview);
        for (int column = 0; column < 3; ++column)
            EXPECT_EQ(tallyOf(*wanted.shot, column), wanted.tally[static_cast<std::size_t>(column)])
                << column;
    }

    // White letters at the lower left of the programme; below them, in all, the window's label.
    const auto letters = [](const Screenshot& shot) {
        return shot.count({255, 255, 255}, rightLeft + 10, programmeTop + 170, rightLeft + 190,
                          programmeTop + 215, 40);
    };
    EXPECT_GT(letters(title), letters(faded) + 50);

    // The replay lies over the programme, the switcher has cut beneath it.
    EXPECT_EQ(colourAt(replay, programme), "blue");
    EXPECT_EQ(colourAt(replay, replayTile), "blue");
    EXPECT_EQ(colourAt(replay, switcherTile), "green");
    EXPECT_EQ(tallyOf(replay, 1), "idle");
    EXPECT_EQ(tallyOf(replay, 2), "next");
    EXPECT_EQ(colourAt(end, programme), "green");
    EXPECT_EQ(tallyOf(end, 1), "on air");
    EXPECT_EQ(tallyOf(end, 3), "next");

    // The recording, by the times that the host tells. It begins just before the session.
    const auto seen = test::coloursIn(path("recording.mp4"), test::middle, path("colours.raw"));
    std::vector<std::string> order;
    for (const test::SeenColour& colour : seen)
        order.push_back(colour.name);
    // A picture of the cut may come before the replay's first one.
    const std::vector<std::string> wanted{"red", "green", "blue", "green"};
    const std::vector<std::string> withCut{"red", "green", "blue", "green", "blue", "green"};
    ASSERT_TRUE(order == wanted || order == withCut) << testing::PrintToString(order);
    const double leeway = 1.0;
    EXPECT_LT(seen[0].seconds, leeway); // black until the first input shows something
    EXPECT_NEAR(seen[1].seconds, timeOf(output, "cut to 2 Green"), leeway);
    EXPECT_NEAR(seen[2].seconds, timeOf(output, "fade to 3 Blue") + 0.5, leeway + 0.5);
    EXPECT_NEAR(seen.back().seconds, timeOf(output, "replay over, back to 2 Green"), leeway);
    EXPECT_NE(output.find(" dropped"), std::string::npos);
    EXPECT_EQ(foldersLeft(), 0);
}

// The first child of the root that has children: the host's window.
xcb_window_t findWindow(xcb_connection_t* connection) {
    const auto childrenOf = [&](xcb_window_t window) {
        auto* const reply =
            xcb_query_tree_reply(connection, xcb_query_tree(connection, window), nullptr);
        std::vector<xcb_window_t> children;
        if (reply != nullptr)
            children.assign(xcb_query_tree_children(reply),
                            xcb_query_tree_children(reply) + xcb_query_tree_children_length(reply));
        std::free(reply);
        return children;
    };
    for (const xcb_window_t window :
         childrenOf(xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root))
        if (childrenOf(window).size() == 3) return window;
    return 0;
}

xcb_keycode_t keyOf(xcb_connection_t* connection, xcb_keysym_t symbol) {
    const auto* const setup = xcb_get_setup(connection);
    auto* const reply = xcb_get_keyboard_mapping_reply(
        connection,
        xcb_get_keyboard_mapping(
            connection, setup->min_keycode,
            static_cast<std::uint8_t>(setup->max_keycode - setup->min_keycode + 1)),
        nullptr);
    if (reply == nullptr) return 0;
    const int count = xcb_get_keyboard_mapping_keysyms_length(reply);
    const auto* const symbols = xcb_get_keyboard_mapping_keysyms(reply);
    int found = 0;
    for (int i = 0; i < count && found == 0; i += reply->keysyms_per_keycode)
        if (symbols[i] == symbol) found = setup->min_keycode + i / reply->keysyms_per_keycode;
    std::free(reply);
    return static_cast<xcb_keycode_t>(found);
}

// A connection of the test's, to press keys in the host's window.
class Keyboard {
public:
    Keyboard() : connection_(xcb_connect(nullptr, nullptr)) {}
    ~Keyboard() { xcb_disconnect(connection_); }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    bool findsWindow() {
        return test::waitUntil([&] { return (window_ = findWindow(connection_)) != 0; }, patience);
    }
    void down(xcb_keysym_t symbol) { send(XCB_KEY_PRESS, symbol); }
    void up(xcb_keysym_t symbol) { send(XCB_KEY_RELEASE, symbol); }
    void press(xcb_keysym_t symbol) {
        down(symbol);
        up(symbol);
    }

private:
    void send(std::uint8_t type, xcb_keysym_t symbol) {
        std::array<char, 32> bytes{}; // every event is that long
        xcb_key_press_event_t event{};
        event.response_type = type;
        event.detail = keyOf(connection_, symbol);
        event.event = window_;
        event.same_screen = 1;
        std::memcpy(bytes.data(), &event, sizeof event);
        xcb_send_event(connection_, 0, window_, XCB_EVENT_MASK_NO_EVENT, bytes.data());
        xcb_flush(connection_);
    }

    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
};

int timesSaid(const std::string& output, const std::string& text) {
    int count = 0;
    for (std::size_t at = output.find(text); at != std::string::npos;
         at = output.find(text, at + 1))
        ++count;
    return count;
}

TEST_F(VisionMixer, IsWorkedByTheKeyboard) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP()
        << "a wall, a mixer and three windows are too slow for their clock when instrumented";
#endif
    start("");
    Keyboard keyboard;
    ASSERT_TRUE(keyboard.findsWindow());
    keyboard.press('3');
    EXPECT_TRUE(says("preview 3 Blue"));
    keyboard.down(' ');
    keyboard.down(' '); // as a key that is held repeats
    keyboard.down(' ');
    keyboard.up(' ');
    EXPECT_TRUE(says("cut to 3 Blue"));
    keyboard.press('t');
    EXPECT_TRUE(says("title in"));
    keyboard.press('x');    // nothing
    keyboard.press(0xFF0D); // Return
    keyboard.press('2');    // while it fades the preview stays
    EXPECT_TRUE(says("faded to 1 Red"));
    keyboard.press('r');
    EXPECT_TRUE(says("replay at half speed"));
    keyboard.press('r');
    EXPECT_TRUE(says("replay over, back to 1 Red"));
    keyboard.press('q');
    EXPECT_EQ(host->wait(patience), 0) << host->output();
    EXPECT_EQ(timesSaid(host->output(), "cut to"), 1) << host->output();
    EXPECT_EQ(timesSaid(host->output(), "preview 2"), 0) << host->output();
    EXPECT_EQ(test::readRecordedFile(path("recording.mp4")).error, "");
}

// A cut by which something has been recorded, on a slow machine too.
const char* const lateCut = test::isInstrumented ? "8.0 space\n" : "3.0 space\n";

TEST_F(VisionMixer, FinishesTheRecordingWhenTheDisplayGoes) {
    start(lateCut);
    ASSERT_TRUE(says("cut to 2 Green")) << host->output();
    server.kill();
    EXPECT_EQ(host->wait(patience), 1) << host->output();
    EXPECT_TRUE(says("THE DISPLAY IS GONE"));
    const test::RecordedFile file = test::readRecordedFile(path("recording.mp4"));
    EXPECT_EQ(file.error, "");
    EXPECT_FALSE(file.pictures.empty());
    EXPECT_EQ(foldersLeft(), 0);
}

TEST_F(VisionMixer, FinishesTheRecordingWhenInterrupted) {
    start(lateCut);
    ASSERT_TRUE(says("cut to 2 Green")) << host->output();
    host->signal(SIGINT);
    EXPECT_EQ(host->wait(patience), 0) << host->output();
    EXPECT_EQ(test::readRecordedFile(path("recording.mp4")).error, "");
}

TEST_F(VisionMixer, SaysWhatIsWrong) {
    for (const std::string line : {"1 nokey", "x q", "-1 q", "1", "1 shot", "1 q more", "nan q"}) {
        start("0 q\n" + line + "\n");
        EXPECT_EQ(host->wait(patience), 2) << line;
        EXPECT_TRUE(says(":2: neither a key nor a screenshot")) << line;
    }
    start("0 q\n", {"--what", "for"});
    EXPECT_EQ(host->wait(patience), 2);
    start("0 q\n", {"a", "b", "c", "d", "e"});
    EXPECT_EQ(host->wait(patience), 2);
    start("0 q\n", {path("no such clip.mov")});
    EXPECT_EQ(host->wait(patience), 1) << host->output();
    EXPECT_TRUE(says("CANNOT PLAY"));
    start("0 q\n", {"--record", path("no such folder/recording.mp4")});
    EXPECT_EQ(host->wait(patience), 1) << host->output();
    EXPECT_TRUE(says("CANNOT RECORD"));
    start("0.2 shot " + path("no/folder.png") + "\n0.5 q\n");
    EXPECT_EQ(host->wait(patience), 1) << host->output();
    EXPECT_TRUE(says("CANNOT WRITE"));
    unsetenv("DISPLAY");
    start("0 q\n");
    EXPECT_EQ(host->wait(patience), 1) << host->output();
    EXPECT_TRUE(says("NO DISPLAY"));
}

} // namespace
