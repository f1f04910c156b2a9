#include "outputs/ConvertGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/CapturedStream.h"

namespace {

std::string pictureName(int number) {
    std::ostringstream name;
    name << 'a' << number << ".png";
    return name.str();
}

class ConvertGuard : public testing::Test {
protected:
    ConvertGuard() {
        std::filesystem::remove_all(folder);
        std::filesystem::create_directories(folder + "/other");
    }

    std::string make(const std::string& name) const {
        std::ofstream(folder + "/" + name) << name;
        return folder + "/" + name;
    }

    std::string folder = test::temporaryPath("guarded");
    std::atomic<bool> stop{false};
};

TEST_F(ConvertGuard, PicturesOfAPatternAreInputs) {
    const std::vector<std::string> inputs{folder + "/seq_%04d.png"};
    const std::string first = make("seq_0003.png");
    const std::string last = make("seq_0004.png");
    const std::string linked = folder + "/linked.png";
    std::filesystem::create_symlink(last, linked);
    const std::string other = make("seq_4.png");
    quol::ConvertGuard guard(inputs, stop);
    for (const std::string& path :
         {first, last, linked, "file:" + first, folder + "/other/../seq_0004.png", inputs[0]})
        EXPECT_TRUE(guard.isInput(path)) << path;
    EXPECT_FALSE(guard.isInput(other));
    EXPECT_FALSE(guard.isInput(folder + "/seq_0005.png")); // not there
}

// Sequences begin with one of the first five numbers and end before the first that is missing.
TEST_F(ConvertGuard, APatternReachesAsFarAsASequenceIsRead) {
    const std::vector<std::string> inputs{"file:" + folder + "/a%d.png", folder + "/b%d.png"};
    for (const int number : {4, 5, 6, 7, 8, 9, 11})
        make(pictureName(number));
    const std::string late = make("b5.png");
    quol::ConvertGuard guard(inputs, stop);
    for (int number = 4; number < 10; ++number)
        EXPECT_TRUE(guard.isInput(folder + "/" + pictureName(number))) << number;
    EXPECT_FALSE(guard.isInput(folder + "/a11.png"));
    EXPECT_FALSE(guard.isInput(late));
}

// What is not known to be none of the pictures is not written to.
TEST_F(ConvertGuard, AStopBreaksOffTheSearchForPictures) {
    const std::vector<std::string> inputs{make("clip.mp4"), folder + "/seq_%04d.png"};
    for (const char* name : {"seq_0000.png", "seq_0001.png", "seq_0002.png"})
        make(name);
    const std::string other = make("other.png");
    quol::ConvertGuard guard(inputs, stop);
    stop = true;
    EXPECT_TRUE(guard.isInput(other));
    EXPECT_FALSE(guard.isInput(folder + "/missing.png"));
    stop = false;
    EXPECT_FALSE(guard.isInput(other));
    stop = true; // all are known now
    EXPECT_FALSE(guard.isInput(other));
    EXPECT_TRUE(guard.isInput(folder + "/seq_0002.png"));
    const std::vector<std::string> plain{inputs[0]};
    EXPECT_FALSE(quol::ConvertGuard(plain, stop).isInput(other)); // nothing to look for
}

TEST_F(ConvertGuard, PlainFilesAreInputsByEveryName) {
    const std::vector<std::string> inputs{make("clip.mp4"), "tcp://127.0.0.1:1", ""};
    quol::ConvertGuard guard(inputs, stop);
    EXPECT_TRUE(guard.isInput(folder + "/other/../clip.mp4"));
    EXPECT_TRUE(guard.isInput("tcp://127.0.0.1:1"));
    EXPECT_FALSE(guard.isInput(make("clip2.mp4")));
}

} // namespace
