#include "soak/LogWatch.h"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "soak/ExpectedLines.h"
#include "soak/SteadyTime.h"

namespace soak {

namespace {

// A library that writes must not wait for this reader.
constexpr int pipeBytes = 1 << 20;
// Of the file, and of the list of unexpected lines: a fault that repeats must not fill the disk.
constexpr std::int64_t fileLimit = 64 << 20;
constexpr std::size_t kindsLimit = 200;

// With '#' for each number, so that lines which differ in these alone are one kind.
std::string kindOf(const std::string& line) {
    std::string kind;
    for (std::size_t at = 0; at < line.size(); ++at) {
        if (line.compare(at, 2, "0x") == 0) {
            at += 2;
            while (at < line.size() && std::isxdigit(static_cast<unsigned char>(line[at])) != 0)
                ++at;
            --at;
            kind += '#';
        } else if (std::isdigit(static_cast<unsigned char>(line[at])) == 0) {
            kind += line[at];
        } else if (kind.empty() || kind.back() != '#') {
            kind += '#';
        }
    }
    return kind;
}

} // namespace

LogWatch::LogWatch(const std::string& file, std::int64_t startNanos)
    : startNanos_(startNanos), file_(file) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        std::perror("soak: pipe");
        std::exit(2);
    }
    fcntl(ends[1], F_SETPIPE_SZ, pipeBytes);
    readEnd_ = ends[0];
    std::fflush(nullptr);
    for (int stream = 0; stream < 2; ++stream) {
        saved_[stream] = fcntl(stream + 1, F_DUPFD_CLOEXEC, 3);
        dup2(ends[1], stream + 1);
    }
    close(ends[1]);
    thread_ = std::thread([this] { readLoop(); });
}

void LogWatch::end() {
    if (!thread_.joinable()) return;
    std::fflush(nullptr);
    for (int stream = 0; stream < 2; ++stream)
        dup2(saved_[stream], stream + 1); // the pipe's last writing ends
    thread_.join();
    close(readEnd_);
    for (const int saved : saved_)
        close(saved);
}

void LogWatch::say(const std::string& line) {
    const std::string whole = line + "\n";
    const bool piped = thread_.joinable();
    [[maybe_unused]] const ssize_t written =
        write(piped ? saved_[0] : STDOUT_FILENO, whole.data(), whole.size());
}

std::int64_t LogWatch::lines() {
    const std::lock_guard lock(mutex_);
    return lines_;
}

std::int64_t LogWatch::unexpectedLines() {
    const std::lock_guard lock(mutex_);
    return unexpectedLines_;
}

std::map<std::string, std::int64_t> LogWatch::unexpected() {
    const std::lock_guard lock(mutex_);
    return unexpected_;
}

std::map<std::string, std::int64_t> LogWatch::expected() {
    const std::lock_guard lock(mutex_);
    return expected_;
}

std::int64_t LogWatch::count(const std::string& pattern) {
    const std::lock_guard lock(mutex_);
    const auto found = expected_.find(pattern);
    return found != expected_.end() ? found->second : 0;
}

void LogWatch::readLoop() {
    std::string rest;
    char part[65536];
    while (true) {
        const ssize_t got = read(readEnd_, part, sizeof part);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        rest.append(part, static_cast<std::size_t>(got));
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = rest.find('\n', begin)) != std::string::npos;
             begin = end + 1)
            take(rest.substr(begin, end - begin));
        rest.erase(0, begin);
    }
    if (!rest.empty()) take(rest);
}

void LogWatch::take(const std::string& line) {
    const char* const pattern = expectedPattern(line.c_str());
    const std::lock_guard lock(mutex_);
    ++lines_;
    if (written_ < fileLimit) {
        char time[32];
        std::snprintf(time, sizeof time, "%10.3f ", secondsSince(startNanos_));
        file_ << time << (pattern != nullptr ? "  " : "! ") << line << std::endl;
        written_ += static_cast<std::int64_t>(line.size()) + 14;
    }
    if (pattern != nullptr) {
        ++expected_[pattern];
        return;
    }
    ++unexpectedLines_;
    const std::string kind = kindOf(line);
    if (unexpected_.size() >= kindsLimit && !unexpected_.contains(kind)) return;
    if (++unexpected_[kind] > 3) return;
    const std::string told = "! " + line + "\n";
    [[maybe_unused]] const ssize_t written = write(saved_[1], told.data(), told.size());
}

} // namespace soak
