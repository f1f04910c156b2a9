// How threads share the processors.
#pragma once

namespace quol {

// Lets the calling thread, and those it starts from now on, give way to all others: work that need
// not be done in time. For good: a thread must not take its priority back without privileges.
void lowerThreadPriority();

} // namespace quol
