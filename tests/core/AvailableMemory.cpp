#include "core/AvailableMemory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>

#include "support/CapturedStream.h"

namespace {

using quol::availableMemory;
using quol::MemoryBudget;

constexpr std::uint64_t mebibyte = 1024 * 1024;
constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

// A folder with the files that the kernel would show.
class Machine {
public:
    Machine() {
        static int number = 0;
        root = test::temporaryPath("machine" + std::to_string(number++));
        std::filesystem::create_directories(root);
    }
    void write(const std::string& path, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(root + path).parent_path());
        std::ofstream(root + path) << text;
    }
    void available(std::uint64_t mebibytes) const {
        write("/proc/meminfo", "MemTotal:       99999999 kB\nMemFree:  1 kB\nMemAvailable:   " +
                                   std::to_string(mebibytes * 1024) + " kB\n");
    }
    std::uint64_t left() const { return availableMemory(root) / mebibyte; }

    std::string root;
};

std::string bytes(std::uint64_t mebibytes) {
    return std::to_string(mebibytes * mebibyte) + "\n";
}

TEST(AvailableMemory, ThisMachineHasSome) {
    EXPECT_GT(availableMemory(), mebibyte);
    EXPECT_LT(availableMemory(), unlimited);
}

TEST(AvailableMemory, IsUnlimitedWhereNothingTells) {
    EXPECT_EQ(availableMemory(Machine().root), unlimited);
}

TEST(AvailableMemory, IsWhatTheMachineHasLeft) {
    const Machine machine;
    machine.available(1234);
    EXPECT_EQ(machine.left(), 1234U);
}

TEST(AvailableMemory, ALimitOfTheGroupCounts) {
    const Machine machine;
    machine.available(8000);
    machine.write("/proc/self/cgroup", "0::/slice/unit\n");
    machine.write("/sys/fs/cgroup/slice/unit/memory.max", bytes(1000));
    machine.write("/sys/fs/cgroup/slice/unit/memory.current", bytes(400));
    EXPECT_EQ(machine.left(), 600U);
}

TEST(AvailableMemory, ALimitOfAGroupAboveCounts) {
    const Machine machine;
    machine.available(8000);
    machine.write("/proc/self/cgroup", "0::/slice/unit\n");
    machine.write("/sys/fs/cgroup/slice/unit/memory.max", "max\n");
    machine.write("/sys/fs/cgroup/slice/unit/memory.current", bytes(400));
    machine.write("/sys/fs/cgroup/slice/memory.max", bytes(2000));
    machine.write("/sys/fs/cgroup/slice/memory.current", bytes(1700));
    EXPECT_EQ(machine.left(), 300U);
}

TEST(AvailableMemory, AContainersOwnGroupIsTheTop) {
    const Machine machine;
    machine.available(8000);
    machine.write("/proc/self/cgroup", "0::/not/shown/inside\n");
    machine.write("/sys/fs/cgroup/memory.max", bytes(500));
    machine.write("/sys/fs/cgroup/memory.current", bytes(100));
    EXPECT_EQ(machine.left(), 400U);
}

TEST(AvailableMemory, TheMachinesOwnShortageCountsBesideALimit) {
    const Machine machine;
    machine.available(50);
    machine.write("/proc/self/cgroup", "0::/\n");
    machine.write("/sys/fs/cgroup/memory.max", bytes(500));
    machine.write("/sys/fs/cgroup/memory.current", bytes(100));
    EXPECT_EQ(machine.left(), 50U);
}

TEST(AvailableMemory, FilesReadEarlierCountAsLeft) {
    const Machine machine;
    machine.available(8000);
    machine.write("/proc/self/cgroup", "0::/\n");
    machine.write("/sys/fs/cgroup/memory.max", bytes(1000));
    machine.write("/sys/fs/cgroup/memory.current", bytes(900));
    machine.write("/sys/fs/cgroup/memory.stat",
                  "anon 5\ninactive_file " + bytes(200) + "active_file " + bytes(100));
    EXPECT_EQ(machine.left(), 350U);
}

TEST(AvailableMemory, TheOlderGroupsAreUnderstood) {
    const Machine machine;
    machine.available(8000);
    machine.write("/proc/self/cgroup", "9:name=systemd:/\n4:cpu,memory:/unit\n0::/\n");
    machine.write("/sys/fs/cgroup/memory/unit/memory.limit_in_bytes", bytes(700));
    machine.write("/sys/fs/cgroup/memory/unit/memory.usage_in_bytes", bytes(300));
    machine.write("/sys/fs/cgroup/memory/unit/memory.stat",
                  "inactive_file 1\ntotal_inactive_file " + bytes(50));
    machine.write("/sys/fs/cgroup/memory/memory.limit_in_bytes", "9223372036854771712\n");
    machine.write("/sys/fs/cgroup/memory/memory.usage_in_bytes", bytes(300));
    EXPECT_EQ(machine.left(), 450U);
}

TEST(AvailableMemory, AGroupBeyondItsLimitHasNothingLeft) {
    const Machine machine;
    machine.available(8000);
    machine.write("/proc/self/cgroup", "0::/\n");
    machine.write("/sys/fs/cgroup/memory.max", bytes(100));
    machine.write("/sys/fs/cgroup/memory.current", bytes(120));
    EXPECT_EQ(machine.left(), 0U);
}

TEST(MemoryBudget, LeavesAQuarterOfWhatThereWas) {
    MemoryBudget budget([] { return 400 * mebibyte; });
    EXPECT_EQ(budget.left(), 300 * mebibyte);
    EXPECT_FALSE(budget.take(300 * mebibyte + 1));
    EXPECT_TRUE(budget.take(300 * mebibyte));
}

TEST(MemoryBudget, LeavesSixtyFourMebibytesAtLeast) {
    MemoryBudget budget([] { return 80 * mebibyte; });
    EXPECT_EQ(budget.left(), 16 * mebibyte);
    MemoryBudget none([] { return 50 * mebibyte; });
    EXPECT_EQ(none.left(), 0U);
    EXPECT_FALSE(none.take(1));
    EXPECT_TRUE(none.take(0));
}

TEST(MemoryBudget, EndsWhereTheMemoryEnds) {
    std::uint64_t available = 400 * mebibyte;
    MemoryBudget budget([&] { return available; });
    std::uint64_t taken = 0;
    while (budget.take(mebibyte)) {
        taken += mebibyte;
        available -= mebibyte; // it is used
    }
    EXPECT_EQ(taken, 300 * mebibyte);
}

TEST(MemoryBudget, SeesWhatOthersTake) {
    std::uint64_t available = 400 * mebibyte;
    MemoryBudget budget([&] { return available; });
    EXPECT_TRUE(budget.take(50 * mebibyte));
    available = 120 * mebibyte;
    EXPECT_FALSE(budget.take(50 * mebibyte));
    available = 200 * mebibyte;
    EXPECT_TRUE(budget.take(50 * mebibyte));
}

TEST(MemoryBudget, UnlimitedMemoryIsNoEnd) {
    MemoryBudget budget([] { return unlimited; });
    EXPECT_TRUE(budget.take(1ULL << 62U));
}

} // namespace
