// A C++ host that plays Lottie templates one after the other, each at its own size, and draws five
// moments of each as one row of a PNG.
//
//     lottie_sheet OUTPUT.png TEMPLATE.json [CHANGE...] [TEMPLATE.json [CHANGE...]]...
//
// A change is made between the second moment and the third: text:LAYER=TEXT, color:LAYER=#RRGGBB or
// image:NAME=FILE. Texts want a font: see LAnimation.h for where one is looked for. Exit status: 0
// done, 1 nothing could be drawn or written, 2 wrong use.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "PngWriter.h"
#include "quolsdk/LAnimation.h"
#include "quolsdk/LFrame.h"
#include "usage.h"

namespace {

constexpr int moments = 5;
constexpr int cellWidth = 256;
constexpr int cellHeight = 144;
constexpr int gap = 2;
constexpr int sheetWidth = moments * (cellWidth + gap);
constexpr double longestPlay = 8.0; // seconds

using Row = std::vector<std::uint8_t>;

std::string contentOf(const char* path) {
    std::ifstream file(path);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

// A number of the template itself, not of one of its parts; `otherwise` where it has none.
double numberOf(const std::string& json, const std::string& key, double otherwise) {
    const std::string wanted = '"' + key + "\":";
    int depth = 0;
    bool inText = false;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const char sign = json[i];
        if (sign == '"' && depth == 1 && !inText && json.compare(i, wanted.size(), wanted) == 0)
            return std::atof(json.c_str() + i + wanted.size());
        if (sign == '\\' && inText) ++i;
        if (sign == '"') inText = !inText;
        if (inText) continue;
        if (sign == '{' || sign == '[') ++depth;
        if (sign == '}' || sign == ']') --depth;
    }
    return otherwise;
}

// Where in a cell a picture of that shape lies.
struct Place {
    int left, top, width, height;
};
Place placeOf(int width, int height) {
    Place place{0, 0, cellWidth, std::max(1, cellWidth * height / width)};
    if (place.height > cellHeight) {
        place.height = cellHeight;
        place.width = std::max(1, cellHeight * width / height);
    }
    place.left = (cellWidth - place.width) / 2;
    place.top = (cellHeight - place.height) / 2;
    return place;
}

// What is transparent is grey: black letters show as well as white ones.
Row overGrey(Row rgba) {
    constexpr int grey = 110;
    for (std::size_t i = 0; i + 3 < rgba.size(); i += 4) {
        const int under = grey * (255 - rgba[i + 3]) / 255;
        for (std::size_t k = 0; k < 3; ++k)
            rgba[i + k] = static_cast<std::uint8_t>(std::min(255, rgba[i + k] + under));
    }
    return rgba;
}

void drawMoment(const LFrame::Video& video, int moment, Row& row) {
    if (video.rgba.empty()) return;
    const Place place = placeOf(video.width, video.height);
    const Row cell = scaleToRgb(overGrey(video.rgba), video.width, video.height, video.stride,
                                place.width, place.height);
    if (cell.empty()) return;
    const int left = moment * (cellWidth + gap) + place.left;
    for (int y = 0; y < place.height; ++y) {
        const std::size_t at = (static_cast<std::size_t>(place.top + y) * sheetWidth + left) * 3;
        std::memcpy(row.data() + at, cell.data() + static_cast<std::size_t>(y) * place.width * 3,
                    static_cast<std::size_t>(place.width) * 3);
    }
}

bool isChange(const std::string& argument) {
    return argument.rfind("text:", 0) == 0 || argument.rfind("color:", 0) == 0 ||
           argument.rfind("image:", 0) == 0;
}

void change(LAnimation& animation, const std::string& argument) {
    const std::size_t colon = argument.find(':');
    const std::size_t equals = argument.find('=', colon);
    if (equals == std::string::npos) return;
    const std::string kind = argument.substr(0, colon);
    const std::string name = argument.substr(colon + 1, equals - colon - 1);
    const std::string value = argument.substr(equals + 1);
    if (kind == "text") animation.update(0, name, value);
    if (kind == "color") animation.updateColor(0, name, value);
    if (kind == "image") animation.updateImage(0, name, value);
}

// Five moments beside each other; empty for a template that cannot be read.
Row rowOf(const char* path, const std::vector<std::string>& changes) {
    const std::string json = contentOf(path);
    videoFormatProps format;
    format.width = static_cast<int>(numberOf(json, "w", 1920));
    format.height = static_cast<int>(numberOf(json, "h", 1080));
    format.fps = 50.0;
    const double seconds = (numberOf(json, "op", 0) - numberOf(json, "ip", 0)) /
                           std::max(1.0, numberOf(json, "fr", 30));
    const std::chrono::duration<double> between(std::clamp(seconds, 0.5, longestPlay) / moments);

    LAnimation animation;
    animation.setVideoFormat(format);
    LFrame tap;
    tap.readerObject(&animation);
    Row row;
    if (animation.loadTemplate(0, path)) {
        row.assign(static_cast<std::size_t>(sheetWidth) * (cellHeight + gap) * 3, 60);
        std::this_thread::sleep_for(between / 2);
        for (int moment = 0; moment < moments; ++moment) {
            if (moment == 2) {
                for (const std::string& each : changes)
                    change(animation, each);
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
            }
            drawMoment(tap.getVideo(), moment, row);
            std::this_thread::sleep_for(between);
        }
    }
    tap.readerObject(nullptr);
    return row;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return tell_usage(argc, argv,
                          "OUTPUT.png TEMPLATE.json [CHANGE]... [TEMPLATE.json [CHANGE]...]...",
                          "draw moments of Lottie templates");
    }
    Row sheet;
    int rows = 0;
    for (int i = 2; i < argc;) {
        const char* const path = argv[i++];
        std::vector<std::string> changes;
        while (i < argc && isChange(argv[i]))
            changes.emplace_back(argv[i++]);
        const Row row = rowOf(path, changes);
        std::fprintf(stderr, "%s%s\n", path, row.empty() ? ": cannot be read" : "");
        if (row.empty()) continue;
        sheet.insert(sheet.end(), row.begin(), row.end());
        ++rows;
    }
    return rows > 0 && writePng(argv[1], sheetWidth, rows * (cellHeight + gap), sheet) ? 0 : 1;
}
