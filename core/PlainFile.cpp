#include "core/PlainFile.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace quol {

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
