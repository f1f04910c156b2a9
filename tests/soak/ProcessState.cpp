#include "soak/ProcessState.h"

#include <dirent.h>
#include <malloc.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <string>

// There only where a sanitizer has replaced the C library's allocator.
extern "C" __attribute__((weak)) std::size_t __sanitizer_get_current_allocated_bytes();

namespace soak {

namespace {

constexpr double megabyte = 1024.0 * 1024.0;

double heapNow() {
    if (__sanitizer_get_current_allocated_bytes != nullptr)
        return static_cast<double>(__sanitizer_get_current_allocated_bytes()) / megabyte;
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / megabyte;
}

int entriesOf(const char* folder) {
    DIR* const opened = opendir(folder);
    if (opened == nullptr) return 0;
    int count = 0;
    while (const dirent* const entry = readdir(opened))
        count += entry->d_name[0] != '.' ? 1 : 0;
    closedir(opened);
    return count;
}

double cpuNow() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double machineNow() {
    std::ifstream file("/proc/stat");
    std::string name;
    double user = 0.0;
    double nice = 0.0;
    double system = 0.0;
    double idle = 0.0;
    double waiting = 0.0;
    double interrupts = 0.0;
    double softInterrupts = 0.0;
    file >> name >> user >> nice >> system >> idle >> waiting >> interrupts >> softInterrupts;
    return (user + nice + system + interrupts + softInterrupts) /
           static_cast<double>(sysconf(_SC_CLK_TCK));
}

double residentNow() {
    std::ifstream file("/proc/self/statm");
    long total = 0;
    long resident = 0;
    file >> total >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / megabyte;
}

double crowdedNow() {
    std::ifstream file("/proc/pressure/cpu");
    for (std::string word; file >> word;)
        if (word.starts_with("total=")) return std::stod(word.substr(6)) * 1e-6;
    return 0.0;
}

} // namespace

ProcessState processState() {
    ProcessState state;
    state.residentMb = residentNow();
    state.heapMb = heapNow();
    state.threads = entriesOf("/proc/self/task");
    state.descriptors = entriesOf("/proc/self/fd") - 1; // the folder itself was open
    state.cpuSeconds = cpuNow();
    state.machineSeconds = machineNow();
    std::ifstream("/proc/loadavg") >> state.load;
    state.crowdedSeconds = crowdedNow();
    return state;
}

} // namespace soak
