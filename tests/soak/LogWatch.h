// Reads what the process writes to its two standard streams, and looks for lines that nobody
// expects.
#pragma once

#include <cstdint>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace soak {

// From construction to `end` the streams go through a pipe to a thread of this object. Every line
// is written to a file; unexpected ones also go to the error stream as it was.
class LogWatch {
public:
    LogWatch(const std::string& file, std::int64_t startNanos);
    ~LogWatch() { end(); }
    LogWatch(const LogWatch&) = delete;
    LogWatch& operator=(const LogWatch&) = delete;

    // The streams are themselves again, and all that was written has been read.
    void end();

    // For the program's own words, past the pipe.
    void say(const std::string& line);

    std::int64_t lines();
    // How often each unexpected line came; numbers and addresses count as equal.
    std::map<std::string, std::int64_t> unexpected();
    std::int64_t unexpectedLines();
    // How often a line of that pattern of the table came.
    std::int64_t count(const std::string& pattern);
    std::map<std::string, std::int64_t> expected();

private:
    void readLoop();
    void take(const std::string& line);

    const std::int64_t startNanos_;
    int saved_[2] = {-1, -1};
    int readEnd_ = -1;
    std::thread thread_;

    std::mutex mutex_; // guards all below
    std::ofstream file_;
    std::int64_t written_ = 0; // bytes
    std::int64_t lines_ = 0;
    std::int64_t unexpectedLines_ = 0;
    std::map<std::string, std::int64_t> expected_; // by pattern
    std::map<std::string, std::int64_t> unexpected_;
};

} // namespace soak
