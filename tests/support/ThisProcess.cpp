#include "support/ThisProcess.h"

#include <malloc.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "support/CollectingSink.h"

// There only where a sanitizer has replaced the C library's allocator.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace test {

namespace {

int entriesOf(const char* folder) {
    const std::filesystem::directory_iterator entries(folder);
    return static_cast<int>(std::distance(begin(entries), end(entries)));
}

} // namespace

int threadsOfThisProcess() {
    return entriesOf("/proc/self/task");
}

int threadsWhenIdle() {
    int threads = 0;
    std::thread([&threads] { threads = threadsOfThisProcess() - 1; }).join();
    return threads;
}

bool endsWithThreads(int count) {
    return waitUntil([count] { return threadsOfThisProcess() <= count; });
}

int threadsOfPriority(int priority) {
    constexpr int fieldsBetween = 16; // from the state, the third, up to the eighteenth
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "stat");
        std::string field;
        std::getline(status, field, ')'); // the number and the name
        for (int i = 0; i < fieldsBetween; ++i)
            status >> field;
        int value = 0;
        if (status >> value && value == priority) ++count;
    }
    return count;
}

int descriptorsOfThisProcess() {
    return entriesOf("/proc/self/fd");
}

std::size_t heapOfThisProcess() {
    if (__sanitizer_get_current_allocated_bytes != nullptr)
        return __sanitizer_get_current_allocated_bytes();
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

long residentKiB() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word != "VmRSS:") continue;
        long value = 0;
        status >> value;
        return value;
    }
    return -1;
}

} // namespace test
