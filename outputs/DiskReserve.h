// Room on the disk behind the end of a file that grows.
#pragma once

#include <cstdint>
#include <string>

namespace quol {

// A movie file is worth nothing without the index at its end, so a recording must end while there
// is still room for that. The reserve asks the file system for blocks behind the end of the file,
// without changing its length, and asks again as the file grows into them.
//
// Where a file system has no such call, there is no reserve and `hold` always succeeds. One thread.
class DiskReserve {
public:
    DiskReserve() = default;
    DiskReserve(const DiskReserve&) = delete;
    DiskReserve& operator=(const DiskReserve&) = delete;
    ~DiskReserve() { release(); }

    // Watches a file that exists, with or without "file:" in front; without one there is nothing to
    // hold.
    void open(const std::string& path);

    // Sees to `bytes` of room behind position `end`. False when the disk is full.
    bool hold(std::int64_t end, std::int64_t bytes);

    // Gives back the room that the file has not used.
    void release();

private:
    int descriptor_ = -1;
    std::int64_t heldTo_ = 0;
};

} // namespace quol
