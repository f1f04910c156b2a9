#include "support/SeenColours.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

#include "support/Program.h"
#include "support/RecordedFile.h"

namespace test {

std::string colourName(const Pixel& pixel) {
    const auto leads = [](int one, int other, int another) {
        return one > other + 50 && one > another + 50;
    };
    if (leads(pixel.red, pixel.green, pixel.blue)) return "red";
    if (leads(pixel.green, pixel.red, pixel.blue)) return "green";
    if (leads(pixel.blue, pixel.red, pixel.green)) return "blue";
    return "none";
}

std::vector<SeenColour> coloursIn(const std::string& recording, const std::string& place,
                                  const std::string& scratch) {
    const RecordedFile file = readRecordedFile(recording);
    outputOf({"ffmpeg", "-v", "error", "-y", "-i", recording, "-vf",
              "crop=" + place + ",scale=1:1:flags=area,format=rgb24", "-fps_mode", "passthrough",
              "-f", "rawvideo", scratch});
    std::ifstream stream(scratch, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
    EXPECT_EQ(bytes.size(), file.pictures.size() * 3);
    std::vector<SeenColour> seen;
    for (std::size_t i = 0; i < file.pictures.size() && i * 3 + 2 < bytes.size(); ++i) {
        const auto channel = [&](std::size_t c) {
            return static_cast<int>(static_cast<unsigned char>(bytes[i * 3 + c]));
        };
        const std::string name = colourName({channel(0), channel(1), channel(2)});
        if (name == "none" || (!seen.empty() && seen.back().name == name)) continue;
        seen.push_back({name, file.pictures[i].seconds});
    }
    return seen;
}

} // namespace test
