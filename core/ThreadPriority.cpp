#include "core/ThreadPriority.h"

#include <sys/resource.h>

#include <cerrno>
#include <future>
#include <system_error>

namespace quol {

// Linux keeps this value for each thread; 0 is the one that asks.
void lowerThreadPriority(ThreadPriority priority) {
    const int lowered = static_cast<int>(priority);
    errno = 0;
    const int current = getpriority(PRIO_PROCESS, 0);
    if (errno == 0 && current < lowered) setpriority(PRIO_PROCESS, 0, lowered);
}

void runAtPriority(ThreadPriority priority, const std::function<void()>& work) {
    std::future<void> done;
    try {
        done = std::async(std::launch::async, [&] {
            lowerThreadPriority(priority);
            work();
        });
    } catch (const std::system_error&) { // no thread to be had
        work();
        return;
    }
    done.get();
}

} // namespace quol
