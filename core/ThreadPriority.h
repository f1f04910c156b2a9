// How threads share the processors.
#pragma once

#include <functional>

namespace quol {

// From the one of an ordinary thread, which makes what is due on air, down.
enum class ThreadPriority {
    // For what encodes or only shows what is on air, and for work whose end a host may wait for. A
    // third of what an ordinary thread gets on a full processor.
    behindAir = 5,
    // For work that nobody waits for. A tenth; the lowest value there is would keep a full machine
    // from ever finishing.
    spareTime = 10,
};

// Lets the calling thread, and those it starts from now on, give way to those above it; one that is
// lower already stays where it is. For good: a thread must not take its priority back without
// privileges.
void lowerThreadPriority(ThreadPriority priority);

// Does `work` on a thread of that priority and waits for its end, so that the threads it starts
// have that priority and the caller keeps its own. On the caller's thread where no other is to be
// had. What `work` throws, the caller gets.
void runAtPriority(ThreadPriority priority, const std::function<void()>& work);

} // namespace quol
