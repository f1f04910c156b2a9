// Items and groups of a character generator, as Python holds them.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>

#include "Gate.h"
#include "quolsdk/LCharacter.h"

namespace quolpy {

// A generator that Python made: it tells items that are there from those that were.
class Character : public LCharacter {
public:
    // Shared by those who look at an item, taken alone by those who change or remove any. Never
    // taken by a thread of the library, nor with the interpreter lock held.
    std::shared_mutex items;
    std::uint64_t removals = 0; // calls that may have removed items; under `items`
};

using CharacterPtr = std::shared_ptr<Character>;

[[noreturn]] void raiseReferenceError(const std::string& text);

// An item. Each access makes sure that it still is there.
class CharacterItem {
public:
    // With `items` of the generator held.
    CharacterItem(CharacterPtr character, LCGItem& item);
    virtual ~CharacterItem() = default;

    const CharacterPtr& owner() const { return character; }
    const std::string& id() const { return itemId; }

    // Calls `use` without the interpreter lock. Raises ReferenceError when the item was removed.
    template <typename Use>
    void access(Use use) {
        bool found = false;
        {
            const Unlocked unlocked;
            const std::shared_lock lock(character->items);
            if (isThere()) {
                use(*item);
                found = true;
            }
        }
        if (!found) raiseReferenceError("no item " + itemId + " any more");
    }

private:
    bool isThere();

    const CharacterPtr character;
    const std::string itemId;
    LCGItem* const item;
    std::atomic<std::uint64_t> seenRemovals;
};

// An item of one kind. What another item of that address is in its place counts as removed.
template <typename Item>
class KindItem : public CharacterItem {
public:
    using CharacterItem::CharacterItem;

    template <typename Use>
    void accessKind(Use use) {
        bool isKind = false;
        access([&](LCGItem& item) {
            auto* kind = dynamic_cast<Item*>(&item);
            isKind = kind != nullptr;
            if (isKind) use(*kind);
        });
        if (!isKind) raiseReferenceError("no item " + id() + " of that kind any more");
    }
};

// By the kind of the item; null for null. With `items` of the generator held.
std::shared_ptr<CharacterItem> wrapItem(const CharacterPtr& character, LCGItem* item);

// A group, known by its name.
class CharacterGroup {
public:
    CharacterGroup(CharacterPtr character, std::string name)
        : character(std::move(character)), groupName(std::move(name)) {}

    const CharacterPtr& owner() const { return character; }
    const std::string& name() const { return groupName; }

    // As CharacterItem::access.
    template <typename Use>
    void access(Use use) {
        bool found = false;
        {
            const Unlocked unlocked;
            const std::shared_lock lock(character->items);
            if (LCGGroup* group = character->getGroupObject(groupName)) {
                use(*group);
                found = true;
            }
        }
        if (!found) raiseReferenceError("no group " + groupName + " any more");
    }

private:
    const CharacterPtr character;
    const std::string groupName;
};

} // namespace quolpy
