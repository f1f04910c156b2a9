// A copy of this process for what a process does not survive, or must not do to the others.
#pragma once

#include <sys/types.h>
#include <chrono>
#include <functional>
#include <optional>

namespace test {

// Made before the test starts a thread. The child runs `body` and leaves with what it returns, past
// every destructor of the parent's objects; an assertion of the test framework in it goes unheard.
class ChildProcess {
public:
    explicit ChildProcess(const std::function<int()>& body);
    // Kills what still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void signal(int number) const;
    // By SIGKILL, and waits for it.
    void kill();

    // What `body` returned; -1 when the child ended by a signal, nothing when it still runs.
    std::optional<int> wait(std::chrono::milliseconds limit = std::chrono::seconds(60));

private:
    pid_t pid_ = -1;
    std::optional<int> result_;
};

} // namespace test
