// Runs every test case of the program in a process of its own, forked from one that is ready to
// begin. Under the thread sanitizer a program takes longer to begin than most cases last, so one
// start has to do for all of them; and in one process they would meet each other's locks, as of two
// mutexes that lay one after the other in the same place the sanitizer knows one.
//
// Takes the place of googletest's own main. Asked for some cases by --gtest_filter, or for their
// list, it does what that one does.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

namespace {

// A measurement that is made again because the machine was away (support/MachineWatch.h) takes a
// slow one a third of it.
constexpr std::chrono::milliseconds longest = std::chrono::seconds(400);

std::vector<std::string> allCases() {
    std::vector<std::string> names;
    const auto& unit = *testing::UnitTest::GetInstance();
    for (int s = 0; s < unit.total_test_suite_count(); ++s) {
        const auto& suite = *unit.GetTestSuite(s);
        for (int i = 0; i < suite.total_test_count(); ++i) {
            names.push_back(std::string(suite.name()) + "." + suite.GetTestInfo(i)->name());
        }
    }
    return names;
}

bool ranWell(pid_t child) {
    // By its number: one version of the C library declares the function without giving it C
    // linkage.
    pollfd end{static_cast<int>(syscall(SYS_pidfd_open, child, 0)), POLLIN, 0};
    if (poll(&end, 1, static_cast<int>(longest.count())) != 1) {
        std::fputs("It was ended, as it took too long.\n", stderr);
        kill(child, SIGKILL);
    }
    close(end.fd);
    int status = -1;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        std::fprintf(stderr, "Ended by signal %d.\n", WTERMSIG(status));
    }
    return status == 0;
}

} // namespace

int main(int count, char** words) {
    testing::InitGoogleTest(&count, words);
    if (GTEST_FLAG_GET(filter) != "*" || GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    std::vector<std::string> failed;
    const auto cases = allCases();
    for (const auto& name : cases) {
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            GTEST_FLAG_SET(filter, name);
            return RUN_ALL_TESTS();
        }
        if (child < 0 || !ranWell(child)) {
            failed.push_back(name);
        }
    }
    std::printf("%zu test cases, each in a process of its own; %zu failed\n", cases.size(),
                failed.size());
    for (const auto& name : failed) {
        std::printf("[  FAILED  ] %s\n", name.c_str());
    }
    return failed.empty() && !cases.empty() ? 0 : 1;
}
