// Clips: files, and sequences of images.
#pragma once

#include <string>

namespace quol {

class MediaInput;

// Whether a name is the pattern of an image sequence, as "shot_%04d.png" is.
bool isImageSequence(const std::string& path);

// Opens a file, or an image sequence at that many pictures a second, 25 where there is no rate.
// False when it cannot be opened, as MediaInput::open.
bool openClip(MediaInput& input, const std::string& path, double fps);

} // namespace quol
