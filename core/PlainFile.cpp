#include "core/PlainFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

namespace quol {

namespace {

// False where nothing is there.
bool statOf(const std::string& path, struct stat& status) {
    return stat(withoutScheme(path).c_str(), &status) == 0;
}

// The file that another one may take the place of, or that is not there yet; empty for everything
// else: a device, a link to nothing, a file that is protected.
std::filesystem::path replaceable(const std::string& path) {
    std::error_code error;
    if (isPlainFile(path))
        return access(path.c_str(), W_OK) == 0 ? std::filesystem::canonical(path, error) : "";
    const bool isNew = std::filesystem::symlink_status(path, error).type() ==
                       std::filesystem::file_type::not_found;
    return isNew ? path : "";
}

// A file in the making. What has not got its name by the end goes.
struct PartFile {
    explicit PartFile(std::filesystem::path path) : path(std::move(path)) {}
    ~PartFile() {
        std::error_code error;
        std::filesystem::remove(path, error);
    }
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    const std::filesystem::path path;
};

Written writeInPlace(const std::filesystem::path& path, std::string_view bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) return Written::noFile;
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return file ? Written::yes : Written::noRoom;
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

Written writeFile(const std::string& path, std::string_view bytes) {
    static std::atomic<unsigned> number{0};
    const std::string name = withoutScheme(path);
    const std::filesystem::path place = replaceable(name);
    if (place.empty()) return writeInPlace(name, bytes);
    const PartFile part(place.string() + '.' + std::to_string(getpid()) + '.' +
                        std::to_string(number++) + ".part");
    const Written written = writeInPlace(part.path, bytes);
    if (written == Written::noFile) return writeInPlace(name, bytes);
    if (written != Written::yes) return written;
    std::error_code error;
    const std::filesystem::file_status before = std::filesystem::status(place, error);
    if (std::filesystem::exists(before))
        std::filesystem::permissions(part.path, before.permissions(), error);
    std::filesystem::rename(part.path, place, error);
    return error ? Written::noFile : Written::yes;
}

} // namespace quol
