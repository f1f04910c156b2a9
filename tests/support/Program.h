// Another program, run by a test.
#pragma once

#include <sys/types.h>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace test {

// Runs from construction to destruction, which kills it. Its two output streams go into one file,
// and there is nothing on its input.
//
// To be made by a thread that lives as long as the program shall: the system ends the program with
// the thread that started it, so that none is left behind by a test that falls over.
class Program {
public:
    // The first word is a path, or a name that is looked for on PATH.
    explicit Program(const std::vector<std::string>& words);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t pid() const { return pid_; }
    void signal(int number) const;

    bool running() const;
    // Its exit status, -1 when it ended by a signal or could not be started; nothing while it runs
    // after that time.
    std::optional<int> wait(std::chrono::milliseconds limit = std::chrono::seconds(60)) const;

    // All that it wrote so far.
    std::string output() const;

private:
    pid_t pid_ = -1;
    int output_ = -1;
    mutable std::optional<int> result_;
};

// Runs it to its end and returns what it wrote to both streams; with another exit status than 0 the
// output ends with a line about it.
std::string outputOf(const std::vector<std::string>& words);

} // namespace test
