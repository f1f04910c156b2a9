#include "graphics/LottieRules.h"

namespace quol {

using std::size_t;
using std::string_view;

// ------------------------------------------------------------------------------------------- fonts

bool LottieRules::fonts(size_t node) {
    static constexpr Member members[] = {{"list", &Rules::fontList}};
    return object(node, members);
}

bool LottieRules::font(size_t node) {
    static constexpr Member members[] = {{"fName", &Rules::text},    {"fFamily", &Rules::text},
                                         {"fStyle", &Rules::text},   {"fPath", &Rules::text},
                                         {"ascent", &Rules::number}, {"origin", &Rules::number}};
    return object(node, members) && tree_.member(node, "fName") != 0;
}

// ------------------------------------------------------------------------------------------ glyphs

// Glyphs are looked up by all three names of a font.
bool LottieRules::glyphsHaveFonts(size_t root) const {
    const size_t glyphsAt = tree_.member(root, "chars");
    const size_t fontsAt = tree_.member(root, "fonts");
    if (glyphsAt == 0 || fontsAt == 0 || tree_.count(glyphsAt) == 0) return true;
    const size_t list = tree_.member(fontsAt, "list");
    return list == 0 || tree_.each(list, [&](size_t each) {
        return hasAll(each, {"fName", "fFamily", "fStyle"});
    });
}

bool LottieRules::glyph(size_t node) {
    static constexpr Member members[] = {{"ch", &Rules::text},      {"style", &Rules::text},
                                         {"fFamily", &Rules::text}, {"w", &Rules::number},
                                         {"size", &Rules::number},  {"data", &Rules::glyphData}};
    return object(node, members) && hasAll(node, {"ch", "style", "fFamily"});
}

// A blank has no outline: the engine takes that as an object without members, not as an empty
// list.
bool LottieRules::glyphData(size_t node) {
    static constexpr Member members[] = {{"shapes", &Rules::glyphShapes}};
    const size_t list = tree_.member(node, "shapes");
    const bool isAlone = list != 0 && tree_[node].end == tree_[list].end && list == node + 1;
    if (isAlone && is(list, LottieKind::list) && tree_.count(list) == 0) {
        repair_.erase(list);
        return true;
    }
    return object(node, members) && (hasShapes(node) || tree_[node].end == node + 1);
}

bool LottieRules::hasShapes(size_t node) const {
    const size_t list = tree_.member(node, "shapes");
    return list != 0 && tree_.count(list) > 0;
}

bool LottieRules::glyphShapes(size_t node) {
    drawn_ = 0.0;
    return shapes(node) && tree_.each(node, [&](size_t item) {
        if (!isShape(item, "gr")) return false;
        const size_t items = tree_.member(item, "it");
        return items != 0 && tree_[items].end > items + 1 &&
               tree_.each(items, [&](size_t each) { return isShape(each, "sh"); });
    });
}

} // namespace quol
