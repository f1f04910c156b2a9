// Files that may be read while somebody waits.
#pragma once

#include <optional>
#include <string>

namespace quol {

// True for a file on a disk. A pipe, a device or an address may never end, or never begin.
bool isPlainFile(const std::string& path);

// The bytes of a plain file; nothing where there is none that can be read.
std::optional<std::string> readPlainFile(const std::string& path);

} // namespace quol
