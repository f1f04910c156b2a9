// The character generator.
#include "Bind.h"
#include "CharacterItem.h"

namespace quolpy {

namespace {

using CharacterClass = Class<Character, LObject>;
using ItemPtr = std::shared_ptr<CharacterItem>;
using GroupPtr = std::shared_ptr<CharacterGroup>;

// A change of items, which nobody looks at meanwhile.
template <typename Change>
auto changeItems(Character& character, Change change) {
    const std::unique_lock lock(character.items);
    ++character.removals;
    return change();
}

template <typename Props>
void bindItemsOf(CharacterClass& character) {
    character
        .def(
            "addItem",
            [](const CharacterPtr& self, const std::string& id, int x, int y, int w, int h,
               const Props& props) {
                const std::shared_lock lock(self->items);
                return wrapItem(self, self->addItem(id, x, y, w, h, props));
            },
            unlocked(), py::arg("id"), py::arg("x"), py::arg("y"), py::arg("w"), py::arg("h"),
            py::arg("props"),
            std::is_same_v<Props, LCGVideoProps>
                ? "Adds an item on top; a size of 0 is the picture's own. None, and no item, for a "
                  "video that cannot be played."
                : "Adds an item on top; a size of 0 is the picture's, or the image's own.")
        .def(
            "updateItem",
            [](Character& self, const std::string& id, int x, int y, int w, int h, float alpha,
               bool show, const Props& props) {
                const std::unique_lock lock(self.items);
                self.updateItem(id, x, y, w, h, alpha, show, props);
            },
            unlocked(), py::arg("id"), py::arg("x"), py::arg("y"), py::arg("w"), py::arg("h"),
            py::arg("alpha"), py::arg("show"), py::arg("props"),
            "Changes an item of the kind that fits the record.");
}

void bindChanges(CharacterClass& character) {
    character
        .def("showItem", &Character::showItem, unlocked(), py::arg("id"), py::arg("show"),
             "Shows or hides an item, or a group.")
        .def(
            "remove",
            [](Character& self, const std::string& id) {
                changeItems(self, [&] { self.remove(id); });
            },
            unlocked(), py::arg("id"), "Takes the first item of that id away.")
        .def(
            "group",
            [](Character& self, const std::vector<std::string>& ids) {
                return changeItems(self, [&] { return self.group(ids); });
            },
            unlocked(), py::arg("ids"), "Makes a group of these items and returns its name.")
        .def(
            "unGroup",
            [](Character& self, const std::string& name) {
                changeItems(self, [&] { self.unGroup(name); });
            },
            unlocked(), py::arg("name"), "Ends a group; its items stay.")
        .def(
            "deleteGroup",
            [](Character& self, const std::string& name) {
                changeItems(self, [&] { self.deleteGroup(name); });
            },
            unlocked(), py::arg("name"), "Ends a group with its items.");
}

void bindAccess(CharacterClass& character) {
    character.def("getItemCount", &Character::getItemCount, unlocked(), "Items on the list.")
        .def(
            "getItemByIndex",
            [](const CharacterPtr& self, int index) {
                const std::shared_lock lock(self->items);
                return wrapItem(self, self->getItemByIndex(index));
            },
            unlocked(), py::arg("index"), "In drawing order; None out of range.")
        .def(
            "getItem",
            [](const CharacterPtr& self, const std::string& id) {
                const std::shared_lock lock(self->items);
                return wrapItem(self, self->getItem(id));
            },
            unlocked(), py::arg("id"), "None for an unknown id.")
        .def("getGroupCount", &Character::getGroupCount, unlocked(), "Groups.")
        .def(
            "getGroupByIndex",
            [](const CharacterPtr& self, int index) -> GroupPtr {
                const std::shared_lock lock(self->items);
                const LCGGroup* group = self->getGroupByIndex(index);
                if (group == nullptr) return nullptr;
                return std::make_shared<CharacterGroup>(self, group->name);
            },
            unlocked(), py::arg("index"), "In name order; None out of range.")
        .def(
            "getGroup",
            [](Character& self, const std::string& id) { return Text(self.getGroup(id)); },
            unlocked(), py::arg("id"), "Name of an item's group; empty without one.")
        .def(
            "getGroupObject",
            [](const CharacterPtr& self, const std::string& name) -> GroupPtr {
                const std::shared_lock lock(self->items);
                if (self->getGroupObject(name) == nullptr) return nullptr;
                return std::make_shared<CharacterGroup>(self, name);
            },
            unlocked(), py::arg("name"), "None for an unknown name.")
        .def("groupItemCount", &Character::groupItemCount, unlocked(), py::arg("name"),
             "0 for an unknown name.")
        .def(
            "getGroupItemByIndex",
            [](const CharacterPtr& self, const std::string& name, int index) {
                const std::shared_lock lock(self->items);
                return wrapItem(self, self->getGroupItemByIndex(name, index));
            },
            unlocked(), py::arg("name"), py::arg("index"), "None out of range.");
}

void bindScene(CharacterClass& character) {
    character
        .def("hasVisibleItem", &Character::hasVisibleItem, unlocked(),
             "Whether the latest picture had a visible item.")
        .def("isDynamic", &Character::isDynamic, unlocked(),
             "Whether the scene is drawn at every tick.")
        .def("forceUpdate", &Character::forceUpdate, unlocked(), "Draws it at the next tick.")
        .def("setFPS", &Character::setFPS, unlocked(), py::arg("fps"), "Pictures a second.")
        .def(
            "saveToXMLFile",
            [](Character& self, const Path& path) {
                const std::shared_lock lock(self.items);
                self.saveToXMLFile(path.string());
            },
            unlocked(), py::arg("path"), "Writes the scene to a text file.")
        .def(
            "insertFromXMLFile",
            [](Character& self, const Path& path) {
                changeItems(self, [&] { self.insertFromXMLFile(path.string()); });
            },
            unlocked(), py::arg("path"), "Puts a file's items into the scene.")
        .def(
            "loadFromXMLFile",
            [](Character& self, const Path& path) {
                changeItems(self, [&] { self.loadFromXMLFile(path.string()); });
            },
            unlocked(), py::arg("path"), "Puts a file's items in place of the scene.")
        .def_static("hexToUint", &Character::hexToUint, py::arg("text"), "As LCGColor reads it.")
        .def_static("uintToHex", &Character::uintToHex, py::arg("color"),
                    "\"#RRGGBB\", without the alpha.");
}

} // namespace

void bindCharacter(py::module_& module) {
    CharacterClass character(module, "LCharacter",
                             "Titles, crawls, tickers, images and panels as pictures with alpha.");
    character.def(py::init([] { return make<Character>(); }));
    bindItemsOf<LCGTextProps>(character);
    bindItemsOf<LCGCrawlProps>(character);
    bindItemsOf<LCGTickerProps>(character);
    bindItemsOf<LCGRectProps>(character);
    bindItemsOf<LCGImageProps>(character);
    bindItemsOf<LCGVideoProps>(character);
    bindChanges(character);
    bindAccess(character);
    bindScene(character);
}

} // namespace quolpy
