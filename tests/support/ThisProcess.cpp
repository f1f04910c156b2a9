#include "support/ThisProcess.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "support/CollectingSink.h"

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

int descriptorsOfThisProcess() {
    return entriesOf("/proc/self/fd");
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
