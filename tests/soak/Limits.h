// What a run is judged by.
#pragma once

#include "support/Instrumented.h"

namespace soak {

// Under a sanitizer everything takes many times as long, and freed memory is kept: clock and memory
// are shown, not judged. So they are in a short run, which would judge the machine more than the
// library: a minute is not long enough for a slow one to come to rest.
using test::isInstrumented;

inline constexpr double longRunSeconds = 600.0;
// Growth is looked for over the last two thirds.
// MB an hour, of what is asked for and not given back. To lose the bare record of each picture of
// the programme, some 500 bytes, would be 43 MB an hour; one picture a minute, 83.
inline constexpr double heapGrowth = 12.0;
// MB an hour. Pages that the allocator keeps come and go with the threads that freed last.
inline constexpr double residentGrowth = 36.0;

// Of the programme's pictures, how many may come a whole period late, when the next one is due
// already, though nothing that makes them has waited for a processor for what they are late beyond
// that; and how many in all, where something or other had to wait for less than a fifth of the
// time.
inline constexpr double lateShare = 0.0002;
inline constexpr double lateShareInAll = 0.005;
inline constexpr double quietShare = 0.2;

// Of the machine's processors, what the library may take in the mean: on a machine that has no more
// than this programme takes, no deadline says anything.
inline constexpr double processorShare = 0.9;

// Milliseconds. A quick call waits for the picture in the making, and for the calls before it; a
// slow one for a server (five seconds), an encoder, a disk.
inline constexpr double quickP99 = 80.0;
inline constexpr double quickWorst = 1000.0;
inline constexpr double slowWorst = 8000.0;
// On a machine that is crowded for more than `quietShare` all three are so many times longer.
inline constexpr double crowdedFactor = 10.0;

// Seconds after which a call counts as hanging.
inline constexpr double hangSeconds = isInstrumented ? 400.0 : 90.0;

} // namespace soak
