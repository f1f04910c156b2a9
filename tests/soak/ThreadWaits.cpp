#include "soak/ThreadWaits.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace soak {

namespace {

// How a file of the system begins; empty where there is none. Without a buffer of the C library:
// some fifty are read for each picture.
std::string beginOf(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) return {};
    char text[256];
    const ssize_t got = read(file, text, sizeof text);
    close(file);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(got, 0))};
}

} // namespace

ThreadWaits::ThreadWaits() : ordinary_(getpriority(PRIO_PROCESS, 0)) {
    longest();
}

double ThreadWaits::longest() {
    DIR* const folder = opendir("/proc/self/task");
    if (folder == nullptr) return 0.0;
    std::map<int, double> now;
    double longest = 0.0;
    while (const dirent* const entry = readdir(folder)) {
        const int thread = std::atoi(entry->d_name);
        if (thread == 0 || getpriority(PRIO_PROCESS, static_cast<id_t>(thread)) > ordinary_)
            continue;
        long long ran = 0;
        long long waited = 0; // nanoseconds
        const std::string text =
            beginOf(std::string("/proc/self/task/") + entry->d_name + "/schedstat");
        if (std::sscanf(text.c_str(), "%lld %lld", &ran, &waited) != 2) continue;
        const double seconds = static_cast<double>(waited) * 1e-9;
        now[thread] = seconds;
        const auto before = waited_.find(thread);
        longest = std::max(longest, before == waited_.end() ? seconds : seconds - before->second);
    }
    closedir(folder);
    waited_ = std::move(now);
    return longest;
}

} // namespace soak
