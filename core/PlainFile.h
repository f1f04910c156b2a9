// Files that may be read or written while somebody waits.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quol {

// All of these take a name with "file:" in front too, as FFmpeg does.

// What the system calls the file.
std::string withoutScheme(const std::string& path);

// True for a file on a disk. A pipe, a device or an address may never end, or never begin.
bool isPlainFile(const std::string& path);

// True for a pipe, a socket or a device, a terminal too: they have no end and no length, and using
// one may block for ever in a way that nothing can interrupt.
bool isEndless(const std::string& path);

// What a file is, whatever name or link leads to it: device and number of the file.
using FileIdentity = std::pair<unsigned long, unsigned long>;

// Nothing where there is no such file.
std::optional<FileIdentity> fileIdentity(const std::string& path);

// How many bytes the file has, by the file system; 0 where there is none.
std::int64_t fileSize(const std::string& path);

// The bytes of a plain file; nothing where there is none that can be read.
std::optional<std::string> readPlainFile(const std::string& path);

enum class Written {
    yes,
    noFile, // nothing can be opened there for writing
    noRoom  // it was opened, but did not take all
};

// Writes a file whole or not at all: whoever reads it meanwhile, or finds the disk full, has the
// one that was there before. Its permissions stay, and a link stays a link to it. What is no file
// on a disk, and a name for which no second file can be laid beside it, is written where it is.
Written writeFile(const std::string& path, std::string_view bytes);

} // namespace quol
