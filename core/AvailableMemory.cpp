#include "core/AvailableMemory.h"

#include <algorithm>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>
#include <string_view>
#include <utility>

namespace quol {

namespace {

constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint64_t mebibyte = 1024 * 1024;
constexpr std::uint64_t leastReserve = 64 * mebibyte;
// So much is granted at a time, so that small takes do not read /proc each.
constexpr std::uint64_t grantStep = 16 * mebibyte;

// The number in a file of one; nothing without the file or for a word ("max").
std::optional<std::uint64_t> numberIn(const std::string& path) {
    std::ifstream file(path);
    std::uint64_t number = 0;
    if (!(file >> number)) return std::nullopt;
    return number;
}

// The number behind a name in a file of lines "name number".
std::optional<std::uint64_t> numberOf(const std::string& path, std::string_view name) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream words(line);
        std::string word;
        std::uint64_t number = 0;
        if (words >> word >> number && word == name) return number;
    }
    return std::nullopt;
}

// The two generations of control groups name the same things differently.
struct GroupFiles {
    const char* limit;
    const char* usage;
    const char* inactiveCache;
    const char* activeCache;
};
constexpr GroupFiles unifiedFiles{"/memory.max", "/memory.current", "inactive_file", "active_file"};
constexpr GroupFiles memoryFiles{"/memory.limit_in_bytes", "/memory.usage_in_bytes",
                                 "total_inactive_file", "total_active_file"};

std::uint64_t leftInGroup(const std::string& folder, const GroupFiles& files) {
    const auto limit = numberIn(folder + files.limit);
    const auto usage = numberIn(folder + files.usage);
    if (!limit || !usage) return unlimited;
    const std::string statistics = folder + "/memory.stat";
    // The kernel gives up the files it has read long ago first, and of the others about half.
    const std::uint64_t cache = numberOf(statistics, files.inactiveCache).value_or(0) +
                                numberOf(statistics, files.activeCache).value_or(0) / 2;
    const std::uint64_t used = *usage - std::min(*usage, cache);
    return *limit - std::min(*limit, used);
}

// A limit may be set on the process's group or on any above it. A container may show a path that is
// not there within it; its own group is the top folder then.
std::uint64_t leftInGroups(const std::string& top, std::string path, const GroupFiles& files) {
    std::uint64_t left = unlimited;
    while (true) {
        left = std::min(left, leftInGroup(top + path, files));
        const std::size_t slash = path.rfind('/');
        if (slash == std::string::npos) return left;
        path.resize(slash);
    }
}

bool lists(const std::string& controllers, std::string_view wanted) {
    std::istringstream names(controllers);
    std::string name;
    while (std::getline(names, name, ',')) {
        if (name == wanted) return true;
    }
    return false;
}

// Lines "number:controllers:path"; without controllers it is the unified hierarchy.
std::uint64_t leftByGroups(const std::string& root) {
    const std::string top = root + "/sys/fs/cgroup";
    std::uint64_t left = unlimited;
    std::ifstream groups(root + "/proc/self/cgroup");
    std::string number;
    std::string controllers;
    std::string path;
    while (std::getline(groups, number, ':') && std::getline(groups, controllers, ':') &&
           std::getline(groups, path)) {
        if (controllers.empty()) left = std::min(left, leftInGroups(top, path, unifiedFiles));
        if (lists(controllers, "memory"))
            left = std::min(left, leftInGroups(top + "/memory", path, memoryFiles));
    }
    return left;
}

} // namespace

std::uint64_t availableMemory(const std::string& root) {
    const auto kibibytes = numberOf(root + "/proc/meminfo", "MemAvailable:");
    const std::uint64_t machine = kibibytes ? *kibibytes * 1024 : unlimited;
    return std::min(machine, leftByGroups(root));
}

MemoryBudget::MemoryBudget(Available available)
    : available_(std::move(available)), reserve_(std::max(available_() / 4, leastReserve)) {}

std::uint64_t MemoryBudget::left() const {
    const std::uint64_t now = available_();
    return now - std::min(now, reserve_);
}

bool MemoryBudget::take(std::uint64_t bytes) {
    if (bytes > granted_) {
        const std::uint64_t now = left();
        if (bytes > now) return false;
        granted_ = std::min(now, std::max(bytes, grantStep));
    }
    granted_ -= bytes;
    return true;
}

} // namespace quol
