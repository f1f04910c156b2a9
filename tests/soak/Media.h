// The clips, pictures and templates of the programme, made by itself.
#pragma once

#include <string>
#include <vector>

namespace soak {

struct Media {
    std::vector<std::string> clips; // the first two are 1280x720 at 25 with sound
    std::vector<std::string> stingers;
    std::vector<std::string> stills;
    std::string damaged;  // a clip without its end
    std::string missing;  // a path without its ending, of files that are not there
    std::string lottie;   // the example's template
    std::string noLottie; // something else under that name
    std::string titles;   // a scene of titles

    // The path of a file that is not there.
    std::string without(const char* ending) const { return std::string(missing).append(ending); }
};

// Makes them in that folder; those of an earlier run are taken again. Throws std::runtime_error.
Media makeMedia(const std::string& folder);

} // namespace soak
