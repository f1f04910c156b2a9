// A small C++ host: a contact sheet of what a frame tap sees of a file, as a PNG.
//
//     contact_sheet FILE SHEET.png
//
// Exit status: 0 done, 1 the file shows no picture, 2 wrong use.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "PngWriter.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LFrame.h"
#include "usage.h"

namespace {

constexpr int columns = 4;
constexpr int rows = 3;
constexpr int cellWidth = 320;
constexpr int gap = 8;
constexpr std::uint8_t background = 24;

// The sheet while it is being filled.
class Sheet {
public:
    explicit Sheet(int cellHeight)
        : cellHeight_(cellHeight),
          width_(gap + columns * (cellWidth + gap)),
          height_(gap + rows * (cellHeight + gap)),
          pixels_(static_cast<std::size_t>(width_) * height_ * 3, background) {}

    void put(int cell, const LFrame::Video& picture) {
        const auto rgb = scaleToRgb(picture.rgba, picture.width, picture.height, picture.stride,
                                    cellWidth, cellHeight_);
        if (rgb.empty()) return;
        const int left = gap + cell % columns * (cellWidth + gap);
        const int top = gap + cell / columns * (cellHeight_ + gap);
        for (int row = 0; row < cellHeight_; ++row) {
            const std::size_t target = (static_cast<std::size_t>(top + row) * width_ + left) * 3;
            const std::size_t source = static_cast<std::size_t>(row) * cellWidth * 3;
            std::memcpy(&pixels_[target], &rgb[source], static_cast<std::size_t>(cellWidth) * 3);
        }
    }

    bool save(const std::string& path) const { return writePng(path, width_, height_, pixels_); }

private:
    int cellHeight_;
    int width_;
    int height_;
    std::vector<std::uint8_t> pixels_;
};

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
    Sheet sheet(cellHeightFor(picture));
    const double duration = file.getDurationMs();
    for (int cell = 0; cell < columns * rows; ++cell) {
        if (cell > 0) picture = pictureAt(file, tap, duration * cell / (columns * rows));
        std::printf("picture %2d of %d at %6.2f s\n", cell + 1, columns * rows,
                    file.getPosMs() / 1000.0);
        sheet.put(cell, picture);
    }
    file.stop();
    tap.readerObject(nullptr);
    const bool saved = sheet.save(argv[2]);
    std::printf("%s %s\n", saved ? "wrote" : "could not write", argv[2]);
    return saved ? 0 : 1;
}
