#include "graphics/LottieRules.h"

#include <cmath>

#include "graphics/LottieLinks.h"

namespace quol {

using std::size_t;
using std::string_view;

namespace {

enum class LayerType { part = 0, image = 2, empty = 3, shapes = 4, text = 5 };

} // namespace

// ------------------------------------------------------------------------------- masks and effects

bool LottieRules::mask(size_t node) {
    static constexpr Member members[] = {{"mode", &Rules::filledText}, {"pt", &Rules::pathProperty},
                                         {"o", &Rules::property},      {"x", &Rules::expansion},
                                         {"inv", &Rules::flag},        {"nm", &Rules::text}};
    return object(node, members);
}

// With one key frame alone the engine looks for the next.
bool LottieRules::expansion(size_t node) {
    if (!property(node)) return false;
    const size_t value = tree_.member(node, "k");
    return value == 0 || number(value) || !is(value + 1, LottieKind::object) ||
           tree_.count(value) > 1;
}

bool LottieRules::effect(size_t node) {
    static constexpr Member members[] = {{"ty", &Rules::number},  {"nm", &Rules::text},
                                         {"mn", &Rules::text},    {"en", &Rules::flag},
                                         {"ef", &Rules::effects}, {"v", &Rules::numberOrProperty}};
    return object(node, members);
}

// ------------------------------------------------------------------------------------------ layers

bool LottieRules::layers(size_t list) {
    if (!is(list, LottieKind::list)) return false;
    LottieLinks parents;
    LottieLinks mattes;
    return tree_.each(list,
                      [&](size_t item) {
                          if (!layer(item)) return false;
                          const size_t ind = tree_.member(item, "ind");
                          const double own = ind == 0 ? 0.0 : tree_[ind].number;
                          const size_t parent = tree_.member(item, "parent");
                          if (parent != 0) parents.add(own, tree_[parent].number);
                          const size_t matte = tree_.member(item, "tp");
                          if (matte != 0) mattes.add(own, tree_[matte].number);
                          return true;
                      }) &&
           !parents.hasLoop() && !mattes.hasLoop();
}

bool LottieRules::layer(size_t node) {
    static constexpr Member members[] = {
        {"nm", &Rules::text},        {"ty", &Rules::number},    {"ind", &Rules::number},
        {"parent", &Rules::number},  {"refId", &Rules::text},   {"ip", &Rules::number},
        {"op", &Rules::number},      {"st", &Rules::number},    {"sr", &Rules::number},
        {"w", &Rules::number},       {"h", &Rules::number},     {"sw", &Rules::number},
        {"sh", &Rules::number},      {"sc", &Rules::text},      {"bm", &Rules::number},
        {"tt", &Rules::number},      {"td", &Rules::number},    {"tp", &Rules::number},
        {"ddd", &Rules::flag},       {"ao", &Rules::flag},      {"hd", &Rules::flag},
        {"cp", &Rules::flag},        {"hasMask", &Rules::flag}, {"tm", &Rules::property},
        {"ks", &Rules::transform},   {"ef", &Rules::effects},   {"masksProperties", &Rules::masks},
        {"matteSrc", &Rules::number}};
    if (!object(node, members) || !draws(1.0)) return false;
    return layerContent(node);
}

bool LottieRules::layerContent(size_t node) {
    const size_t typeAt = tree_.member(node, "ty");
    const double type = typeAt == 0 ? static_cast<double>(LayerType::empty) : tree_[typeAt].number;
    constexpr double mostTypes = 255.0; // the engine keeps it in a byte
    if (type != std::floor(type)) return false;
    if (type < 0.0 || type > mostTypes) repair_.emptyLayer(typeAt);
    const auto isType = [&](LayerType each) { return type == static_cast<double>(each); };
    const size_t shapesAt = tree_.member(node, "shapes");
    const size_t textAt = tree_.member(node, "t");
    if (shapesAt != 0 && !isType(LayerType::shapes))
        repair_.leaveOut(shapesAt);
    else if (shapesAt != 0 && !shapes(shapesAt))
        return false;
    if (textAt != 0 && !isType(LayerType::text))
        repair_.leaveOut(textAt);
    else if (textAt != 0 && !textData(textAt))
        return false;
    if (isType(LayerType::text) && (textAt == 0 || tree_.member(textAt, "d") == 0))
        repair_.emptyLayer(typeAt);
    if (isType(LayerType::part) || isType(LayerType::image)) parts_.addReference(node, owner_);
    return true;
}

// ------------------------------------------------------------------------------------- composition

bool LottieRules::composition(size_t node) {
    static constexpr Member members[] = {
        {"v", &Rules::text},      {"nm", &Rules::text},      {"fr", &Rules::number},
        {"ip", &Rules::number},   {"op", &Rules::number},    {"w", &Rules::number},
        {"h", &Rules::number},    {"ddd", &Rules::flag},     {"assets", &Rules::assets},
        {"fonts", &Rules::fonts}, {"chars", &Rules::glyphs}, {"markers", &Rules::markers},
        {"slots", &Rules::slots}};
    if (!object(node, members)) return false;
    const size_t layersAt = tree_.member(node, "layers");
    return layersAt != 0 && glyphsHaveFonts(node) && layersOf(0, layersAt);
}

// The owner is what LottieParts knows as one.
bool LottieRules::layersOf(size_t owner, size_t list) {
    owner_ = owner;
    drawn_ = 0.0;
    if (!layers(list)) return false;
    parts_.setObjects(owner, drawn_);
    return true;
}

bool LottieRules::asset(size_t node) {
    static constexpr Member members[] = {{"id", &Rules::textOrNumber}, {"nm", &Rules::text},
                                         {"u", &Rules::text},          {"p", &Rules::file},
                                         {"w", &Rules::number},        {"h", &Rules::number},
                                         {"e", &Rules::flag},          {"t", &Rules::textOrNumber}};
    if (!object(node, members)) return false;
    parts_.addAsset(node);
    const size_t layersAt = tree_.member(node, "layers");
    if (layersAt == 0) return true;
    const size_t file = tree_.member(node, "p");
    if (file != 0) repair_.leaveOut(file); // either an image or a part
    return layersOf(node, layersAt);
}

// A name, or the bytes themselves behind a comma.
bool LottieRules::file(size_t node) {
    if (!text(node)) return false;
    const string_view path = tree_.text(node);
    return path.substr(0, 5) != "data:" || path.find(',') != string_view::npos;
}

bool LottieRules::marker(size_t node) {
    static constexpr Member members[] = {
        {"cm", &Rules::text}, {"tm", &Rules::number}, {"dr", &Rules::number}};
    return object(node, members);
}

bool LottieRules::slots(size_t node) {
    return object(node, {}) && tree_.each(node, [&](size_t slot) {
        return is(slot, LottieKind::object) && !hasDoubleKey(slot);
    });
}

} // namespace quol
