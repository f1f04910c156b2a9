// Memory that runs short when a test says so. It replaces the operators of the whole program, so
// that no more than one file of a program may include it.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace test {

// Every so many-th allocation fails, 0 for none; not on threads that are spared.
inline std::atomic<int> failEvery = 0;
inline std::atomic<unsigned> allocations = 0;
inline std::atomic<int> failures = 0;
inline thread_local bool isSpared = false;

// The calling thread's allocation after so many others fails, and no other; below zero none.
inline thread_local int failAfter = -1;

// The largest allocation asked for by anyone.
inline std::atomic<std::size_t> largestAllocation = 0;

inline bool isAllocationToFail() {
    const int every = failEvery;
    const bool isNext = every > 0 && !isSpared && allocations++ % static_cast<unsigned>(every) == 0;
    return (failAfter >= 0 && failAfter-- == 0) || isNext;
}

// Of what other threads allocate from now on one fails: the first for 0, the second for 1 ... For
// as long as the caller is spared.
inline void refuseOneOfThoseToCome(int number) {
    constexpr int never = 1000000;
    allocations = static_cast<unsigned>(never - number);
    failEvery = never;
}

} // namespace test

[[gnu::noinline]] void* operator new(std::size_t size) {
    std::size_t largest = test::largestAllocation;
    while (size > largest && !test::largestAllocation.compare_exchange_weak(largest, size)) {
    }
    if (test::isAllocationToFail()) {
        ++test::failures;
        throw std::bad_alloc();
    }
    void* memory = std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t& /*quiet*/) noexcept {
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

[[gnu::noinline]] void* operator new[](std::size_t size) {
    return operator new(size);
}

[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t& quiet) noexcept {
    return operator new(size, quiet);
}

[[gnu::noinline]] void operator delete[](void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
