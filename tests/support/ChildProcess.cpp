#include "support/ChildProcess.h"

#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>

#include "support/CollectingSink.h"

namespace test {

ChildProcess::ChildProcess(const std::function<int()>& body) {
    std::fflush(nullptr); // or the child writes it once more
    pid_ = fork();
    if (pid_ == 0) {
        const int result = body();
        std::fflush(nullptr);
        _exit(result);
    }
}

ChildProcess::~ChildProcess() {
    kill();
}

void ChildProcess::signal(int number) const {
    if (pid_ > 0 && !result_) ::kill(pid_, number);
}

void ChildProcess::kill() {
    if (pid_ <= 0 || result_) return;
    ::kill(pid_, SIGKILL);
    wait();
}

std::optional<int> ChildProcess::wait(std::chrono::milliseconds limit) {
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

} // namespace test
