// What the process of the test has, as the system counts it.
#pragma once

namespace test {

int threadsOfThisProcess();

// Where nothing runs. Asked for with a thread that is certain to be there: one that has just ended
// may be counted or not.
int threadsWhenIdle();

// Waits until there are that many threads or fewer; false when the limit has passed.
bool endsWithThreads(int count);

int descriptorsOfThisProcess();

// Memory of this process that lies in the machine's, in KiB; -1 when that is not told.
long residentKiB();

} // namespace test
