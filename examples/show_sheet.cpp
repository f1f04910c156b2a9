#include "show_sheet.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <mutex>
#include <utility>

#include "RgbSheet.h"
#include "quolsdk/LCharacter.h"
#include "quolsdk/LFile.h"
#include "quolsdk/LFrame.h"

namespace show {

namespace {

constexpr int gap = 8;
constexpr int labelHeight = 30;
constexpr int fontSize = 20;
constexpr std::uint8_t background = 24;
constexpr auto patience = std::chrono::seconds(5);

// A tap that waits for a picture of its choice.
class Picker : public LFrame {
public:
    // Whether a picture is wanted is asked about each one, inside its push.
    LFrame::Video pick(std::function<bool()> wanted, const std::function<void()>& begin) {
        std::unique_lock lock(mutex_);
        wanted_ = std::move(wanted);
        isPicked_ = false;
        lock.unlock();
        begin();
        lock.lock();
        const bool came = picked_.wait_for(lock, patience, [&] { return isPicked_; });
        wanted_ = nullptr;
        return came ? getVideo() : LFrame::Video();
    }

    void pushVideoFrame(AVFrame* frame) override {
        const std::lock_guard lock(mutex_);
        if (!wanted_ || isPicked_ || !wanted_()) return;
        LFrame::pushVideoFrame(frame);
        isPicked_ = true;
        picked_.notify_all();
    }

private:
    std::mutex mutex_; // guards all below
    std::condition_variable picked_;
    std::function<bool()> wanted_;
    bool isPicked_ = false;
};

// A recording, picture by picture.
class Recording {
public:
    explicit Recording(const std::string& path) {
        picker_.readerObject(&file_);
        file_.fileNameSet(path);
        isOpen_ = file_.play();
    }
    ~Recording() {
        file_.stop();
        picker_.readerObject(nullptr);
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // The picture at that time; where there is a hole in the recording, the next one. The position
    // is that of the picture being pushed.
    LFrame::Video at(double seconds) {
        if (!isOpen_) return {};
        constexpr double largestHole = 1000.0;
        const double earliest = seconds * 1000.0 - 1500.0 / file_.getFPS();
        const auto isWanted = [=, this] {
            const double position = file_.getPosMs();
            return position >= earliest && position <= earliest + largestHole;
        };
        return picker_.pick(isWanted, [=, this] { file_.setPos(seconds * 1000.0); });
    }

private:
    LFile file_;
    Picker picker_;
    bool isOpen_ = false;
};

// All labels in one picture, drawn by the character generator.
LFrame::Video drawLabels(const std::vector<Moment>& moments, const SheetLayout& layout) {
    LCharacter titles;
    for (std::size_t i = 0; i < moments.size(); ++i) {
        const int cell = static_cast<int>(i);
        LCGTextProps props;
        props.text = moments[i].label;
        props.font = "DejaVu Sans";
        props.fontSize = fontSize;
        props.autoShrink = true;
        titles.addItem("label " + std::to_string(i), layout.left(cell),
                       layout.top(cell) + layout.pictureHeight, layout.cellWidth, labelHeight,
                       props);
    }
    Picker picker;
    const int before = 2; // one may be in the making without the last label
    std::atomic<int> seen{0};
    LFrame::Video picture =
        picker.pick([&] { return ++seen > before; }, [&] { picker.readerObject(&titles); });
    picker.readerObject(nullptr);
    return picture;
}

SheetLayout layoutOf(int columns) {
    const int width = ((sheetWidth - gap) / columns - gap) & ~1;
    return {columns, width, (width * 9 / 16) & ~1};
}

int rowHeight(const SheetLayout& layout) {
    return layout.pictureHeight + labelHeight + gap;
}

} // namespace

int SheetLayout::left(int cell) const {
    return gap + cell % columns * (cellWidth + gap);
}

int SheetLayout::top(int cell) const {
    return gap + cell / columns * rowHeight(*this);
}

SheetLayout layOutSheet(int cells) {
    constexpr int mostColumns = 40;
    for (int columns = 1; columns < mostColumns; ++columns) {
        const SheetLayout layout = layoutOf(columns);
        const int rows = (sheetHeight - gap) / rowHeight(layout);
        if (rows * columns >= cells) return layout;
    }
    return layoutOf(mostColumns);
}

bool writeSheet(const std::string& recording, const std::vector<Moment>& moments,
                const std::string& path) {
    const SheetLayout layout = layOutSheet(static_cast<int>(moments.size()));
    RgbSheet sheet(sheetWidth, sheetHeight, background);
    Recording movie(recording);
    bool isWhole = true;
    for (std::size_t i = 0; i < moments.size(); ++i) {
        const LFrame::Video picture = movie.at(moments[i].seconds);
        const int cell = static_cast<int>(i);
        if (layout.top(cell) + rowHeight(layout) > sheetHeight) break;
        if (picture.width == 0) {
            std::printf("  NO PICTURE at %.2f s: %s\n", moments[i].seconds,
                        moments[i].label.c_str());
            isWhole = false;
            continue;
        }
        sheet.put({layout.left(cell), layout.top(cell), layout.cellWidth, layout.pictureHeight},
                  picture);
    }
    sheet.lay(drawLabels(moments, layout));
    const int rows = (static_cast<int>(moments.size()) + layout.columns - 1) / layout.columns;
    if (sheet.save(path, gap + rows * rowHeight(layout))) return isWhole;
    std::printf("  CANNOT WRITE %s\n", path.c_str());
    return false;
}

} // namespace show
