// Which paths may be read while somebody waits.
#pragma once

#include <filesystem>
#include <string>
#include <system_error>

namespace quol {

// True for a file on a disk. A pipe, a device or an address may never end, or never begin.
inline bool isPlainFile(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

} // namespace quol
