// Any text with tags, resolved at any time after its first.
#include <cstdlib>
#include <ctime>

#include "graphics/CGTags.h"

namespace {

using std::chrono::seconds;

bool holdsKeyword(const std::string& text) {
    for (const char* keyword : {"time::", "date::", "tUp::", "tDown::"}) {
        if (text.find(keyword) != std::string::npos) return true;
    }
    return false;
}

void require(bool holds) {
    if (!holds) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    setenv("TZ", "UTC0", 1);
    tzset();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const seconds after(data[0] * data[1]);
    const std::string text(reinterpret_cast<const char*>(data) + 2, size - 2);
    const quol::TagTime start{std::chrono::system_clock::time_point(seconds(1793696707)),
                              std::chrono::steady_clock::time_point(seconds(1000))};
    const quol::TagTime later{start.wall + after, start.count + after};

    quol::TagClock clock;
    const std::string first = clock.resolve("item", text, start);
    const std::string then = clock.resolve("item", text, later);
    require(clock.resolve("item", text, later) == then);
    require(clock.resolve("another", text, start) == first);
    if (!holdsKeyword(text)) require(first == text && then == text);
    // Counts alone differ where the clock on the wall shows the same.
    quol::TagClock anew;
    require(anew.resolve("item", text, {start.wall, later.count}) == first);
    return 0;
}
