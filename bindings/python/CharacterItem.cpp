#include "CharacterItem.h"

namespace quolpy {

void raiseReferenceError(const std::string& text) {
    PyErr_SetString(PyExc_ReferenceError, text.c_str());
    throw py::error_already_set();
}

CharacterItem::CharacterItem(CharacterPtr character, LCGItem& item)
    : character(std::move(character)),
      itemId(item.id),
      item(&item),
      seenRemovals(this->character->removals) {}

// Looked for only when something has been removed since it was seen last.
bool CharacterItem::isThere() {
    if (seenRemovals == character->removals) return true;
    const int count = character->getItemCount();
    for (int i = 0; i < count; ++i) {
        if (character->getItemByIndex(i) != item) continue;
        if (item->id != itemId) return false; // another one in its place
        seenRemovals = character->removals;
        return true;
    }
    return false;
}

std::shared_ptr<CharacterItem> wrapItem(const CharacterPtr& character, LCGItem* item) {
    if (item == nullptr) return nullptr;
    if (dynamic_cast<LCGTextItem*>(item) != nullptr)
        return std::make_shared<KindItem<LCGTextItem>>(character, *item);
    if (dynamic_cast<LCGCrawlItem*>(item) != nullptr)
        return std::make_shared<KindItem<LCGCrawlItem>>(character, *item);
    if (dynamic_cast<LCGTickerItem*>(item) != nullptr)
        return std::make_shared<KindItem<LCGTickerItem>>(character, *item);
    if (dynamic_cast<LCGImageItem*>(item) != nullptr)
        return std::make_shared<KindItem<LCGImageItem>>(character, *item);
    if (dynamic_cast<LCGVideoItem*>(item) != nullptr)
        return std::make_shared<KindItem<LCGVideoItem>>(character, *item);
    if (dynamic_cast<LCGRectItem*>(item) != nullptr)
        return std::make_shared<KindItem<LCGRectItem>>(character, *item);
    return std::make_shared<CharacterItem>(character, *item);
}

} // namespace quolpy
