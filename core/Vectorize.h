// One source, compiled for the processor that runs it.
#pragma once

// Marks a function that is a plain loop over samples: the compiler makes a second copy of it with
// wider vectors, and the loader takes the one that the processor can run. Both give the same result
// to the last bit: contraction is off and the loops are integer, or float without a sum over
// rounds. The sanitizers cannot follow the choice the loader makes, so their builds have one copy.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && \
    !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define QUOL_VECTORIZED __attribute__((target_clones("avx2", "default")))
#else
#define QUOL_VECTORIZED
#endif
