#include "soak/ProcessState.h"

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include "support/ThisProcess.h"

namespace soak {

namespace {

constexpr double megabyte = 1024.0 * 1024.0;

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

void tellMachine(ProcessState& state) {
    std::ifstream file("/proc/stat");
    std::string name;
    double user = 0.0;
    double nice = 0.0;
    double system = 0.0;
    double idle = 0.0;
    double waiting = 0.0;
    double interrupts = 0.0;
    double softInterrupts = 0.0;
    double stolen = 0.0;
    file >> name >> user >> nice >> system >> idle >> waiting >> interrupts >> softInterrupts >>
        stolen;
    const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
    state.machineSeconds = (user + nice + system + interrupts + softInterrupts) / ticks;
    state.stolenSeconds = stolen / ticks;
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
    state.heapMb = static_cast<double>(test::heapOfThisProcess()) / megabyte;
    state.threads = entriesOf("/proc/self/task");
    state.descriptors = entriesOf("/proc/self/fd") - 1; // the folder itself was open
    state.cpuSeconds = cpuNow();
    tellMachine(state);
    std::ifstream("/proc/loadavg") >> state.load;
    state.crowdedSeconds = crowdedNow();
    return state;
}

double stolenSeconds() {
    ProcessState state;
    tellMachine(state);
    return state.stolenSeconds;
}

} // namespace soak
