// Helper threads of one worker, for jobs that fall into independent parts.
#pragma once

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace quol {

// The threads start with the first job that has use for them, sleep between jobs and are joined at
// the end. Used by one thread, its owner's.
class WorkerTeam {
public:
    // `helpers` beside the caller.
    explicit WorkerTeam(int helpers) : helpers_(helpers) {}
    WorkerTeam(const WorkerTeam&) = delete;
    WorkerTeam& operator=(const WorkerTeam&) = delete;
    ~WorkerTeam();

    // As many helpers as there are processors beside the caller's, three at most: what is shared
    // out here is bound by memory, which a few threads take up fully.
    static int usualHelpers();

    // Calls part(0) to part(count - 1), each once, on the caller and the helpers; returns when all
    // are done. When a part throws, those that nobody has begun are left out, and the first of what
    // was thrown is thrown here once the others are done. A helper that wakes up late finds nothing
    // to do and is not waited for.
    template <typename Part>
    void run(int count, Part part) {
        runParts(count, {&part, [](void* callee, int i) { (*static_cast<Part*>(callee))(i); }});
    }

    int size() const { return helpers_ + 1; }

private:
    // What to call, without owning it: a std::function would allocate for every job.
    struct PartCall {
        void* callee = nullptr;
        void (*call)(void* callee, int part) = nullptr;

        void operator()(int part) const { call(callee, part); }
    };

    void runParts(int count, PartCall part);
    void doNext(std::unique_lock<std::mutex>& lock, PartCall part);
    void help();
    void startThreads();

    const int helpers_;
    bool isStarted_ = false;           // the owner's
    std::vector<std::thread> threads_; // the owner's
    std::mutex mutex_;                 // guards all below
    std::condition_variable started_;
    std::condition_variable finished_;
    PartCall part_; // stands while parts are unfinished
    int next_ = 0;
    int count_ = 0;
    int unfinished_ = 0;
    std::exception_ptr thrown_; // the first of this job
    bool ending_ = false;
};

} // namespace quol
