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
    EXPECT_TRUE(quol::isPlainFile(path));
    EXPECT_EQ(quol::readPlainFile(path), bytes);
    std::remove(path.c_str());
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

} // namespace
