#include "support/CapturedStream.h"

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace test {

CapturedStream::CapturedStream(Stream stream) : descriptor_(static_cast<int>(stream)) {
    std::fflush(nullptr);
    char name[] = "/tmp/quolsdk-stream-XXXXXX";
    file_ = mkstemp(name);
    unlink(name);
    saved_ = dup(descriptor_);
    dup2(file_, descriptor_);
}

CapturedStream::~CapturedStream() {
    std::fflush(nullptr);
    dup2(saved_, descriptor_);
    close(saved_);
    close(file_);
}

std::string CapturedStream::text() {
    std::fflush(nullptr);
    const off_t length = lseek(file_, 0, SEEK_END);
    std::string all(static_cast<std::size_t>(length), '\0');
    const ssize_t got = pread(file_, all.data(), all.size(), 0);
    all.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return all;
}

namespace {

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "quolsdk-test-XXXXXX").string();
        path_ = mkdtemp(pattern.data()) != nullptr ? pattern : ".";
        owner_ = getpid();
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        if (owner_ == getpid() && path_ != ".") std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
    pid_t owner_ = 0;
};

} // namespace

std::string told(const std::function<void()>& call) {
    CapturedStream output(CapturedStream::Stream::output);
    call();
    return output.text();
}

std::string temporaryPath(const std::string& name) {
    static const TemporaryFolder folder;
    return folder.path() + "/" + name;
}

std::string mediaPath(const std::string& name) {
    return std::string(QUOLSDK_TEST_MEDIA) + "/" + name;
}

} // namespace test
