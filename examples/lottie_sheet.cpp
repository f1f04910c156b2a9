// A C++ host that plays Lottie templates one after the other and draws five moments of each as one
// row of a PNG.
//
//     lottie_sheet OUTPUT.png TEMPLATE.json...
//
// Texts want a font: see LAnimation.h for where one is looked for. Exit status: 0 done, 1 nothing
// could be drawn, 2 wrong use.
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "PngWriter.h"
#include "quolsdk/LAnimation.h"
#include "quolsdk/LFrame.h"

namespace {

constexpr int moments = 5;
constexpr int cellWidth = 256;
constexpr int cellHeight = 144;
constexpr int gap = 2;
constexpr int sheetWidth = moments * (cellWidth + gap);
constexpr std::chrono::milliseconds firstMoment(200);
constexpr std::chrono::milliseconds betweenMoments(700);

using Row = std::vector<std::uint8_t>;

// Five moments beside each other; empty for a template that cannot be read.
Row rowOf(const std::string& path) {
    LAnimation animation;
    LFrame tap;
    tap.readerObject(&animation);
    Row row;
    if (animation.loadTemplate(0, path)) {
        row.assign(static_cast<std::size_t>(sheetWidth) * (cellHeight + gap) * 3, 60);
        std::this_thread::sleep_for(firstMoment);
        for (int moment = 0; moment < moments; ++moment) {
            std::this_thread::sleep_for(betweenMoments);
            const LFrame::Video video = tap.getVideo();
            if (video.rgba.empty()) continue;
            const Row cell = scaleToRgb(video.rgba, video.width, video.height, video.stride,
                                        cellWidth, cellHeight);
            for (int y = 0; y < cellHeight; ++y) {
                const std::size_t at =
                    (static_cast<std::size_t>(y) * sheetWidth + moment * (cellWidth + gap)) * 3;
                std::memcpy(row.data() + at,
                            cell.data() + static_cast<std::size_t>(y) * cellWidth * 3,
                            cellWidth * 3);
            }
        }
    }
    tap.readerObject(nullptr);
    return row;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "use: %s OUTPUT.png TEMPLATE.json...\n", argv[0]);
        return 2;
    }
    Row sheet;
    int rows = 0;
    for (int i = 2; i < argc; ++i) {
        const Row row = rowOf(argv[i]);
        std::fprintf(stderr, "%2d of %d: %s%s\n", i - 1, argc - 2, argv[i],
                     row.empty() ? ": cannot be read" : "");
        if (row.empty()) continue;
        sheet.insert(sheet.end(), row.begin(), row.end());
        ++rows;
    }
    return rows > 0 && writePng(argv[1], sheetWidth, rows * (cellHeight + gap), sheet) ? 0 : 1;
}
