// The items of the character generator, and their groups.
#include "Bind.h"
#include "CharacterItem.h"

namespace quolpy {

namespace {

using ItemClass = Class<CharacterItem>;
using GroupClass = Class<CharacterGroup>;

template <typename T>
void bindField(ItemClass& item, const char* name, std::atomic<T> LCGItem::*field,
               const char* text) {
    item.def_property(
        name,
        [field](CharacterItem& self) {
            T value{};
            self.access([&](LCGItem& i) { value = i.*field; });
            return value;
        },
        [field](CharacterItem& self, T value) {
            self.access([&](LCGItem& i) { i.*field = value; });
        },
        text);
}

template <typename T>
void bindGroupField(GroupClass& group, const char* name, std::atomic<T> LCGGroup::*field,
                    const char* text) {
    group.def_property(
        name,
        [field](CharacterGroup& self) {
            T value{};
            self.access([&](LCGGroup& g) { value = g.*field; });
            return value;
        },
        [field](CharacterGroup& self, T value) {
            self.access([&](LCGGroup& g) { g.*field = value; });
        },
        text);
}

template <typename Item>
Class<KindItem<Item>, CharacterItem> bindKind(py::module_& module, const char* name,
                                              const char* text) {
    Class<KindItem<Item>, CharacterItem> kind(module, name, text);
    kind.def_property_readonly(
        "props",
        [](KindItem<Item>& self) {
            decltype(Item::props) props;
            self.accessKind([&](Item& item) { props = item.props; });
            return props;
        },
        "What it shows, and how: a copy. LCharacter.updateItem changes it.");
    return kind;
}

void bindItem(ItemClass& item) {
    item.def_property_readonly("id", &CharacterItem::id, "Name.");
    bindField(item, "x", &LCGItem::x, "Left edge now, pixels.");
    bindField(item, "y", &LCGItem::y, "Top edge now, pixels.");
    bindField(item, "startX", &LCGItem::startX, "Left edge at home.");
    bindField(item, "startY", &LCGItem::startY, "Top edge at home.");
    bindField(item, "w", &LCGItem::w, "Pixels.");
    bindField(item, "h", &LCGItem::h, "Pixels.");
    bindField(item, "show", &LCGItem::show, "Visible.");
    bindField(item, "alpha", &LCGItem::alpha, "Opacity, 0.0 to 1.0.");
    bindField(item, "moveSpeed", &LCGItem::moveSpeed, "Pixels a picture, signed.");
    bindField(item, "moveLoop", &LCGItem::moveLoop,
              "Beyond the edge: come in at the other side, or hide and go home.");
    item.def_property(
            "moveType",
            [](CharacterItem& self) {
                std::string type;
                self.access([&](LCGItem& i) { type = i.moveType.load(); });
                return Text(type);
            },
            [](CharacterItem& self, const std::string& type) {
                self.access([&](LCGItem& i) { i.moveType = type; });
            },
            "\"Horizontal\" or \"Vertical\": the item drifts.")
        .def_property_readonly(
            "group",
            [](CharacterItem& self) -> std::shared_ptr<CharacterGroup> {
                std::string name;
                self.access([&](LCGItem& i) {
                    if (i.group != nullptr) name = i.group->name;
                });
                if (name.empty()) return nullptr;
                return std::make_shared<CharacterGroup>(self.owner(), name);
            },
            "The group it is in; None for none.");
}

void bindGroup(GroupClass& group) {
    group.def_property_readonly("name", &CharacterGroup::name, "Key of the group.");
    bindGroupField(group, "show", &LCGGroup::show, "Of all members, beside their own.");
    bindGroupField(group, "x", &LCGGroup::x, "Added to every member's position, pixels.");
    bindGroupField(group, "y", &LCGGroup::y, "Added to every member's position, pixels.");
    group.def_property_readonly(
        "items",
        [](CharacterGroup& self) {
            std::vector<std::shared_ptr<CharacterItem>> items;
            self.access([&](LCGGroup& g) {
                for (LCGItem* item : g.items)
                    items.push_back(wrapItem(self.owner(), item));
            });
            return items;
        },
        "The members.");
}

} // namespace

void bindCharacterItems(py::module_& module) {
    // Each names the other.
    ItemClass item(module, "LCGItem",
                   "An item of a character generator. ReferenceError once it was removed.");
    GroupClass group(module, "LCGGroup",
                     "Items that are shown, hidden and moved together. ReferenceError once the "
                     "group was ended.");
    bindItem(item);
    bindGroup(group);
    bindKind<LCGTextItem>(module, "LCGTextItem", "Lines in a box.");
    bindKind<LCGCrawlItem>(module, "LCGCrawlItem", "Lines that run through a box.")
        .def_property_readonly(
            "scrollX",
            [](KindItem<LCGCrawlItem>& self) {
                float x = 0.0F;
                self.accessKind([&](LCGCrawlItem& item) { x = item.scrollX; });
                return x;
            },
            "Left edge of the running text.")
        .def_property_readonly(
            "scrollY",
            [](KindItem<LCGCrawlItem>& self) {
                float y = 0.0F;
                self.accessKind([&](LCGCrawlItem& item) { y = item.scrollY; });
                return y;
            },
            "Top edge of the running text.");
    bindKind<LCGTickerItem>(module, "LCGTickerItem", "Lines in a box, one at a time.");
    bindKind<LCGImageItem>(module, "LCGImageItem", "A still image.");
    bindKind<LCGVideoItem>(module, "LCGVideoItem", "A clip, a picture a tick.");
    bindKind<LCGRectItem>(module, "LCGRectItem", "A panel.");
}

} // namespace quolpy
