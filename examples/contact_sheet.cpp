// A small C++ host: a contact sheet of what a frame tap sees of a file, as a PNG.
//
//     contact_sheet FILE SHEET.png
//
// Exit status: 0 done, 1 the file shows no picture or the sheet cannot be written, 2 wrong use.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <thread>

#include "RgbSheet.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LFrame.h"
#include "usage.h"

namespace {

constexpr int columns = 4;
constexpr int rows = 3;
constexpr int cellWidth = 320;
constexpr int gap = 8;
constexpr std::uint8_t background = 24;

// Where a cell of that height lies.
RgbSheet::Place placeOf(int cell, int cellHeight) {
    return {gap + cell % columns * (cellWidth + gap), gap + cell / columns * (cellHeight + gap),
            cellWidth, cellHeight};
}

// Polls for up to two seconds.
template <typename Condition>
void waitFor(Condition condition) {
    for (int tries = 0; tries < 400 && !condition(); ++tries) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// Waits for a picture with another time code than `before`.
LFrame::Video nextPicture(LFrame& tap, const std::string& before) {
    LFrame::Video picture;
    waitFor([&] {
        picture = tap.getVideo();
        return picture.width > 0 && picture.timecode != before;
    });
    return picture;
}

// Jumps, and waits for a picture from there. The player's position changes just before the picture
// goes out, so the one behind it is sure to be a new one.
LFrame::Video pictureAt(LFile& file, LFrame& tap, double ms) {
    constexpr double near = 400.0;
    file.setPos(ms);
    waitFor([&] { return file.getPosMs() > ms - near && file.getPosMs() < ms + near; });
    return nextPicture(tap, tap.getVideo().timecode);
}

int cellHeightFor(const LFrame::Video& picture) {
    return std::clamp(cellWidth * picture.height / picture.width, 40, 640) & ~1;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return tell_usage(argc, argv, "FILE SHEET.png",
                          "draw moments of a media file as one picture");
    }
    LFile file;
    LFrame tap;
    tap.readerObject(&file);
    file.fileNameSet(argv[1]);
    file.play();
    LFrame::Video picture = nextPicture(tap, "");
    if (picture.width == 0) {
        std::printf("%s: no picture\n", argv[1]);
        file.stop();
        tap.readerObject(nullptr);
        return 1;
    }
    const int cellHeight = cellHeightFor(picture);
    RgbSheet sheet(gap + columns * (cellWidth + gap), gap + rows * (cellHeight + gap), background);
    const double duration = file.getDurationMs();
    for (int cell = 0; cell < columns * rows; ++cell) {
        if (cell > 0) picture = pictureAt(file, tap, duration * cell / (columns * rows));
        std::printf("picture %2d of %d at %6.2f s\n", cell + 1, columns * rows,
                    file.getPosMs() / 1000.0);
        sheet.put(placeOf(cell, cellHeight), picture);
    }
    file.stop();
    tap.readerObject(nullptr);
    const bool saved = sheet.save(argv[2]);
    std::printf("%s %s\n", saved ? "wrote" : "could not write", argv[2]);
    return saved ? 0 : 1;
}
