// The files that a conversion must not write to: its inputs.
#pragma once

#include <atomic>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/PlainFile.h"

namespace quol {

// One thread.
class ConvertGuard {
public:
    // Both outlive it.
    ConvertGuard(const std::vector<std::string>& inputs, const std::atomic<bool>& stop)
        : inputs_(inputs), stop_(stop) {}

    // Whether that file is one of the inputs, by whatever name or link, or a picture of an input
    // that is a pattern. What a file refers to, as a playlist does, is not looked for. Once `stop`
    // is up pictures are not looked for any longer, and a file that may be one counts as one.
    bool isInput(const std::string& path);

private:
    static std::optional<FileIdentity> pictureOf(const std::string& pattern, int number);
    bool addPictures(const std::string& pattern);
    bool isPicture(const FileIdentity& file);

    const std::vector<std::string>& inputs_;
    const std::atomic<bool>& stop_;
    std::set<FileIdentity> pictures_;
    bool picturesKnown_ = false; // all of them
};

} // namespace quol
