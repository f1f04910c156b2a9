#include "core/CallThread.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include "support/NoThreads.h"

namespace {

std::thread::id threadOf(quol::CallThread& thread) {
    std::thread::id id;
    thread.call([&] { id = std::this_thread::get_id(); });
    return id;
}

TEST(CallThread, MakesAllCallsOnOneThreadThatIsNoCallers) {
    quol::CallThread thread;
    const std::thread::id id = threadOf(thread);
    EXPECT_NE(id, std::this_thread::get_id());
    EXPECT_EQ(threadOf(thread), id);
    std::thread other([&] {
        EXPECT_EQ(threadOf(thread), id);
        EXPECT_NE(std::this_thread::get_id(), id);
    });
    other.join();
    quol::CallThread another;
    EXPECT_NE(threadOf(another), id);
}

TEST(CallThread, HasMadeACallWhenItReturns) {
    quol::CallThread thread;
    int calls = 0; // plain memory: seen on both threads
    for (int i = 0; i < 1000; ++i) {
        thread.call([&] { ++calls; });
        ASSERT_EQ(calls, i + 1);
    }
}

TEST(CallThread, WhatACallThrowsIsThrownAndTheNextIsMade) {
    quol::CallThread thread;
    EXPECT_THROW(thread.call([] { throw std::out_of_range("far"); }), std::out_of_range);
    int calls = 0;
    EXPECT_NO_THROW(thread.call([&] { ++calls; }));
    EXPECT_EQ(calls, 1);
}

TEST(CallThread, EndsWithoutACall) {
    for (int i = 0; i < 100; ++i)
        const quol::CallThread thread;
}

TEST(CallThread, IsNoneWhereThereIsNoThread) {
    std::optional<quol::CallThread> thread;
    {
        const test::NoThreads none;
        ASSERT_TRUE(none.works());
        EXPECT_THROW(thread.emplace(), std::system_error);
    }
    EXPECT_NO_THROW(thread.emplace());
    EXPECT_NE(threadOf(*thread), std::this_thread::get_id());
}

} // namespace
