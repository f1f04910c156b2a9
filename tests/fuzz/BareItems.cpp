// Items without what draws them: a project file tells their records alone, and the programs link
// neither cairo nor FFmpeg.
#include "quolsdk/LCGItems.h"

namespace quol {
struct ItemMemory {};
struct CrawlState {};
struct TickerState {};
class VideoItemReader {};
} // namespace quol

LCGItem::LCGItem() : memory(nullptr) {}
LCGItem::~LCGItem() = default;

LCGCrawlItem::LCGCrawlItem() : state(nullptr) {}
LCGCrawlItem::~LCGCrawlItem() = default;

LCGTickerItem::LCGTickerItem() : state(nullptr) {}
LCGTickerItem::~LCGTickerItem() = default;

LCGVideoItem::LCGVideoItem() : reader(nullptr) {}
LCGVideoItem::~LCGVideoItem() = default;
