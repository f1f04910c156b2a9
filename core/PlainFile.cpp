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
    constexpr std::string_view scheme = "file:";
    const bool named = path.compare(0, scheme.size(), scheme) == 0;
    return stat(path.c_str() + (named ? scheme.size() : 0), &status) == 0;
}

} // namespace

bool isEndless(const std::string& path) {
    for (const std::string_view endless : {"pipe:", "fd:"}) {
        if (path.compare(0, endless.size(), endless) == 0) return true;
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

bool isSameFile(const std::string& one, const std::string& other) {
    const auto first = fileIdentity(one);
    return first && first == fileIdentity(other);
}

bool isPlainFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

std::optional<std::string> readPlainFile(const std::string& path) {
    if (!isPlainFile(path)) return std::nullopt;
    const std::ifstream file(path, std::ios::binary);
    if (!file) return std::nullopt;
    std::ostringstream content;
    content << file.rdbuf();
    return std::move(content).str();
}

} // namespace quol
