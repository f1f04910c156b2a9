// Counts what the process asks of malloc's family, FFmpeg's own calls included: the program's
// definitions stand before those of the C library for every shared library it loads. operator new
// of the standard library ends in malloc too.
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "support/Measure.h"

// What glibc calls its own functions.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace {

std::atomic<std::uint64_t> calls{0};
std::atomic<std::uint64_t> bytes{0};

void count(std::size_t size) {
    calls.fetch_add(1, std::memory_order_relaxed);
    bytes.fetch_add(size, std::memory_order_relaxed);
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    count(size);
    return __libc_malloc(size);
}

void* calloc(std::size_t number, std::size_t size) {
    count(number * size);
    return __libc_calloc(number, size);
}

void* realloc(void* memory, std::size_t size) {
    count(size);
    return __libc_realloc(memory, size);
}

void free(void* memory) {
    __libc_free(memory);
}

int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    count(size);
    void* const made = __libc_memalign(alignment, size);
    if (made == nullptr) return ENOMEM;
    *memory = made;
    return 0;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    count(size);
    return __libc_memalign(alignment, size);
}

void* memalign(std::size_t alignment, std::size_t size) {
    count(size);
    return __libc_memalign(alignment, size);
}

} // extern "C"

namespace bench {

Allocations allocationsSoFar() {
    return {calls.load(std::memory_order_relaxed), bytes.load(std::memory_order_relaxed)};
}

} // namespace bench
