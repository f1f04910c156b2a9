#include "support/SmallDisk.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/CapturedStream.h"
#include "support/ChildProcess.h"

namespace test {

namespace {

bool writeText(const char* path, const std::string& text) {
    const int descriptor = open(path, O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) return false;
    const ssize_t written = write(descriptor, text.data(), text.size());
    close(descriptor);
    return written == static_cast<ssize_t>(text.size());
}

// A mount needs a name space of its own and, for a user without rights, one in which he has them.
bool enterNamespaces() {
    const uid_t user = getuid();
    const gid_t group = getgid();
    if (user == 0 && unshare(CLONE_NEWNS) == 0) return true;
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
    writeText("/proc/self/setgroups", "deny");
    return writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1") &&
           writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

} // namespace

bool mountSmallDisk(const std::string& folder, long bytes) {
    if (!enterNamespaces()) return false;
    // Or the mount would be seen outside.
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
    mkdir(folder.c_str(), 0700);
    const std::string options = "size=" + std::to_string(bytes);
    return mount("tmpfs", folder.c_str(), "tmpfs", 0, options.c_str()) == 0;
}

bool canMountSmallDisk() {
    const std::string folder = temporaryPath("tried_disk");
    ChildProcess child([&folder] { return mountSmallDisk(folder, 65536) ? 0 : 1; });
    return child.wait() == 0;
}

} // namespace test
