// A C++ host that draws every transition between two clips as one PNG: a row for each type, a
// column for each of the positions 0, 0.25, 0.5, 0.75 and 1.
//
//     transition_sheet CLIP_A CLIP_B OUTPUT.png
//
// Exit status: 0 done, 1 no picture came or none can be written, 2 wrong use.
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>

extern "C" {
#include <libavutil/frame.h>
}

#include "RgbSheet.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LFrame.h"
#include "quolsdk/LSwitcher.h"
#include "usage.h"

namespace {

constexpr int canvasWidth = 1280;
constexpr int canvasHeight = 720;
constexpr int cellWidth = 160;
constexpr int cellHeight = 90;
constexpr int gap = 2;
constexpr std::uint8_t background = 24;
constexpr int clipPosition = 2000; // milliseconds

constexpr std::array<float, 5> positions{0.0F, 0.25F, 0.5F, 0.75F, 1.0F};
constexpr std::array<const char*, 18> types{
    "fade",     "dip",         "wipe_lr",       "wipe_rl",    "wipe_tb",    "wipe_bt",
    "wipe_box", "wipe_circle", "wipe_diagonal", "slide_lr",   "slide_rl",   "slide_tb",
    "slide_bt", "squeeze_lr",  "squeeze_rl",    "squeeze_tb", "squeeze_bt", "cut"};

constexpr int sheetWidth = static_cast<int>(positions.size()) * (cellWidth + gap);
constexpr int sheetHeight = static_cast<int>(types.size()) * (cellHeight + gap);

// A clip that stands still at a picture of it.
void showStill(LFile& clip, const char* path) {
    videoFormatProps format;
    format.width = canvasWidth;
    format.height = canvasHeight;
    format.fps = 25.0;
    format.pixelFormat = 1;
    clip.fileNameSet(path);
    clip.setVideoFormat(format);
    clip.play();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    clip.pause();
    clip.setPos(clipPosition);
    clip.pause();
}

// The name of the type and the position, as titles over the picture.
void label(LCharacter& titles, const std::string& text) {
    LCGTextProps line;
    line.text = text;
    line.font = "DejaVu Sans";
    line.fontSize = 130;
    line.bgType = "Color";
    line.bgAlpha = 150;
    titles.remove("label");
    titles.addItem("label", 0, 900, 1920, 180, line);
}

RgbSheet::Place placeOf(std::size_t column, std::size_t row) {
    return {static_cast<int>(column) * (cellWidth + gap),
            static_cast<int>(row) * (cellHeight + gap), cellWidth, cellHeight};
}

// One picture of the switcher. The titles and the clips bring theirs on threads of their own.
LFrame::Video picture(LSwitcher& switcher) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    LFrame tap;
    tap.readerObject(&switcher);
    AVFrame* frame = switcher.renderVideoFrame();
    av_frame_free(&frame);
    LFrame::Video video = tap.getVideo();
    tap.readerObject(nullptr);
    return video;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return tell_usage(argc, argv, "CLIP_A CLIP_B OUTPUT.png",
                          "draw every transition between two clips");
    }
    LFile a;
    LFile b;
    LCharacter titles;
    RgbSheet sheet(sheetWidth, sheetHeight, background);
    LSwitcher switcher;
    switcher.setProgram(&a);
    switcher.setPreview(&b);
    switcher.addCG(&titles);
    switcher.addPullConsumer();
    showStill(a, argv[1]);
    showStill(b, argv[2]);
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    for (std::size_t row = 0; row < types.size(); ++row) {
        switcher.setTransitionType(types[row], "#C03010");
        for (std::size_t column = 0; column < positions.size(); ++column) {
            char text[64];
            std::snprintf(text, sizeof text, "%s %.2f", types[row],
                          static_cast<double>(positions[column]));
            switcher.setTransition(positions[column]);
            label(titles, text);
            const LFrame::Video video = picture(switcher);
            if (video.rgba.empty()) return 1;
            sheet.put(placeOf(column, row), video);
        }
        std::fprintf(stderr, "%s\n", types[row]);
    }
    switcher.removeCG(&titles);
    switcher.setProgram(nullptr);
    switcher.setPreview(nullptr);
    a.stop();
    b.stop();
    return sheet.save(argv[3]) ? 0 : 1;
}
