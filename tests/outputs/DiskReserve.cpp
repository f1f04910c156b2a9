#include "outputs/DiskReserve.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <filesystem>
#include <fstream>

#include "support/CapturedStream.h"
#include "support/ChildProcess.h"
#include "support/SmallDisk.h"

namespace {

constexpr std::int64_t kilobyte = 1024;

struct stat statusOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0);
    return status;
}

// What the file takes of the disk, whatever its length.
std::int64_t bytesOnDisk(const std::string& path) {
    return statusOf(path).st_blocks * 512LL;
}

std::string fileOf(const std::string& name, std::size_t bytes) {
    const std::string path = test::temporaryPath(name);
    std::ofstream(path) << std::string(bytes, 'x');
    return path;
}

void append(const std::string& path, std::size_t bytes) {
    std::ofstream(path, std::ios::app) << std::string(bytes, 'x');
}

// Whether the file system of the temporary folder can set blocks aside at all.
bool canSetAside() {
    const std::string path = fileOf("tried", 1);
    const int descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    const int result = fallocate(descriptor, FALLOC_FL_KEEP_SIZE, 1, 64 * kilobyte);
    close(descriptor);
    return result == 0;
}

TEST(DiskReserve, WithoutAFileThereIsNothingToHold) {
    quol::DiskReserve reserve;
    EXPECT_TRUE(reserve.hold(0, 1000));
    reserve.release();
    reserve.open(test::temporaryPath("not_there"));
    EXPECT_TRUE(reserve.hold(0, 1000));
    EXPECT_FALSE(std::filesystem::exists(test::temporaryPath("not_there")));
}

TEST(DiskReserve, DeviceIsLeftAlone) {
    quol::DiskReserve reserve;
    reserve.open("/dev/null");
    EXPECT_TRUE(reserve.hold(0, 1000));
}

TEST(DiskReserve, FolderIsLeftAlone) {
    quol::DiskReserve reserve;
    reserve.open(std::filesystem::temp_directory_path().string());
    EXPECT_TRUE(reserve.hold(0, 1000));
}

TEST(DiskReserve, PipeThatNobodyReadsDoesNotHoldItUp) {
    const std::string path = test::temporaryPath("pipe");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    quol::DiskReserve reserve;
    reserve.open(path);
    EXPECT_TRUE(reserve.hold(0, 1000));
}

TEST(DiskReserve, HoldsRoomBehindTheEndWithoutChangingTheLength) {
    if (!canSetAside()) GTEST_SKIP() << "the temporary folder's file system sets nothing aside";
    const std::string path = fileOf("held", 1000);
    for (const std::string& name : {path, "file:" + path}) {
        quol::DiskReserve reserve;
        reserve.open(name);
        ASSERT_TRUE(reserve.hold(1000, 256 * kilobyte));
        EXPECT_EQ(statusOf(path).st_size, 1000);
        EXPECT_GE(bytesOnDisk(path), 256 * kilobyte) << name;
        reserve.release();
        EXPECT_LT(bytesOnDisk(path), 256 * kilobyte);
    }
}

TEST(DiskReserve, AsksForTwiceTheRoomAndThenNotForAWhile) {
    if (!canSetAside()) GTEST_SKIP() << "the temporary folder's file system sets nothing aside";
    const std::string path = fileOf("twice", 0);
    quol::DiskReserve reserve;
    reserve.open(path);
    ASSERT_TRUE(reserve.hold(0, 256 * kilobyte));
    const std::int64_t first = bytesOnDisk(path);
    EXPECT_GE(first, 512 * kilobyte);
    ASSERT_TRUE(reserve.hold(256 * kilobyte, 256 * kilobyte));
    EXPECT_EQ(bytesOnDisk(path), first);
    ASSERT_TRUE(reserve.hold(257 * kilobyte, 256 * kilobyte));
    EXPECT_GT(bytesOnDisk(path), first);
}

TEST(DiskReserve, ReleaseGivesBackWhatTheFileHasNotUsed) {
    if (!canSetAside()) GTEST_SKIP() << "the temporary folder's file system sets nothing aside";
    const std::string path = fileOf("released", 0);
    quol::DiskReserve reserve;
    reserve.open(path);
    ASSERT_TRUE(reserve.hold(0, 256 * kilobyte));
    append(path, 100 * kilobyte);
    reserve.release();
    EXPECT_EQ(statusOf(path).st_size, 100 * kilobyte);
    EXPECT_LT(bytesOnDisk(path), 200 * kilobyte);
    EXPECT_GE(bytesOnDisk(path), 100 * kilobyte);
}

TEST(DiskReserve, EndOfItsLifeAndAnotherFileReleaseToo) {
    if (!canSetAside()) GTEST_SKIP() << "the temporary folder's file system sets nothing aside";
    const std::string first = fileOf("first", 10);
    const std::string second = fileOf("second", 10);
    {
        quol::DiskReserve reserve;
        reserve.open(first);
        ASSERT_TRUE(reserve.hold(10, 256 * kilobyte));
        reserve.open(second);
        EXPECT_LT(bytesOnDisk(first), 64 * kilobyte);
        ASSERT_TRUE(reserve.hold(10, 256 * kilobyte));
        EXPECT_GE(bytesOnDisk(second), 256 * kilobyte);
    }
    EXPECT_LT(bytesOnDisk(second), 64 * kilobyte);
    EXPECT_EQ(statusOf(second).st_size, 10);
}

TEST(DiskReserve, FileThatGrewPastTheRoomKeepsAllItsBytes) {
    const std::string path = fileOf("past", 0);
    quol::DiskReserve reserve;
    reserve.open(path);
    ASSERT_TRUE(reserve.hold(0, 4 * kilobyte));
    append(path, 64 * kilobyte);
    reserve.release();
    EXPECT_EQ(statusOf(path).st_size, 64 * kilobyte);
}

// In a child process with a disk of its own: which step went wrong, 0 for none.
int holdOnSmallDisk(const std::string& folder) {
    if (!test::mountSmallDisk(folder, 1024 * kilobyte)) return 1;
    const std::string path = folder + "/file";
    std::ofstream(path) << "x";
    quol::DiskReserve reserve;
    reserve.open(path);
    if (!reserve.hold(1, 300 * kilobyte)) return 2;              // twice is to be had
    if (!reserve.hold(400 * kilobyte, 500 * kilobyte)) return 3; // once only
    if (reserve.hold(600 * kilobyte, 500 * kilobyte)) return 4;
    // What was held before is still there for the file's end.
    append(path, 850 * kilobyte);
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || status.st_size != 850 * kilobyte + 1) return 5;
    return 0;
}

TEST(DiskReserve, FullDiskRefusesButLeavesWhatWasHeld) {
    if (!test::canMountSmallDisk()) GTEST_SKIP() << "this system permits no small disk";
    const std::string folder = test::temporaryPath("small_disk");
    test::ChildProcess child([&folder] { return holdOnSmallDisk(folder); });
    EXPECT_EQ(child.wait(), 0);
}

} // namespace
