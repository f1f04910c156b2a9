/// @file
/// The items of the character generator, and their groups.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "quolsdk/LCGProps.h"
#include "quolsdk/SharedText.h"
#include "quolsdk/export.h"

struct LCGGroup;

namespace quol {
struct CrawlState;
struct ItemMemory;
struct TickerState;
class VideoItemReader;
} // namespace quol

/// What all items have. LCharacter owns them: a pointer stands until the item is removed or the
/// scene is loaded anew.
///
/// The atomic fields and `moveType` may be written at any time from any thread;
/// LCharacter::forceUpdate makes a scene that stands still show them. While an item drifts its
/// position is the generator's, which may overwrite one that is written at the same moment. All
/// others, `props` included, are read by the render thread: change them by LCharacter::updateItem,
/// or while the generator does not run on them.
class QUOLSDK_API LCGItem {
public:
    LCGItem();
    LCGItem(const LCGItem&) = delete;
    LCGItem& operator=(const LCGItem&) = delete;
    virtual ~LCGItem();

    std::string id;                     ///< name
    std::atomic<float> x{0.0F};         ///< left edge now, pixels
    std::atomic<float> y{0.0F};         ///< top edge now, pixels
    std::atomic<float> startX{0.0F};    ///< left edge at home
    std::atomic<float> startY{0.0F};    ///< top edge at home
    std::atomic<int> w{0};              ///< pixels
    std::atomic<int> h{0};              ///< pixels
    std::atomic<bool> show{true};       ///< visible
    std::atomic<float> alpha{1.0F};     ///< opacity, 0.0 to 1.0
    LCGGroup* group = nullptr;          ///< not owned; null for an item of its own
    quol::SharedText moveType{"None"};  ///< "Horizontal" or "Vertical": the item drifts
    std::atomic<float> moveSpeed{0.0F}; ///< pixels a picture, signed
    /// Beyond the edge of the picture: come in at the other side (true), or hide and go home. Also
    /// whether a video begins again, and whether a separator follows the last entry of a crawl.
    std::atomic<bool> moveLoop{true};

    /// What was drawn last: the generator's own.
    const std::unique_ptr<quol::ItemMemory> memory;
};

/// Lines in a box.
class QUOLSDK_API LCGTextItem : public LCGItem {
public:
    LCGTextProps props; ///< what it shows, and how
};

/// Lines that run through a box.
class QUOLSDK_API LCGCrawlItem : public LCGItem {
public:
    LCGCrawlItem();
    ~LCGCrawlItem() override;

    LCGCrawlProps props;                           ///< what it shows, and how
    std::atomic<float> scrollX{0.0F};              ///< left edge of the running text
    std::atomic<float> scrollY{0.0F};              ///< top edge of the running text
    const std::unique_ptr<quol::CrawlState> state; ///< the drawn text: the generator's own
};

/// Lines in a box, one at a time.
class QUOLSDK_API LCGTickerItem : public LCGItem {
public:
    LCGTickerItem();
    ~LCGTickerItem() override;

    LCGTickerProps props;                           ///< what it shows, and how
    const std::unique_ptr<quol::TickerState> state; ///< which line shows: the generator's own
};

/// A still image.
class QUOLSDK_API LCGImageItem : public LCGItem {
public:
    LCGImageProps props; ///< what it shows, and how
};

/// A clip, a picture a tick.
class QUOLSDK_API LCGVideoItem : public LCGItem {
public:
    LCGVideoItem();
    ~LCGVideoItem() override;

    LCGVideoProps props;                                 ///< what it shows, and how
    const std::unique_ptr<quol::VideoItemReader> reader; ///< the open file: the generator's own
};

/// A panel.
class QUOLSDK_API LCGRectItem : public LCGItem {
public:
    LCGRectProps props; ///< what it shows, and how
};

/// Items that are shown, hidden and moved together.
struct QUOLSDK_API LCGGroup {
    std::string name;             ///< key of the group
    std::atomic<bool> show{true}; ///< of all members, beside their own
    std::atomic<float> x{0.0F};   ///< added to every member's position, pixels
    std::atomic<float> y{0.0F};   ///< added to every member's position, pixels
    std::vector<LCGItem*> items;  ///< not owned
};
