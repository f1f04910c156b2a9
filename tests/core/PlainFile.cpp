#include "core/PlainFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "support/ChildProcess.h"
#include "support/SmallDisk.h"

namespace {

using quol::Written;

std::string pathOf(const std::string& name) {
    return testing::TempDir() + "plain_" + std::to_string(getpid()) + "_" + name;
}

// What lies beside a file under a name that begins with its own.
std::vector<std::string> partsOf(const std::string& path) {
    std::vector<std::string> parts;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(path).parent_path())) {
        const std::string name = entry.path().string();
        if (name.starts_with(path) && name != path) parts.push_back(name);
    }
    return parts;
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

TEST(WrittenFile, IsThereToTheLastByteInPlaceOfTheOneBefore) {
    const std::string path = pathOf("written");
    const std::string bytes("one\r\n\0two\xff", 10);
    EXPECT_EQ(quol::writeFile(path, bytes), Written::yes);
    EXPECT_EQ(quol::readPlainFile(path), bytes);
    EXPECT_EQ(quol::writeFile("file:" + path, "2"), Written::yes);
    EXPECT_EQ(quol::readPlainFile(path), "2");
    EXPECT_EQ(quol::writeFile(path, ""), Written::yes);
    EXPECT_EQ(quol::readPlainFile(path), "");
    EXPECT_TRUE(partsOf(path).empty());
    std::remove(path.c_str());
}

TEST(WrittenFile, KeepsItsPermissionsAndTheLinksToIt) {
    const std::string path = pathOf("kept");
    const std::string link = pathOf("link");
    std::ofstream(path) << "before";
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    ASSERT_EQ(symlink(path.c_str(), link.c_str()), 0);
    EXPECT_EQ(quol::writeFile(link, "behind"), Written::yes);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(quol::readPlainFile(path), "behind");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
    std::remove(path.c_str());
    EXPECT_EQ(quol::writeFile(link, "through a link to nothing"), Written::yes);
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_EQ(quol::readPlainFile(path), "through a link to nothing");
    std::remove(link.c_str());
    std::remove(path.c_str());
}

TEST(WrittenFile, MayHaveTheLongestNameThereIs) {
    const std::string path = testing::TempDir() + std::string(NAME_MAX, 'x');
    EXPECT_EQ(quol::writeFile(path, "long"), Written::yes);
    EXPECT_EQ(quol::readPlainFile(path), "long");
    std::remove(path.c_str());
}

TEST(WrittenFile, WhatIsNoFileOnADiskIsWrittenWhereItIs) {
    const std::string pipe = pathOf("written_pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(quol::writeFile(pipe, "bytes"), Written::yes);
    char got[8]{};
    EXPECT_EQ(read(reader, got, sizeof got), 5);
    EXPECT_STREQ(got, "bytes");
    close(reader);
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    std::remove(pipe.c_str());
    EXPECT_EQ(quol::writeFile("/dev/full", "bytes"), Written::noRoom);
    EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST(WrittenFile, NeedsAPlaceWhereAFileCanBe) {
    for (const std::string& path :
         {testing::TempDir(), pathOf("no folder/file"), std::string(), std::string("/proc/none")})
        EXPECT_EQ(quol::writeFile(path, "bytes"), Written::noFile) << path;
}

TEST(WrittenFile, IsWholeForWhoeverReadsItMeanwhile) {
    const std::string path = pathOf("whole");
    const std::string first(300000, 'a');
    const std::string second(300000, 'b');
    ASSERT_EQ(quol::writeFile(path, first), Written::yes);
    std::atomic<int> writers{2};
    const auto write = [&](const std::string& bytes) {
        for (int i = 0; i < 100; ++i)
            EXPECT_EQ(quol::writeFile(path, bytes), Written::yes);
        --writers;
    };
    std::thread one(write, first);
    std::thread other(write, second);
    while (writers > 0) {
        const auto seen = quol::readPlainFile(path);
        EXPECT_TRUE(seen == first || seen == second);
    }
    one.join();
    other.join();
    std::remove(path.c_str());
}

// In a child process with a small disk of its own: which step went wrong, 0 for none.
int writeOntoSmallDisk(const std::string& folder) {
    if (!test::mountSmallDisk(folder, 256L * 1024)) return 1;
    const std::string path = folder + "/file";
    const std::string kept(100000, 'k');
    if (quol::writeFile(path, kept) != Written::yes) return 2;
    if (quol::writeFile(path, std::string(300000, 'x')) != Written::noRoom) return 3;
    if (quol::readPlainFile(path) != kept) return 4;
    return partsOf(path).empty() ? 0 : 5;
}

TEST(WrittenFile, AFullDiskLeavesTheOneThatWasThere) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "this system permits no small disk";
    const std::string folder = pathOf("small_disk");
    test::ChildProcess child([&folder] { return writeOntoSmallDisk(folder); });
    EXPECT_EQ(child.wait(std::chrono::seconds(60)), 0);
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
