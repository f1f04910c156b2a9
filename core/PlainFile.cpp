#include "core/PlainFile.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>

namespace quol {

namespace {

// False where nothing is there.
bool statOf(const std::string& path, struct stat& status) {
    return stat(withoutScheme(path).c_str(), &status) == 0;
}

} // namespace

std::string withoutScheme(const std::string& path) {
    constexpr std::string_view scheme = "file:";
    return path.substr(path.starts_with(scheme) ? scheme.size() : 0);
}

bool isEndless(const std::string& path) {
    for (const std::string_view endless : {"pipe:", "fd:"}) {
        if (path.starts_with(endless)) return true;
    }
    struct stat status {};
    if (!statOf(path, status)) return false;
    return S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode) || S_ISCHR(status.st_mode);
}

std::optional<FileIdentity> fileIdentity(const std::string& path) {
    struct stat status {};
    if (!statOf(path, status)) return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

std::int64_t fileSize(const std::string& path) {
    struct stat status {};
    return statOf(path, status) ? status.st_size : 0;
}

bool isPlainFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(withoutScheme(path), error);
}

std::optional<std::string> readPlainFile(const std::string& path) {
    if (!isPlainFile(path)) return std::nullopt;
    const std::ifstream file(withoutScheme(path), std::ios::binary);
    if (!file) return std::nullopt;
    std::ostringstream content;
    content << file.rdbuf();
    return std::move(content).str();
}

} // namespace quol
