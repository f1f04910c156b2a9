#include "graphics/LottieRules.h"

#include <algorithm>
#include <cmath>

#include "graphics/LottieLimits.h"

namespace quol {

using std::size_t;
using std::string_view;

namespace {

// Points of a path lie nearer than this: the engine cuts a longer curve into pieces for ever.
constexpr double maxCoordinate = 1e6;

// Copies and points may swing over by this much between two key frames.
constexpr double maxSwing = 16.0;

} // namespace

// ------------------------------------------------------------------------------------------- paths

bool LottieRules::pathProperty(size_t node) {
    static constexpr Member members[] = {{"k", &Rules::pathValue},
                                         {"a", &Rules::flag},
                                         {"ix", &Rules::number},
                                         {"sid", &Rules::text},
                                         {"x", &Rules::noExpression}};
    return object(node, members) && tree_.member(node, "k") != 0;
}

bool LottieRules::pathValue(size_t node) {
    if (is(node, LottieKind::object)) return path(node);
    return is(node, LottieKind::list) && tree_.count(node) > 0 &&
           keyFrames(node, &Rules::pathInList);
}

bool LottieRules::pathInList(size_t node) {
    return is(node, LottieKind::list) && tree_.count(node) == 1 && path(node + 1);
}

bool LottieRules::path(size_t node) {
    static constexpr Member members[] = {
        {"i", &Rules::points}, {"o", &Rules::points}, {"v", &Rules::points}, {"c", &Rules::flag}};
    if (!object(node, members)) return false;
    const size_t in = tree_.member(node, "i");
    const size_t out = tree_.member(node, "o");
    const size_t vertices = tree_.member(node, "v");
    if (in == 0 || out == 0 || vertices == 0) return false;
    const size_t count = tree_.count(vertices);
    return tree_.count(in) == count && tree_.count(out) == count;
}

bool LottieRules::points(size_t node) {
    return is(node, LottieKind::list) && tree_.each(node, [&](size_t point) {
        return tree_[point].end >= point + 3 && numbersUpTo(point, maxCoordinate);
    });
}

// ------------------------------------------------------------------------------ counted properties

// Every number of a property that the engine counts to.
bool LottieRules::countProperty(size_t node, double most) {
    if (!property(node)) return false;
    const size_t expression = tree_.member(node, "x");
    if (expression != 0) repair_.leaveOut(expression); // whose result nobody knows
    const size_t value = tree_.member(node, "k");
    if (value == 0) return true;
    if (is(value, LottieKind::list) && is(value + 1, LottieKind::object))
        return tree_.each(value, [&](size_t frame) {
            return tree_.each(frame, [&](size_t child) {
                const string_view key = tree_.key(child);
                if (key == "s" || key == "e") return within(child, 0.0, most);
                return (key != "i" && key != "o") || within(child, -maxSwing, maxSwing);
            });
        });
    return within(value, 0.0, most);
}

// All numbers of a value.
bool LottieRules::within(size_t node, double least, double most) {
    for (size_t each = node; each < tree_[node].end; ++each) {
        const double number = tree_[each].number;
        if (number > most || number < least) return false;
        largest_ = std::max(largest_, number);
    }
    return true;
}

bool LottieRules::copies(size_t node) {
    return countProperty(node, maxLottieCopies);
}

bool LottieRules::starPoints(size_t node) {
    return countProperty(node, maxLottiePoints);
}

// ------------------------------------------------------------------------------------------ shapes

bool LottieRules::transform(size_t node) {
    static constexpr Member members[] = {
        {"ty", &Rules::text},     {"nm", &Rules::text},     {"hd", &Rules::flag},
        {"p", &Rules::vector},    {"a", &Rules::vector},    {"s", &Rules::vector},
        {"r", &Rules::property},  {"o", &Rules::property},  {"sk", &Rules::property},
        {"sa", &Rules::property}, {"rx", &Rules::property}, {"ry", &Rules::property},
        {"rz", &Rules::property}, {"or", &Rules::property}, {"so", &Rules::property},
        {"eo", &Rules::property}, {"ddd", &Rules::flag}};
    return object(node, members);
}

// What is drawn of a list counts as often as its repeaters repeat it.
bool LottieRules::shapes(size_t list) {
    if (!is(list, LottieKind::list)) return false;
    const double outside = times_;
    const bool good = tree_.each(list, [&](size_t item) { return repeats(item); }) &&
                      tree_.each(list, [&](size_t item) { return shape(item); });
    times_ = outside;
    return good;
}

bool LottieRules::repeats(size_t item) {
    if (!isShape(item, "rp")) return true;
    const size_t count = tree_.member(item, "c");
    largest_ = 1.0;
    if (count != 0 && !copies(count)) return false;
    times_ *= largest_;
    return true;
}

bool LottieRules::isShape(size_t item, string_view type) const {
    const size_t at = tree_.member(item, "ty");
    return at != 0 && is(at, LottieKind::text) && tree_.text(at) == type;
}

bool LottieRules::draws(double objects) {
    drawn_ += objects * times_;
    return drawn_ <= maxLottieObjects;
}

bool LottieRules::shape(size_t node) {
    const size_t typeAt = tree_.member(node, "ty");
    if (typeAt == 0) return object(node, {});
    if (!text(typeAt) || !draws(1.0)) return false;
    return shapeOf(tree_.text(typeAt), node);
}

bool LottieRules::shapeOf(string_view type, size_t node) {
    static constexpr Member gradientFill[] = {
        {"s", &Rules::vector},   {"e", &Rules::vector},   {"g", &Rules::gradient},
        {"h", &Rules::property}, {"a", &Rules::property}, {"o", &Rules::property},
        {"t", &Rules::number},   {"r", &Rules::number},   {"w", &Rules::property},
        {"lc", &Rules::number},  {"lj", &Rules::number},  {"ml", &Rules::number},
        {"d", &Rules::dashes},   {"nm", &Rules::text},    {"hd", &Rules::flag}};
    static constexpr Member paint[] = {{"c", &Rules::vector},   {"o", &Rules::property},
                                       {"w", &Rules::property}, {"r", &Rules::number},
                                       {"lc", &Rules::number},  {"lj", &Rules::number},
                                       {"ml", &Rules::number},  {"d", &Rules::dashes},
                                       {"nm", &Rules::text},    {"hd", &Rules::flag}};
    static constexpr Member rectangle[] = {{"p", &Rules::vector},   {"s", &Rules::vector},
                                           {"r", &Rules::property}, {"d", &Rules::number},
                                           {"nm", &Rules::text},    {"hd", &Rules::flag}};
    static constexpr Member outline[] = {{"ks", &Rules::pathProperty},
                                         {"d", &Rules::number},
                                         {"nm", &Rules::text},
                                         {"hd", &Rules::flag}};
    static constexpr Member group[] = {
        {"it", &Rules::shapes}, {"nm", &Rules::text}, {"hd", &Rules::flag}, {"bm", &Rules::number}};
    static constexpr Member trim[] = {{"s", &Rules::property}, {"e", &Rules::property},
                                      {"o", &Rules::property}, {"m", &Rules::number},
                                      {"nm", &Rules::text},    {"hd", &Rules::flag}};
    static constexpr Member repeater[] = {{"o", &Rules::property},
                                          {"m", &Rules::number},
                                          {"tr", &Rules::transform},
                                          {"nm", &Rules::text},
                                          {"hd", &Rules::flag}};
    static constexpr Member other[] = {{"r", &Rules::property}, {"a", &Rules::property},
                                       {"lj", &Rules::number},  {"ml", &Rules::numberOrProperty},
                                       {"nm", &Rules::text},    {"hd", &Rules::flag}};

    if (type == "gr") return object(node, group);
    if (type == "sh") return tree_.member(node, "ks") != 0 && object(node, outline);
    if (type == "rc" || type == "el") return object(node, rectangle);
    if (type == "fl" || type == "st") return object(node, paint);
    if (type == "gf" || type == "gs") return object(node, gradientFill);
    if (type == "tr") return transform(node);
    if (type == "tm") return object(node, trim);
    if (type == "rp") return object(node, repeater);
    if (type == "rd" || type == "op") return object(node, other);
    if (type == "sr") return star(node);
    return object(node, {});
}

bool LottieRules::star(size_t node) {
    static constexpr Member members[] = {
        {"p", &Rules::vector},    {"pt", &Rules::starPoints}, {"r", &Rules::property},
        {"ir", &Rules::property}, {"is", &Rules::property},   {"or", &Rules::property},
        {"os", &Rules::property}, {"sy", &Rules::number},     {"d", &Rules::number},
        {"nm", &Rules::text},     {"hd", &Rules::flag}};
    constexpr double pointsOfObject = 16.0;
    largest_ = 0.0;
    return object(node, members) && draws(largest_ / pointsOfObject);
}

bool LottieRules::dash(size_t node) {
    static constexpr Member members[] = {{"n", &Rules::text}, {"v", &Rules::property}};
    return object(node, members);
}

// "p" colours of four numbers each, and then pairs for what shines through.
bool LottieRules::gradient(size_t node) {
    static constexpr Member members[] = {{"p", &Rules::number}, {"k", &Rules::property}};
    if (!object(node, members)) return false;
    const size_t countAt = tree_.member(node, "p");
    const size_t colors = tree_.member(node, "k");
    if (countAt == 0 || colors == 0) return false;
    const double count = tree_[countAt].number;
    if (count < 0.0 || count != std::floor(count)) return false;
    const size_t value = tree_.member(colors, "k");
    if (value == 0 || !is(value, LottieKind::list)) return false;
    const auto isEnough = [&](size_t list) {
        const size_t size = is(list, LottieKind::list) ? tree_.count(list) : 0;
        return static_cast<double>(size) >= 4.0 * count && size % 2 == 0;
    };
    if (!is(value + 1, LottieKind::object)) return isEnough(value);
    return tree_.each(value, [&](size_t frame) {
        return tree_.each(frame, [&](size_t child) {
            const string_view key = tree_.key(child);
            return (key != "s" && key != "e") || isEnough(child);
        });
    });
}

} // namespace quol
