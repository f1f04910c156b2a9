// What the process of the test has, as the system counts it.
#pragma once

#include <cstddef>

namespace test {

int threadsOfThisProcess();

// Where nothing runs. Asked for with a thread that is certain to be there: one that has just ended
// may be counted or not.
int threadsWhenIdle();

// Waits until there are that many threads or fewer; false when the limit has passed.
bool endsWithThreads(int count);

// How many of them have that priority: 0 is the one of an ordinary thread, those above give way.
int threadsOfPriority(int priority);

int descriptorsOfThisProcess();

// Bytes that the allocator has given out and that are not back yet, large blocks included; under a
// sanitizer too.
std::size_t heapOfThisProcess();

// Memory of this process that lies in the machine's, in KiB; -1 when that is not told.
long residentKiB();

} // namespace test
