#include "core/PlainFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

std::string pathOf(const std::string& name) {
    return testing::TempDir() + "plain_" + std::to_string(getpid()) + "_" + name;
}

TEST(PlainFile, IsReadToTheLastByte) {
    const std::string path = pathOf("bytes");
    const std::string bytes("one\r\n\0two\xff", 10);
    std::ofstream(path, std::ios::binary) << bytes;
    for (const std::string& name : {path, "file:" + path}) {
        EXPECT_TRUE(quol::isPlainFile(name)) << name;
        EXPECT_EQ(quol::readPlainFile(name), bytes) << name;
        EXPECT_EQ(quol::fileSize(name), 10) << name;
    }
    std::remove(path.c_str());
    EXPECT_EQ(quol::fileSize(path), 0);
}

TEST(PlainFile, SchemeIsLeftOffOnceAndNoOther) {
    EXPECT_EQ(quol::withoutScheme("file:/folder/clip.mp4"), "/folder/clip.mp4");
    EXPECT_EQ(quol::withoutScheme("file:file:clip.mp4"), "file:clip.mp4");
    for (const std::string path : {"/folder/file:clip.mp4", "clip.mp4", "http://host/clip.mp4", ""})
        EXPECT_EQ(quol::withoutScheme(path), path);
}

TEST(PlainFile, MayBeEmpty) {
    const std::string path = pathOf("empty");
    std::ofstream(path, std::ios::binary).flush();
    EXPECT_EQ(quol::readPlainFile(path), "");
    std::remove(path.c_str());
}

TEST(PlainFile, IsNoFolderPipeOrDevice) {
    const std::string pipe = pathOf("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path :
         {pipe, testing::TempDir(), std::string("/dev/zero"), pathOf("missing"), std::string()}) {
        EXPECT_FALSE(quol::isPlainFile(path)) << path;
        EXPECT_EQ(quol::readPlainFile(path), std::nullopt) << path;
    }
    std::remove(pipe.c_str());
}

TEST(IsEndless, IsTrueForPipesSocketsAndDevices) {
    const std::string pipe = pathOf("endless");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path :
         {pipe, "file:" + pipe, std::string("/dev/zero"), std::string("pipe:"),
          std::string("pipe:1"), std::string("fd:3")})
        EXPECT_TRUE(quol::isEndless(path)) << path;
    std::remove(pipe.c_str());
}

TEST(IsEndless, IsFalseForFilesFoldersAndWhatIsNotThere) {
    const std::string file = pathOf("file");
    std::ofstream(file).flush();
    for (const std::string& path : {file, "file:" + file, testing::TempDir(), pathOf("missing"),
                                    std::string(), std::string("http://host/pipe:")})
        EXPECT_FALSE(quol::isEndless(path)) << path;
    std::remove(file.c_str());
}

TEST(FileIdentity, IsThatOfTheFileAndNotOfItsName) {
    const std::string file = pathOf("one");
    const std::string other = pathOf("other");
    const std::string symbolic = pathOf("symbolic");
    const std::string hard = pathOf("hard");
    std::ofstream(file).flush();
    std::ofstream(other).flush();
    ASSERT_EQ(symlink(file.c_str(), symbolic.c_str()), 0);
    ASSERT_EQ(link(file.c_str(), hard.c_str()), 0);
    const auto identity = quol::fileIdentity(file);
    ASSERT_TRUE(identity);
    for (const std::string& name : {"file:" + file, symbolic, hard})
        EXPECT_EQ(quol::fileIdentity(name), identity) << name;
    EXPECT_NE(quol::fileIdentity(other), identity);
    EXPECT_EQ(quol::fileIdentity(pathOf("missing")), std::nullopt);
    for (const std::string& path : {file, other, symbolic, hard})
        std::remove(path.c_str());
}

} // namespace
