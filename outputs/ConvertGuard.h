// The files that a conversion must not write to: its inputs.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/PlainFile.h"

namespace quol {

// One thread.
class ConvertGuard {
public:
    // `inputs` outlives it.
    explicit ConvertGuard(const std::vector<std::string>& inputs) : inputs_(inputs) {}

    // Whether that file is one of the inputs, by whatever name or link, or a picture of an input
    // that is a pattern. What a file refers to, as a playlist does, is not looked for.
    bool isInput(const std::string& path);

private:
    static std::optional<FileIdentity> pictureOf(const std::string& pattern, int number);
    void addPictures(const std::string& pattern);
    bool isPicture(const std::string& path);

    const std::vector<std::string>& inputs_;
    std::optional<std::set<FileIdentity>> pictures_; // once they have been looked for
};

} // namespace quol
