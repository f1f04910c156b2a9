#include "core/ClipInput.h"

#include "core/MediaInput.h"
#include "core/Timecode.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace quol {

namespace {

// As a fraction: what a decimal point is to those who read it depends on the host's locale. They
// would make the same one of it.
std::string rateText(double fps) {
    constexpr int largest = 1001000; // 30000/1001 comes out as itself
    const AVRational rate = av_d2q(fps, largest);
    return std::to_string(rate.num) + '/' + std::to_string(rate.den);
}

} // namespace

bool isImageSequence(const std::string& path) {
    return path.find('%') != std::string::npos;
}

bool openClip(MediaInput& input, const std::string& path, double fps) {
    if (!isImageSequence(path)) return input.open(path);
    Dictionary options;
    options.set("framerate", rateText(fpsOrDefault(fps)).c_str());
    return input.open(path, "image2", &options);
}

} // namespace quol
