// A disk of a few hundred kilobytes, for what happens when a disk is full.
#pragma once

#include <string>

namespace test {

// Puts a file system of that many bytes at `folder`, seen by this process alone and gone with it.
// Meant for a child process (ChildProcess.h), in which it must come before the first thread. False
// where the system does not permit it.
bool mountSmallDisk(const std::string& folder, long bytes);

// Whether mountSmallDisk works here; tries it in a child process.
bool canMountSmallDisk();

} // namespace test
