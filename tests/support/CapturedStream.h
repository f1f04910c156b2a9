// What the code under test writes to standard output or standard error.
#pragma once

#include <functional>
#include <string>

namespace test {

// Catches the stream for as long as it lives, at the file descriptor, from all threads. One at a
// time for each stream.
class CapturedStream {
public:
    enum class Stream { output = 1, error = 2 };

    explicit CapturedStream(Stream stream);
    ~CapturedStream();
    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;

    // All that was written so far.
    std::string text();

private:
    int descriptor_;
    int saved_;
    int file_;
};

// What a call writes to standard output.
std::string told(const std::function<void()>& call);

// A path for a file of a test's own, in a folder that goes when the process ends.
std::string temporaryPath(const std::string& name);

// A clip that the suite has made (tests/make_media.sh).
std::string mediaPath(const std::string& name);

} // namespace test
