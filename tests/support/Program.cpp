#include "support/Program.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>

#include "support/CollectingSink.h"

namespace test {

Program::Program(const std::vector<std::string>& words) {
    // All memory is taken here: between fork and exec there is none to be had.
    std::vector<char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    char name[] = "/tmp/quolsdk-program-XXXXXX";
    output_ = mkostemp(name, O_CLOEXEC | O_APPEND);
    unlink(name);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    const pid_t parent = getpid();
    pid_ = fork();
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(127); // it had ended before
        dup2(nothing, STDIN_FILENO);
        dup2(output_, STDOUT_FILENO);
        dup2(output_, STDERR_FILENO);
        execvp(arguments.front(), arguments.data());
        _exit(127);
    }
    close(nothing);
}

Program::~Program() {
    if (running()) {
        signal(SIGKILL);
        wait();
    }
    if (output_ >= 0) close(output_);
}

void Program::signal(int number) const {
    if (running()) kill(pid_, number);
}

bool Program::running() const {
    return !wait(std::chrono::milliseconds(0)).has_value();
}

std::optional<int> Program::wait(std::chrono::milliseconds limit) const {
    if (pid_ <= 0) return -1;
    waitUntil(
        [this] {
            int status = 0;
            if (!result_ && waitpid(pid_, &status, WNOHANG) == pid_) {
                result_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            return result_.has_value();
        },
        limit);
    return result_;
}

std::string Program::output() const {
    std::string all;
    char part[4096];
    ssize_t got = 0;
    while ((got = pread(output_, part, sizeof part, static_cast<off_t>(all.size()))) > 0)
        all.append(part, static_cast<std::size_t>(got));
    return all;
}

std::string outputOf(const std::vector<std::string>& words) {
    const Program program(words);
    const auto result = program.wait();
    std::string output = program.output();
    if (result != 0) {
        output += "[" + words.front() + ": " +
                  (result ? "exit status " + std::to_string(*result) : "did not end") + "]\n";
    }
    return output;
}

} // namespace test
