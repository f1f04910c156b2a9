#include "outputs/DiskReserve.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

#include "core/PlainFile.h"

namespace quol {

void DiskReserve::open(const std::string& path) {
    release();
    const int descriptor = ::open(withoutScheme(path).c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK);
    struct stat status {};
    if (descriptor >= 0 && fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)) {
        descriptor_ = descriptor;
    } else if (descriptor >= 0) {
        close(descriptor);
    }
    heldTo_ = 0;
}

// Asks for twice the room, so that the file system is asked once in a while and not for every
// packet, and takes once the room where twice is not to be had.
bool DiskReserve::hold(std::int64_t end, std::int64_t bytes) {
    if (descriptor_ < 0 || end + bytes <= heldTo_) return true;
    for (const std::int64_t room : {2 * bytes, bytes}) {
        int result = 0;
        do {
            result = fallocate(descriptor_, FALLOC_FL_KEEP_SIZE, end, room);
        } while (result != 0 && errno == EINTR);
        if (result == 0) {
            heldTo_ = end + room;
            return true;
        }
        if (errno != ENOSPC && errno != EDQUOT && errno != EFBIG) {
            release();
            return true;
        }
    }
    return false;
}

void DiskReserve::release() {
    if (descriptor_ < 0) return;
    struct stat status {};
    // Cutting a file to the length it has frees the blocks behind its end.
    if (heldTo_ > 0 && fstat(descriptor_, &status) == 0 && heldTo_ > status.st_size) {
        [[maybe_unused]] const int result = ftruncate(descriptor_, status.st_size);
    }
    close(descriptor_);
    descriptor_ = -1;
    heldTo_ = 0;
}

} // namespace quol
