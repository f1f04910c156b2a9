#include "core/ThreadPriority.h"

#include <sys/resource.h>

#include <cerrno>

namespace quol {

namespace {

// About a tenth of what an ordinary thread gets on a busy processor. The lowest value would keep a
// full machine from ever finishing.
constexpr int lowPriority = 10;

} // namespace

// Linux keeps this value for each thread; 0 is the one that asks.
void lowerThreadPriority() {
    errno = 0;
    const int current = getpriority(PRIO_PROCESS, 0);
    if (errno == 0 && current < lowPriority) setpriority(PRIO_PROCESS, 0, lowPriority);
}

} // namespace quol
